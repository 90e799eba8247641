#include "ArgumentChecks.h"
#include "Changes.h"
#include "CommandTree.h"
#include "Diagnosis.h"
#include "ExecutionWatch.h"
#include "ExitStatus.h"
#include "Listing.h"

namespace VarnelBase {

namespace {

std::string FindListPath(const Arguments& given) {
    RequirePlainIdentifier(given, "SIMULATION", given.simulation);
    return "/simulations/" + given.simulation + "/executions";
}

std::string FindPath(const Arguments& given) {
    RequirePlainIdentifier(given, "EXECUTION", given.execution);
    return FindListPath(given) + "/" + given.execution;
}

void ListExecutions(Session& session) {
    PrintListing(session,
                 {FindListPath(session.arguments) + "?limit=",
                  [](ApiConnector& connector, const Arguments& given, int limit, int offset) {
                      return connector.GetExecutions(given.simulation, limit, offset);
                  }});
}

void StartExecution(Session& session) {
    const Arguments& given = session.arguments;
    const Change change{"POST", FindListPath(given),
                        given.data.empty() ? json::object() : ReadData(given.data)};
    if (!BeginChange(session, change)) { return; }

    json document = session.Connect().PostExecution(given.simulation, *change.body);
    if (document.is_null() && session.HasLink()) {
        throw CommandError(ExitStatus::NotConfirmed,
                           "the service has accepted the execution (201), but its document could "
                           "not be read; find it with: varnel execution list " +
                               given.simulation);
    }
    session.Print(RequireConfirmation(change, std::move(document)));
}

void ShowExecution(Session& session) {
    const Arguments& given = session.arguments;
    const std::string target = FindPath(given);
    json document = session.ConnectOnline().GetExecution(given.simulation, given.execution);
    session.Print(RequireAnswer(session, target, std::move(document)));
}

void WatchExecution(Session& session) {
    WatchUntilEnd(session, FindPath(session.arguments));
}

} // namespace

void AddExecutionCommands(CLI::App& root, Session& session) {
    Arguments& given = session.arguments;
    CLI::App& execution = AddNoun(root, "execution", "Executions of a simulation",
                                  "varnel execution list sim-bridge");

    CLI::App& list = AddCommand(
        execution, session, "list", "List a simulation's executions", ListExecutions,
        {"varnel execution list sim-bridge", "varnel execution list sim-bridge --all -o jsonl"});
    AddIdentifier(list, session, "SIMULATION", given.simulation);
    AddPageOptions(list, session);

    CLI::App& start = AddCommand(
        execution, session, "start", "Start an execution of a simulation", StartExecution,
        {"varnel execution start sim-bridge",
         "varnel execution start sim-bridge --data '{\"steps\": 100}' --query /id"});
    AddIdentifier(start, session, "SIMULATION", given.simulation);
    AddDataOption(start, session, "What it starts from ({} unless given)");
    AddDryRunOption(start, session);

    CLI::App& show = AddCommand(execution, session, "show", "Show an execution", ShowExecution,
                                {"varnel execution show sim-bridge exe-1"});
    AddIdentifier(show, session, "SIMULATION", given.simulation);
    AddIdentifier(show, session, "EXECUTION", given.execution);

    CLI::App& watch =
        AddCommand(execution, session, "watch",
                   "Follow an execution until it has ended, and show it then", WatchExecution,
                   {"varnel execution watch sim-bridge exe-1",
                    "varnel execution watch sim-bridge exe-1 --field /state --good finished "
                    "--bad failed --bad cancelled"});
    AddIdentifier(watch, session, "SIMULATION", given.simulation);
    AddIdentifier(watch, session, "EXECUTION", given.execution);
    watch.add_option("--field", given.field, "JSON pointer to the state (/state unless given)")
        ->type_name("POINTER");
    watch
        .add_option("--good", given.goodStates, "A state that ends it well (finished unless given)")
        ->type_name("STATE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    watch
        .add_option("--bad", given.badStates,
                    "A state that ends it badly, with exit status 8 (failed unless given)")
        ->type_name("STATE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

} // namespace VarnelBase
