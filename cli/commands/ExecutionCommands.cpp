#include <iostream>
#include <tuple>

#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "output/Utf8Text.h"
#include "session/ChangeRequest.h"
#include "session/Listing.h"
#include "session/Watch.h"

namespace VarnelBase {

namespace {

struct ExecutionListOptions {
    Identifiers identifiers;
    PageOptions page;
};

struct StartOptions {
    Identifiers identifiers;
    std::string data;
    bool isDryRun = false;
};

struct WatchCommandOptions {
    Identifiers identifiers;
    std::vector<std::string> executions;
    bool isAll = false;
    WatchRules rules;
};

PagedList FindExecutions(const Identifiers& identifiers) {
    return {identifiers.BuildExecutionsPath() + "?limit=", "executions", true};
}

void ListExecutions(Session& session, const ExecutionListOptions& options) {
    PrintList(session, FindExecutions(options.identifiers), options.page);
}

void StartExecution(Session& session, const StartOptions& options) {
    const ChangeRequest change{"POST", options.identifiers.BuildExecutionsPath(),
                               options.data.empty() ? "{}" : ReadData(options.data)};
    if (options.isDryRun) {
        PrintRequest(session, change);
        return;
    }
    const Outcome outcome = SendChange(session, change);
    if (outcome.Succeeded() && !session.options.isQuiet) {
        const std::string page = session.FormatPageUrl(options.identifiers.BuildSimulationPath());
        std::cerr << "UI: " << MakePrintable(page) << std::endl;
    }
    PrintAnswer(session, change, outcome);
}

void ShowExecution(Session& session, const Identifiers& identifiers) {
    session.Print(session.Read(identifiers.BuildExecutionPath(identifiers.execution)));
}

void Watch(Session& session, const WatchCommandOptions& options) {
    if (options.executions.empty() && !options.isAll) {
        throw CommandError(ExitStatus::Usage, "EXECUTION is missing, or --all");
    }
    std::vector<WatchedExecution> executions;
    for (const std::string& identifier : options.executions) {
        executions.emplace_back(identifier, options.identifiers.BuildExecutionPath(identifier));
    }
    if (options.isAll) {
        const std::string all = ReadAll(session, FindExecutions(options.identifiers), {});
        for (const std::string& identifier : ListIdentifiers(all)) {
            executions.emplace_back(identifier, options.identifiers.BuildExecutionPath(identifier));
        }
    }
    WatchExecutions(session, std::move(executions), options.rules);
}

void AddWatchCommand(CLI::App& execution, Session& session) {
    const auto watch = AddCommand<WatchCommandOptions>(
        execution, session, "watch", "Follow executions until they have ended, and show them then",
        Watch,
        {"varnel execution watch sim-bridge exe-1",
         "varnel execution watch sim-bridge --all --good failed --timeout 3600 -o jsonl",
         "varnel execution watch sim-bridge exe-1 --field /state --bad cancelled"});
    WatchRules& rules = watch.options.rules;
    AddIdentifier(watch.app, watch.options.identifiers, "SIMULATION",
                  watch.options.identifiers.simulation);
    CLI::Option* executions =
        watch.app
            .add_option("EXECUTION", watch.options.executions, "Identifiers of the executions")
            ->type_name("");
    watch.app.add_flag("--all", watch.options.isAll, "Every execution that the simulation has now")
        ->excludes(executions);
    AddPointerOption(watch.app, "--field", rules.field, "JSON pointer to the state");
    for (const auto& [name, states, description] :
         {std::tuple("--good", &rules.goodStates, "ends it well, besides finished"),
          std::tuple("--bad", &rules.badStates,
                     "ends it badly, with exit status 8, besides failed")}) {
        watch.app.add_option(name, *states, std::string("A state that ") + description)
            ->type_name("STATE")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
    AddSecondsOption(watch.app, "--timeout", rules.timeoutSeconds,
                     "Give up after so long, with exit status 7; without it, never");
    AddSecondsOption(watch.app, "--interval", rules.intervalSeconds,
                     "Time between two questions; without it, 1, 2, 4, 8, then 10");
}

} // namespace

void AddExecutionCommands(CLI::App& root, Session& session) {
    CLI::App& execution = AddNoun(root, "execution", "Executions of a simulation",
                                  "varnel execution list sim-bridge");

    const auto list = AddCommand<ExecutionListOptions>(
        execution, session, "list", "List a simulation's executions", ListExecutions,
        {"varnel execution list sim-bridge --state finished",
         "varnel execution list sim-bridge --all -o jsonl"});
    AddIdentifier(list.app, list.options.identifiers, "SIMULATION",
                  list.options.identifiers.simulation);
    AddPageOptions(list.app, list.options.page);

    const auto start = AddCommand<StartOptions>(
        execution, session, "start", "Start an execution of a simulation", StartExecution,
        {"varnel execution start sim-bridge",
         "varnel execution start sim-bridge --data '{\"steps\": 100}' --query /id"});
    AddIdentifier(start.app, start.options.identifiers, "SIMULATION",
                  start.options.identifiers.simulation);
    AddDataOption(start.app, start.options.data, "What it starts from, {} unless given");
    AddDryRunFlag(start.app, start.options.isDryRun);

    const auto show =
        AddCommand<Identifiers>(execution, session, "show", "Show an execution", ShowExecution,
                                {"varnel execution show sim-bridge exe-1"});
    AddIdentifier(show.app, show.options, "SIMULATION", show.options.simulation);
    AddIdentifier(show.app, show.options, "EXECUTION", show.options.execution);

    AddWatchCommand(execution, session);
}

} // namespace VarnelBase
