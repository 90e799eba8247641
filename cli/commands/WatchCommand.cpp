#include "session/Watch.h"

#include <tuple>

#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

struct WatchOptions {
    Identifiers identifiers;
    std::vector<std::string> executions;
    bool isAll = false;
    std::optional<double> timeoutSeconds;
    WatchRules rules;
};

/// @param target of the simulation's list
std::vector<std::string> FindAll(Session& session, const std::string& target) {
    try {
        return ListIdentifiers(ReadAll(session, {target, "executions"}, {}));
    } catch (const CommandError&) {
        if (session.ComputeTimeLeft().count() > 0) { throw; }
        throw CommandError(ExitStatus::StillRunning,
                           "--timeout was over before the executions were listed");
    }
}

void Watch(Session& session, const WatchOptions& options) {
    if (options.executions.empty() && !options.isAll) {
        throw CommandError(ExitStatus::Usage, "EXECUTION: name one, or pass --all");
    }
    const std::string target = options.identifiers.Fill(GetPath("GetExecutions"));
    if (options.timeoutSeconds) { session.LimitTime(*options.timeoutSeconds); }
    const std::vector<std::string> names =
        options.isAll ? FindAll(session, target) : options.executions;
    std::vector<WatchedExecution> watched;
    watched.reserve(names.size());
    for (const std::string& name : names) {
        watched.emplace_back(name, target + "/" + options.identifiers.Escape("EXECUTION", name));
    }
    WatchRules rules = options.rules;
    rules.isList = options.isAll;
    WatchExecutions(session, std::move(watched), rules);
}

} // namespace

void AddWatchCommand(CLI::App& execution, Session& session) {
    const auto watch = AddCommand<WatchOptions>(
        execution, session, "watch", "Watch executions until they end, then show them", Watch,
        {"varnel execution watch sim-bridge exe-1",
         "varnel execution watch sim-bridge --all --good failed --timeout 3600 -o jsonl",
         "varnel execution watch sim-bridge exe-1 --field /state --bad cancelled"});
    WatchRules& rules = watch.options.rules;
    AddIdentifiers(watch.app, watch.options.identifiers, GetPath("GetExecutions"));
    CLI::Option* executions =
        watch.app
            .add_option("EXECUTION", watch.options.executions, "Identifiers of the executions")
            ->type_name("");
    watch.app.add_flag("--all", watch.options.isAll, "All executions that the simulation has now")
        ->excludes(executions);
    AddPointerOption(watch.app, "--field", rules.field, "JSON pointer to the state");
    for (const auto& [name, states, description] :
         {std::tuple("--good", &rules.goodStates, "means success, besides finished"),
          std::tuple("--bad", &rules.badStates, "means failure (exit status 8), besides failed")}) {
        watch.app.add_option(name, *states, std::string("A state that ") + description)
            ->type_name("STATE")
            ->default_str("")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
    AddSecondsOption(watch.app, "--timeout", watch.options.timeoutSeconds,
                     "Give up after this time, with exit status 7; never by default");
    AddSecondsOption(watch.app, "--interval", rules.intervalSeconds,
                     "Time between requests; by default 1, 2, 4, 8, then 10");
}

} // namespace VarnelBase
