#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "output/Progress.h"
#include "output/Table.h"
#include "session/ArgumentChecks.h"
#include "session/Changes.h"
#include "session/Diagnosis.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

constexpr std::chrono::milliseconds ShortestWait{1000};
constexpr std::chrono::milliseconds LongestWait{10000};
constexpr int MaxLostAnswers = 5;

std::string FindListPath(const Arguments& given) {
    RequirePlainIdentifier(given, "SIMULATION", given.simulation);
    return "/simulations/" + given.simulation + "/executions";
}

std::string FindExecutionPath(const Arguments& given) {
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
    const std::string target = FindExecutionPath(given);
    json document = session.ConnectOnline().GetExecution(given.simulation, given.execution);
    session.Print(RequireAnswer(session, target, std::move(document)));
}

/// Reads the execution; none when the service cannot be reached just now.
std::optional<json> Read(Session& session, const std::string& target) {
    const Arguments& given = session.arguments;
    try {
        json document = session.ConnectOnline().GetExecution(given.simulation, given.execution);
        return RequireAnswer(session, target, std::move(document));
    } catch (const CommandError& error) {
        if (error.GetStatus() != ExitStatus::Unreachable) { throw; }
        session.Note(error.what());
        return std::nullopt;
    }
}

std::string FindState(const json& document, const std::string& field) {
    const json::json_pointer pointer(field);
    if (!document.contains(pointer) || document.at(pointer).is_structured()) {
        throw CommandError(ExitStatus::Refused, "the execution has no state at " + field +
                                                    ": say where it is with --field");
    }
    return DescribeValue(document.at(pointer));
}

std::optional<double> FindFraction(const json& document) {
    const auto progress = document.find("progress");
    if (progress == document.end() || !progress->is_number()) { return std::nullopt; }
    return progress->get<double>();
}

bool Holds(const std::vector<std::string>& states, const std::string& state) {
    return std::find(states.begin(), states.end(), state) != states.end();
}

/// Reads the execution again and again until it has ended, telling how far it is.
void WatchExecution(Session& session) {
    const std::string target = FindExecutionPath(session.arguments);
    const Arguments& given = session.arguments;
    std::chrono::milliseconds wait = ShortestWait;
    int lost = 0;
    std::optional<Progress> progress(std::in_place, given.isQuiet);
    while (lost < MaxLostAnswers) {
        const std::optional<json> document = Read(session, target);
        lost = document ? 0 : lost + 1;
        if (document) {
            const std::string state = FindState(*document, given.field);
            progress->Show(state, FindFraction(*document));
            const bool isBad = Holds(given.badStates, state);
            if (isBad || Holds(given.goodStates, state)) {
                progress.reset();
                session.Print(*document);
                if (isBad) {
                    throw CommandError(ExitStatus::ExecutionFailed,
                                       "the execution has ended as " + state);
                }
                return;
            }
        }
        std::this_thread::sleep_for(wait);
        wait = std::min(wait * 2, LongestWait);
    }
    throw CommandError(ExitStatus::Unreachable, "gave up after " + std::to_string(MaxLostAnswers) +
                                                    " requests without an answer");
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
    AddPointerOption(watch, "--field", given.field,
                     "JSON pointer to the state (/state unless given)");
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
