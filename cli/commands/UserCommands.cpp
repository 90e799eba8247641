#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "session/ArgumentChecks.h"
#include "session/Changes.h"
#include "session/Diagnosis.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

std::string FindUserPath(const Arguments& given) {
    RequirePlainIdentifier(given, "USER", given.user);
    return "/users/" + given.user;
}

void ListUsers(Session& session) {
    PrintListing(session, {"/users?limit=",
                           [](ApiConnector& connector, const Arguments& /*given*/, int limit,
                              int offset) { return connector.GetUsers(limit, offset); }});
}

void CreateUser(Session& session) {
    const Arguments& given = session.arguments;
    RequireUtf8("EMAIL", given.email);
    RequireUtf8("--role", given.role);
    const Change change{"POST", "/users",
                        json::object({{"email", given.email}, {"role", given.role}})};
    if (!BeginChange(session, change)) { return; }
    json document = session.Connect().CreateUser(given.email, given.role);
    session.Print(RequireConfirmation(change, std::move(document)));
}

void ShowUser(Session& session) {
    const std::string target = FindUserPath(session.arguments);
    json document = session.ConnectOnline().GetUser(session.arguments.user);
    session.Print(RequireAnswer(session, target, std::move(document)));
}

void ChangeRole(Session& session) {
    const Arguments& given = session.arguments;
    RequireUtf8("ROLE", given.role);
    const Change change{"PATCH", FindUserPath(given), json::object({{"role", given.role}})};
    if (!BeginChange(session, change)) { return; }

    session.Connect().UpdateUser(given.user, given.role);
    const Answer answer = Ask(session.Connect(), change.target);
    const json user = json::parse(answer.body, nullptr, false);
    if (answer.status != 200 || !user.is_object() || !user.contains("role") ||
        user.at("role") != given.role) {
        throw CommandError(
            ExitStatus::NotConfirmed,
            "PATCH " + change.target + " was sent, but reading the user back " +
                (answer.status == 0     ? "gives no answer"
                 : answer.status == 200 ? "shows another role"
                                        : "is answered " + std::to_string(answer.status)));
    }
    session.Note("verified: the user has the role " + given.role);
    session.Print(user);
}

void DeleteUser(Session& session) {
    const std::string& user = session.arguments.user;
    Delete(session, "user " + user, FindUserPath(session.arguments), &ApiConnector::DeleteUser,
           user);
}

} // namespace

void AddUserCommands(CLI::App& root, Session& session) {
    Arguments& given = session.arguments;
    CLI::App& user = AddNoun(root, "user", "People who may use the service", "varnel user list");

    CLI::App& list = AddCommand(user, session, "list", "List users", ListUsers,
                                {"varnel user list", "varnel user list --all -o table"});
    AddPageOptions(list, session);

    CLI::App& create = AddCommand(user, session, "create", "Create a user", CreateUser,
                                  {"varnel user create kim@example.com --role viewer"});
    create.add_option("EMAIL", given.email, "The user's e-mail address")->required()->type_name("");
    create.add_option("--role", given.role, "What the user may do, in the service's terms")
        ->required()
        ->type_name("ROLE");
    AddDryRunOption(create, session);

    CLI::App& show =
        AddCommand(user, session, "show", "Show a user", ShowUser, {"varnel user show usr-2"});
    AddIdentifier(show, session, "USER", given.user);

    CLI::App& role = AddCommand(user, session, "set-role",
                                "Change a user's role, and make sure that it is changed",
                                ChangeRole, {"varnel user set-role usr-2 viewer"});
    AddIdentifier(role, session, "USER", given.user);
    role.add_option("ROLE", given.role, "What the user may do, in the service's terms")
        ->required()
        ->type_name("");
    AddDryRunOption(role, session);

    CLI::App& remove =
        AddCommand(user, session, "delete", "Delete a user, and make sure that the user is gone",
                   DeleteUser, {"varnel user delete usr-2 --yes"});
    AddIdentifier(remove, session, "USER", given.user);
    AddDeleteOptions(remove, session);
}

} // namespace VarnelBase
