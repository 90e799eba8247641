#include "commands/Commands.h"
#include "output/JsonView.h"
#include "session/ChangeRequest.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

struct CreateOptions {
    std::string email;
    std::string role;
    bool isDryRun = false;
};

struct RoleOptions {
    Identifiers identifiers;
    std::string role;
    bool isDryRun = false;
};

void ListUsers(Session& session, const PageOptions& options) {
    PrintList(session, {"/users?limit=", "users"}, options);
}

void CreateUser(Session& session, const CreateOptions& options) {
    RequireUtf8("EMAIL", options.email);
    RequireUtf8("--role", options.role);
    const json body = json::object({{"email", options.email}, {"role", options.role}});
    const ChangeRequest change{"POST", "/users", body.dump()};
    MakeChange(session, change, options.isDryRun);
}

void ShowUser(Session& session, const Identifiers& identifiers) {
    session.Print(session.Read(identifiers.BuildUserPath()));
}

void ChangeRole(Session& session, const RoleOptions& options) {
    RequireUtf8("ROLE", options.role);
    const std::string target = options.identifiers.BuildUserPath();
    const ChangeRequest change{"PATCH", target, json::object({{"role", options.role}}).dump()};
    if (options.isDryRun) {
        PrintRequest(session, change);
        return;
    }
    const auto hasRole = [&options](const Outcome& found) -> std::optional<bool> {
        if (!found.Succeeded() || !found.document.is_object()) { return std::nullopt; }
        return found.document.value("role", json()) == json(options.role);
    };
    const Outcome user = MakeCheckedChange(
        session, change,
        {target, "the user has the role " + options.role, "the user has another role", hasRole});
    session.Print(user.text);
}

void DeleteUser(Session& session, const DeleteOptions& options) {
    Delete(session, options, "user " + options.identifiers.user,
           options.identifiers.BuildUserPath());
}

} // namespace

void AddUserCommands(CLI::App& root, Session& session) {
    CLI::App& user = AddNoun(root, "user", "People who may use the service", "varnel user list");

    const auto list =
        AddCommand<PageOptions>(user, session, "list", "List users", ListUsers,
                                {"varnel user list", "varnel user list --all -o table"});
    AddPageOptions(list.app, list.options);

    const auto create =
        AddCommand<CreateOptions>(user, session, "create", "Create a user", CreateUser,
                                  {"varnel user create kim@example.com --role viewer"});
    create.app.add_option("EMAIL", create.options.email, "The user's e-mail address")
        ->required()
        ->type_name("");
    create.app
        .add_option("--role", create.options.role, "What the user may do, in the service's terms")
        ->required()
        ->type_name("ROLE");
    AddDryRunFlag(create.app, create.options.isDryRun);

    const auto show = AddCommand<Identifiers>(user, session, "show", "Show a user", ShowUser,
                                              {"varnel user show usr-2"});
    AddIdentifier(show.app, show.options, "USER", show.options.user);

    const auto role = AddCommand<RoleOptions>(
        user, session, "set-role", "Change a user's role, and make sure that it is changed",
        ChangeRole, {"varnel user set-role usr-2 viewer"});
    AddIdentifier(role.app, role.options.identifiers, "USER", role.options.identifiers.user);
    role.app.add_option("ROLE", role.options.role, "What the user may do, in the service's terms")
        ->required()
        ->type_name("");
    AddDryRunFlag(role.app, role.options.isDryRun);

    const auto remove = AddCommand<DeleteOptions>(
        user, session, "delete", "Delete a user, and make sure that the user is gone", DeleteUser,
        {"varnel user delete usr-2 --yes"});
    AddIdentifier(remove.app, remove.options.identifiers, "USER", remove.options.identifiers.user);
    AddDeleteFlags(remove.app, remove.options);
}

} // namespace VarnelBase
