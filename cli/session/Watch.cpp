#include "session/Watch.h"

#include <JsonView.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "output/ExitStatus.h"
#include "output/JsonPointer.h"
#include "output/Progress.h"
#include "output/Table.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

using WatchClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds ShortestWait{1000};
constexpr std::chrono::milliseconds LongestWait{10000};
constexpr std::chrono::minutes SilencePatience{5};

bool Holds(const std::vector<std::string>& states, const std::string& state) {
    return std::find(states.begin(), states.end(), state) != states.end();
}

/// Whether asking again may help.
bool IsWorthAskingAgain(const Outcome& outcome) {
    if (outcome) { return outcome.status != 200 || !FindJsonProblem(outcome.text).empty(); }
    return MayPass(outcome.failure) || outcome.failure == Failure::Unreadable;
}

class Watcher {
public:
    Watcher(Session& used, std::vector<WatchedExecution> watched, const WatchRules& given)
        : session(used),
          executions(std::move(watched)),
          rules(given),
          progress(used.options.isQuiet) {}

    void Run() {
        std::chrono::milliseconds wait =
            rules.intervalSeconds ? MakeDuration(*rules.intervalSeconds) : ShortestWait;
        while (true) {
            for (WatchedExecution& execution : executions) {
                if (!execution.isEnded) { Update(execution); }
            }
            ShowProgress();
            if (CountRunning() == 0) { return; }
            const std::chrono::milliseconds left = session.ComputeTimeLeft();
            if (left.count() <= 0) { ThrowStillRunning(); }
            std::this_thread::sleep_for(std::min(wait, left));
            if (!rules.intervalSeconds) { wait = std::min(wait * 2, LongestWait); }
        }
    }

    const std::vector<WatchedExecution>& GetExecutions() const { return executions; }

private:
    void Update(WatchedExecution& execution) {
        const std::string request = "GET " + execution.target;
        const Outcome outcome = session.Send("GET", execution.target);
        if (IsWorthAskingAgain(outcome)) {
            Survive(request, outcome);
            return;
        }
        execution.document = RequireDocument(request, outcome);
        isAnswering = true;
        wasAnswered = true;
        lastAnswer = WatchClock::now();
        Judge(execution);
    }

    /// Goes on without an answer, unless that has lasted too long or began at the beginning.
    void Survive(const std::string& request, const Outcome& outcome) {
        const bool isUnknown = !wasAnswered && outcome.sent == SentState::NotSent;
        if (isUnknown || WatchClock::now() - lastAnswer > SilencePatience) {
            throw JudgeFailure(request, outcome, Purpose::Read);
        }
        if (isAnswering) {
            progress.Clear();
            const std::string problem = outcome.Succeeded()
                                            ? request + " was answered with a broken document"
                                            : DescribeFailure(request, outcome);
            session.Note(problem + "; asking again");
        }
        isAnswering = false;
    }

    void Judge(WatchedExecution& execution) {
        const JsonView document(execution.document);
        const std::optional<JsonView> found = FindPointed(document, rules.field);
        if (!found || found->IsObject() || found->IsArray()) {
            throw CommandError(ExitStatus::Refused, "execution " + execution.identifier +
                                                        " has no state at " + rules.field +
                                                        ": say where it is with --field");
        }
        const std::string state = DescribeValue(*found);
        const std::optional<JsonView> fraction = document.Find("progress");
        if (fraction && fraction->IsNumber()) { execution.fraction = fraction->GetNumber(); }
        execution.isBad =
            Holds(rules.badStates, state) || (state == "failed" && !Holds(rules.goodStates, state));
        execution.isEnded =
            execution.isBad || state == "finished" || Holds(rules.goodStates, state);
        if (state != execution.state && !progress.IsShown()) {
            session.Note("execution " + execution.identifier + " is " + state);
        }
        execution.state = state;
    }

    void ShowProgress() {
        double fraction = 0;
        for (const WatchedExecution& execution : executions) {
            fraction += execution.isEnded ? 1 : execution.fraction;
        }
        const auto count = static_cast<double>(executions.size());
        const std::size_t running = CountRunning();
        const std::string text = executions.size() == 1
                                     ? executions.front().state
                                     : std::to_string(executions.size() - running) + " of " +
                                           std::to_string(executions.size()) + " have ended";
        if (!executions.empty() && wasAnswered) { progress.Show(text, fraction / count); }
    }

    std::size_t CountRunning() const {
        return static_cast<std::size_t>(
            std::count_if(executions.begin(), executions.end(),
                          [](const WatchedExecution& execution) { return !execution.isEnded; }));
    }

    [[noreturn]] void ThrowStillRunning() const {
        std::string list;
        for (const WatchedExecution& execution : executions) {
            if (execution.isEnded) { continue; }
            list += (list.empty() ? "" : ", ") + execution.identifier + " (" +
                    (execution.state.empty() ? "not seen yet" : execution.state) + ")";
        }
        throw CommandError(ExitStatus::StillRunning, "not ended within --timeout: " + list);
    }

    Session& session;
    std::vector<WatchedExecution> executions;
    const WatchRules& rules;
    Progress progress;
    bool isAnswering = true; ///< the last question was answered
    bool wasAnswered = false;
    WatchClock::time_point lastAnswer = WatchClock::now();
};

} // namespace

void WatchExecutions(Session& session, std::vector<WatchedExecution> executions,
                     const WatchRules& rules) {
    std::optional<Watcher> watcher(std::in_place, session, std::move(executions), rules);
    watcher->Run();
    const std::vector<WatchedExecution> ended = watcher->GetExecutions();
    watcher.reset();
    std::string documents;
    std::string bad;
    for (const WatchedExecution& execution : ended) {
        documents += (documents.empty() ? "" : ",") + execution.document;
        if (!execution.isBad) { continue; }
        bad +=
            (bad.empty() ? "" : ", ") + execution.identifier + " has ended as " + execution.state;
    }
    const bool isList = rules.isList || ended.size() != 1;
    session.Print(isList ? "[" + documents + "]" : documents);
    if (!bad.empty()) { throw CommandError(ExitStatus::ExecutionFailed, bad); }
}

} // namespace VarnelBase
