#include <AsciiCase.h>
#include <JsonView.h>
#include <OfflineVersion.h>
#include <OperationTable.h>
#include <Utf8Text.h>

#include <iostream>

#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "session/ChangeRequest.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

/// What the commands below are told; each has some of it.
struct ServiceOptions {
    Identifiers identifiers;
    PageOptions page;
    std::string scope = "user";
    std::string data;
    std::string email;
    std::string role;
    std::string command;
    bool isConfirmed = false;
    bool isDryRun = false;

    std::string method;
    std::string target; ///< "/users/{USER}"

    std::string FillTarget() const { return identifiers.Fill(target); }
    ChangeRequest MakeChange(const std::string& body) const { return {method, FillTarget(), body}; }
};

void Show(Session& session, const ServiceOptions& options) {
    session.Print(session.Read(options.FillTarget()));
}

void ShowVersion(Session& session, const ServiceOptions& options) {
    if (!session.GetClient().IsOffline()) {
        Show(session, options);
        return;
    }
    session.Note("offline mode is on: this is the library's own value, not the service's");
    session.Print(json::array({OfflineVersion}));
}

void ListSimulations(Session& session, const ServiceOptions& options) {
    const std::string scope = options.identifiers.Escape("--scope", options.scope);
    PrintList(session, {options.target + "?scope=" + scope, "simulations"}, options.page);
}

void ListExecutions(Session& session, const ServiceOptions& options) {
    PrintList(session, {options.FillTarget(), "executions", true}, options.page);
}

void ListUsers(Session& session, const ServiceOptions& options) {
    PrintList(session, {options.target, "users"}, options.page);
}

void DeleteNamed(Session& session, const ServiceOptions& options) {
    const auto& [argument, identifier] = *options.identifiers.values.begin();
    Delete(session, LowerCase(argument) + " " + identifier, options.FillTarget(),
           options.isConfirmed, options.isDryRun);
}

void ReplaceInputs(Session& session, const ServiceOptions& options) {
    const ChangeRequest change = options.MakeChange(ReadData(options.data));
    const auto holdsInputs = [&change](const Outcome& found) -> std::optional<bool> {
        if (!found.Succeeded() || !FindJsonProblem(found.text).empty()) { return std::nullopt; }
        return IsSameJson(found.text, *change.body);
    };
    MakeCheckedChange(session, change,
                      {"the service has these inputs", "the service has other inputs", holdsInputs},
                      options.isDryRun);
}

void StartExecution(Session& session, const ServiceOptions& options) {
    const std::string data = options.data.empty() ? "{}" : ReadData(options.data);
    // The host depends on the token, which may end before the answer comes.
    const std::string page = session.FormatPageUrl(options.identifiers.Fill(SimulationPage));
    MakeChange(session, options.MakeChange(data), options.isDryRun, [&] {
        if (session.options.isQuiet) { return; }
        std::cerr << "UI: " << MakePrintable(page) << std::endl;
    });
}

void CreateUser(Session& session, const ServiceOptions& options) {
    RequireUtf8("EMAIL", options.email);
    RequireUtf8("--role", options.role);
    const json body = json::object({{"email", options.email}, {"role", options.role}});
    MakeChange(session, options.MakeChange(body.dump()), options.isDryRun);
}

void ChangeRole(Session& session, const ServiceOptions& options) {
    RequireUtf8("ROLE", options.role);
    const json body = json::object({{"role", options.role}});
    const auto hasRole = [&options](const Outcome& found) -> std::optional<bool> {
        if (!found.Succeeded() || !found.document.is_object()) { return std::nullopt; }
        return found.document.value("role", json()) == json(options.role);
    };
    MakeCheckedChange(
        session, options.MakeChange(body.dump()),
        {"the user has the role " + options.role, "the user has another role", hasRole, true},
        options.isDryRun);
}

void SendCommand(Session& session, const ServiceOptions& options) {
    RequireUtf8("COMMAND", options.command);
    const json body = json::object({{"command", options.command}});
    MakeChange(session, options.MakeChange(body.dump()), options.isDryRun);
}

void AddScopeAndPage(CLI::App& command, ServiceOptions& options) {
    command.add_option("--scope", options.scope, "Which simulations, in the service's terms")
        ->type_name("SCOPE");
    AddIdentifiers(command, options.identifiers, "");
    AddPageOptions(command, options.page);
}

void AddPage(CLI::App& command, ServiceOptions& options) {
    AddPageOptions(command, options.page);
}

void AddInputs(CLI::App& command, ServiceOptions& options) {
    AddDataOption(command, options.data, "The inputs")->required();
}

void AddStartingPoint(CLI::App& command, ServiceOptions& options) {
    AddDataOption(command, options.data, "What to start from; {} by default");
}

void AddRequired(CLI::App& command, const char* name, const char* type, std::string& text,
                 const char* description) {
    command.add_option(name, text, description)->required()->type_name(type);
}

constexpr const char* RoleDescription = "What the user may do, in the service's terms";

void AddEmailAndRole(CLI::App& command, ServiceOptions& options) {
    AddRequired(command, "EMAIL", "", options.email, "The user's e-mail address");
    AddRequired(command, "--role", "ROLE", options.role, RoleDescription);
}

void AddNewRole(CLI::App& command, ServiceOptions& options) {
    AddRequired(command, "ROLE", "", options.role, RoleDescription);
}

void AddAgentCommand(CLI::App& command, ServiceOptions& options) {
    AddRequired(command, "COMMAND", "", options.command, "The command, in the agent's terms");
}

/// Adds commands that send one request each to a noun.
class Noun {
public:
    Noun(CLI::App& commands, Session& used) : app(commands), session(used) {}

    /// @param operation  of the service; each of its path's arguments is one of the command's
    /// @param addOptions none: the command has no further ones
    void Add(const char* verb, const char* description, const char* operation,
             void (*run)(Session&, const ServiceOptions&),
             void (*addOptions)(CLI::App& command, ServiceOptions& options),
             const std::vector<std::string>& examples) {
        const auto [command, options] =
            AddCommand<ServiceOptions>(app, session, verb, description, run, examples);
        options.method = FindOperation(operation).method;
        options.target = GetPath(operation);
        if (!ListArguments(options.target).empty()) {
            AddIdentifiers(command, options.identifiers, options.target);
        }
        if (addOptions != nullptr) { addOptions(command, options); }
        if (options.method == "DELETE") {
            command.add_flag("-y,--yes", options.isConfirmed, "Do not ask for confirmation");
        }
        if (options.method != "GET") { AddDryRunFlag(command, options.isDryRun); }
    }

private:
    CLI::App& app;
    Session& session;
};

} // namespace

void AddServiceCommands(CLI::App& root, Session& session) {
    CLI::App& simulations =
        AddNoun(root, "simulation", "Simulations and their inputs", "varnel simulation list");
    Noun simulation(simulations, session);
    simulation.Add("list", "List simulations", "GetSimulations", ListSimulations, AddScopeAndPage,
                   {"varnel simulation list", "varnel simulation list --all -o jsonl",
                    "varnel simulation list --limit 1 --query /items/0/id"});
    simulation.Add("show", "Show a simulation", "GetSimulationData", Show, nullptr,
                   {"varnel simulation show sim-bridge"});
    simulation.Add("delete", "Delete a simulation and check that it is gone", "DeleteSimulation",
                   DeleteNamed, nullptr,
                   {"varnel simulation delete sim-bridge --yes",
                    "varnel simulation delete sim-bridge --dry-run"});

    Noun inputs(AddNoun(simulations, "inputs", "What a simulation starts from",
                        "varnel simulation inputs get sim-bridge"),
                session);
    inputs.Add("get", "Show a simulation's inputs", "GetSimulationInputs", Show, nullptr,
               {"varnel simulation inputs get sim-bridge > inputs.json"});
    inputs.Add("set", "Replace a simulation's inputs and check that they arrived",
               "PostSimulationInputs", ReplaceInputs, AddInputs,
               {"varnel simulation inputs set sim-bridge --data '{\"load\": 12.5}'",
                "varnel simulation inputs get sim-bridge | varnel simulation inputs set "
                "sim-bridge --data -"});

    CLI::App& executions = AddNoun(root, "execution", "Executions of a simulation",
                                   "varnel execution list sim-bridge");
    Noun execution(executions, session);
    execution.Add("list", "List a simulation's executions", "GetExecutions", ListExecutions,
                  AddPage,
                  {"varnel execution list sim-bridge --state finished",
                   "varnel execution list sim-bridge --all -o jsonl"});
    execution.Add("start", "Start an execution of a simulation", "PostExecution", StartExecution,
                  AddStartingPoint,
                  {"varnel execution start sim-bridge",
                   "varnel execution start sim-bridge --data '{\"steps\": 100}' --query /id"});
    execution.Add("show", "Show an execution", "GetExecution", Show, nullptr,
                  {"varnel execution show sim-bridge exe-1"});
    AddWatchCommand(executions, session);

    Noun user(AddNoun(root, "user", "People who may use the service", "varnel user list"), session);
    user.Add("list", "List users", "GetUsers", ListUsers, AddPage,
             {"varnel user list", "varnel user list --all -o table"});
    user.Add("create", "Create a user", "CreateUser", CreateUser, AddEmailAndRole,
             {"varnel user create kim@example.com --role viewer"});
    user.Add("show", "Show a user", "GetUser", Show, nullptr, {"varnel user show usr-2"});
    user.Add("set-role", "Change a user's role and check that it is changed", "UpdateUser",
             ChangeRole, AddNewRole, {"varnel user set-role usr-2 viewer"});
    user.Add("delete", "Delete a user and check that the user is gone", "DeleteUser", DeleteNamed,
             nullptr, {"varnel user delete usr-2 --yes"});

    Noun agent(AddNoun(root, "agent", "The service's agent", "varnel agent show"), session);
    agent.Add("show", "Show the agent's state", "GetAgent", Show, nullptr, {"varnel agent show"});
    agent.Add("send", "Send a command to the agent", "SendAgentCommand", SendCommand,
              AddAgentCommand, {"varnel agent send start"});
    Noun(root, session)
        .Add("version", "Show the service's version", "GetVersion", ShowVersion, nullptr,
             {"varnel version", "varnel version --offline"});
}

} // namespace VarnelBase
