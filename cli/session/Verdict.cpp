#include "session/Verdict.h"

#include <JsonView.h>
#include <SettingSources.h>
#include <Utf8Text.h>

#include "session/SignInAdvice.h"

namespace VarnelBase {

namespace {

constexpr std::size_t ExcerptColumns = 200;

ExitStatus DecideUnsent(Failure failure) {
    switch (failure) {
        case Failure::Offline:
            return ExitStatus::Offline;
        case Failure::NotSignedIn:
            return ExitStatus::LoginNeeded;
        default:
            return ExitStatus::Unreachable;
    }
}

ExitStatus DecideAnswered(const Outcome& outcome, Purpose purpose) {
    if (outcome.failure == Failure::Unauthorized) { return ExitStatus::LoginNeeded; }
    const bool isBroken = outcome.failure == Failure::Interrupted ||
                          outcome.failure == Failure::TimedOut ||
                          outcome.failure == Failure::Cancelled;
    if (purpose == Purpose::Read) {
        return isBroken ? ExitStatus::Unreachable : ExitStatus::Refused;
    }
    return IsRefused(outcome) ? ExitStatus::Refused : ExitStatus::NotConfirmed;
}

ExitStatus DecideStatus(const Outcome& outcome, Purpose purpose) {
    switch (outcome.sent) {
        case SentState::NotSent:
            return DecideUnsent(outcome.failure);
        case SentState::MayHaveBeenSent:
            return purpose == Purpose::Change ? ExitStatus::NotConfirmed : ExitStatus::Unreachable;
        case SentState::Answered:
            break;
    }
    return DecideAnswered(outcome, purpose);
}

/// Offline mode, and what has switched it on.
std::string DescribeOffline() {
    const auto origin = SettingSources().Find("offline", EnvConfig().GetEnvironment());
    return "offline mode is on" + (origin ? " (" + origin->origin + ")" : "");
}

} // namespace

bool IsRefused(const Outcome& outcome) {
    return outcome.sent == SentState::Answered && outcome.status >= 300 && outcome.status <= 499;
}

std::string DescribeFailure(const std::string& request, const Outcome& outcome) {
    const bool isAnswered = outcome.sent == SentState::Answered;
    if (!isAnswered || (outcome.status >= 200 && outcome.status <= 299)) { return outcome.message; }
    const std::string answered = request + " was answered " + std::to_string(outcome.status);
    const std::string reason = outcome.serviceMessage.empty()
                                   ? CutToWidth(MakePrintable(outcome.text), ExcerptColumns)
                                   : outcome.serviceMessage;
    return answered + (reason.empty() ? "" : ": " + reason);
}

CommandError JudgeFailure(const std::string& request, const Outcome& outcome, Purpose purpose) {
    const ExitStatus status = DecideStatus(outcome, purpose);
    std::string message = DescribeFailure(request, outcome);
    if (status == ExitStatus::LoginNeeded) { message += " (" + AdviseSignIn() + ")"; }
    if (status == ExitStatus::Unreachable) { message += " (find out why with: varnel doctor)"; }
    if (status == ExitStatus::Offline) { message = "nothing was sent: " + DescribeOffline(); }
    if (status == ExitStatus::NotConfirmed) {
        message += ". The change may have been made: check before you send it again";
    }
    return {status, message};
}

std::string RequireDocument(const std::string& request, const Outcome& outcome) {
    if (!outcome.Succeeded()) { throw JudgeFailure(request, outcome, Purpose::Read); }
    const std::string problem = FindJsonProblem(outcome.text);
    if (outcome.status == 200 && problem.empty()) { return outcome.text; }
    const std::string answered = request + " was answered " + std::to_string(outcome.status);
    throw CommandError(
        ExitStatus::Refused,
        answered + (outcome.status != 200 ? ", which is not the answer to this request"
                                          : ", but the answer is " + problem));
}

} // namespace VarnelBase
