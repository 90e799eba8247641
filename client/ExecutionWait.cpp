#include "ExecutionWait.h"

#include <algorithm>
#include <stdexcept>

#include "CallRunner.h"
#include "CancellationState.h"

namespace VarnelBase {

using std::chrono::milliseconds;

namespace {

json::json_pointer ParsePointer(const std::string& text) {
    try {
        return json::json_pointer(text);
    } catch (const json::exception&) {
        throw std::invalid_argument("statePointer: must be a JSON pointer, such as /state");
    }
}

void RequireForWait(bool isFine, const char* reason) {
    if (!isFine) { throw std::invalid_argument(reason); }
}

} // namespace

ExecutionOutcome AwaitExecution(const std::function<Outcome(const CallOptions&)>& ask,
                                milliseconds callTimeout, const WaitOptions& wait) {
    const json::json_pointer place = ParsePointer(wait.statePointer);
    RequireForWait(!wait.endStates.empty(), "endStates: is empty");
    RequireDuration(wait.firstInterval, "firstInterval");
    RequireForWait(wait.maxInterval >= wait.firstInterval,
                   "maxInterval: is shorter than firstInterval");
    RequireDuration(wait.timeout, "timeout");

    const auto start = std::chrono::steady_clock::now();
    const auto deadline = start + wait.timeout;
    Cancellation::State* cancellation =
        wait.cancellation ? wait.cancellation->GetState().get() : nullptr;
    CallOptions call;
    call.cancellation = wait.cancellation;
    ExecutionOutcome outcome;
    int attempts = 0;
    const auto finish = [&] {
        outcome.attempts = attempts;
        outcome.duration = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - start);
        return std::move(outcome);
    };
    const auto fail = [&](Failure failure, const std::string& reason) {
        outcome.failure = failure;
        outcome.message = "waiting for the execution: " + reason;
        return finish();
    };
    for (milliseconds interval = wait.firstInterval;;
         interval = std::min(interval + interval / 2, wait.maxInterval)) {
        const auto left =
            std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
        call.timeout = std::clamp(left, milliseconds(1), callTimeout);
        static_cast<Outcome&>(outcome) = ask(call);
        attempts += outcome.attempts;
        if (!outcome && !MayPass(outcome.failure)) { return finish(); }
        if (outcome) {
            if (wait.progress) { wait.progress(outcome.document); }
            const bool hasState =
                outcome.document.contains(place) && outcome.document[place].is_string();
            if (!hasState) {
                return fail(Failure::Unreadable,
                            "its document has no string at " + wait.statePointer);
            }
            outcome.state = outcome.document[place].get<std::string>();
            const auto& ends = wait.endStates;
            if (std::find(ends.begin(), ends.end(), outcome.state) != ends.end()) {
                return finish();
            }
        }
        const auto remaining =
            std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
        if (SleepUnlessCancelled(cancellation, std::min(interval, remaining))) {
            return fail(Failure::Cancelled, "cancelled");
        }
        if (remaining <= interval) {
            return fail(Failure::TimedOut, outcome ? "it has not ended" : outcome.message);
        }
    }
}

} // namespace VarnelBase
