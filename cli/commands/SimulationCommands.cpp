#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "session/ArgumentChecks.h"
#include "session/Changes.h"
#include "session/Diagnosis.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

std::string FindSimulationPath(const Arguments& given) {
    RequirePlainIdentifier(given, "SIMULATION", given.simulation);
    return "/simulations/" + given.simulation;
}

void ListSimulations(Session& session) {
    const std::string& scope = session.arguments.scope;
    RequirePlainIdentifier(session.arguments, "--scope", scope);
    PrintListing(session,
                 {"/simulations?scope=" + scope + "&limit=",
                  [](ApiConnector& connector, const Arguments& given, int limit, int offset) {
                      return connector.GetSimulations(given.scope, limit, offset);
                  }});
}

void ShowSimulation(Session& session) {
    const std::string target = FindSimulationPath(session.arguments);
    json document = session.ConnectOnline().GetSimulationData(session.arguments.simulation);
    session.Print(RequireAnswer(session, target, std::move(document)));
}

void DeleteSimulation(Session& session) {
    const std::string& simulation = session.arguments.simulation;
    Delete(session, "simulation " + simulation, FindSimulationPath(session.arguments),
           &ApiConnector::DeleteSimulation, simulation);
}

void ShowInputs(Session& session) {
    const std::string target = FindSimulationPath(session.arguments) + "/inputs";
    json document = session.ConnectOnline().GetSimulationInputs(session.arguments.simulation);
    session.Print(RequireAnswer(session, target, std::move(document)));
}

void ReplaceInputs(Session& session) {
    const std::string target = FindSimulationPath(session.arguments) + "/inputs";
    const json inputs = ReadData(session.arguments.data);
    if (!BeginChange(session, {"POST", target, inputs})) { return; }

    ApiConnector& connector = session.Connect();
    connector.PostSimulationInputs(session.arguments.simulation, inputs);
    const Answer answer = Ask(connector, target);
    if (answer.status != 200 || json::parse(answer.body, nullptr, false) != inputs) {
        const std::string found = answer.status == 0 ? "gives no answer"
                                  : answer.status == 200
                                      ? "gives other ones"
                                      : "is answered " + std::to_string(answer.status) + ": " +
                                            DescribeErrorBody(answer.body);
        throw CommandError(ExitStatus::NotConfirmed,
                           "POST " + target + " was sent, but reading the inputs back " + found);
    }
    session.Note("verified: the service holds these inputs");
}

} // namespace

void AddSimulationCommands(CLI::App& root, Session& session) {
    Arguments& given = session.arguments;
    CLI::App& simulation =
        AddNoun(root, "simulation", "Simulations and their inputs", "varnel simulation list");

    CLI::App& list = AddCommand(simulation, session, "list", "List simulations", ListSimulations,
                                {"varnel simulation list", "varnel simulation list --all -o jsonl",
                                 "varnel simulation list --limit 1 --query /items/0/id"});
    list.add_option("--scope", given.scope,
                    "Which ones, in the service's terms (user unless given)")
        ->type_name("SCOPE");
    list.add_flag("--raw-id", given.isRawId,
                  "Send a scope that holds / ? # & % or .. as it stands");
    AddPageOptions(list, session);

    CLI::App& show = AddCommand(simulation, session, "show", "Show a simulation", ShowSimulation,
                                {"varnel simulation show sim-bridge"});
    AddIdentifier(show, session, "SIMULATION", given.simulation);

    CLI::App& remove =
        AddCommand(simulation, session, "delete",
                   "Delete a simulation, and make sure that it is gone", DeleteSimulation,
                   {"varnel simulation delete sim-bridge --yes",
                    "varnel simulation delete sim-bridge --dry-run"});
    AddIdentifier(remove, session, "SIMULATION", given.simulation);
    AddDeleteOptions(remove, session);

    CLI::App& inputs = AddNoun(simulation, "inputs", "What a simulation starts from",
                               "varnel simulation inputs get sim-bridge");
    CLI::App& get = AddCommand(inputs, session, "get", "Show a simulation's inputs", ShowInputs,
                               {"varnel simulation inputs get sim-bridge > inputs.json"});
    AddIdentifier(get, session, "SIMULATION", given.simulation);

    CLI::App& set =
        AddCommand(inputs, session, "set",
                   "Replace a simulation's inputs, and make sure that they arrived", ReplaceInputs,
                   {"varnel simulation inputs set sim-bridge --data '{\"load\": 12.5}'",
                    "varnel simulation inputs get sim-bridge | varnel simulation inputs set "
                    "sim-bridge --data -"});
    AddIdentifier(set, session, "SIMULATION", given.simulation);
    AddDataOption(set, session, "The inputs")->required();
    AddDryRunOption(set, session);
}

} // namespace VarnelBase
