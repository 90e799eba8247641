#include "session/ChangeRequest.h"

#include <JsonView.h>
#include <Utf8Text.h>
#include <unistd.h>

#include <iostream>
#include <utility>

#include "output/ExitStatus.h"
#include "output/JsonPointer.h"
#include "output/Terminal.h"
#include "session/Interruption.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

/// Asks on a terminal; elsewhere only --yes will do.
void Confirm(const std::string& question) {
    if (!IsTerminal(STDIN_FILENO) || !IsTerminal(STDERR_FILENO)) {
        throw CommandError(ExitStatus::Usage,
                           "there is no terminal to ask on: pass --yes to delete without asking");
    }
    std::cerr << MakePrintable(question) << " [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw CommandError(ExitStatus::Refused, "nothing was sent");
    }
}

bool IsGone(const Outcome& outcome) {
    return outcome.sent == SentState::Answered && (outcome.status == 404 || outcome.status == 410);
}

/// Whether the service itself has ended its work on a change, rather than somebody in between who
/// got tired of waiting for it.
bool IsFinal(const Outcome& outcome) {
    return outcome.sent == SentState::Answered && outcome.status != 502 && outcome.status != 504;
}

/// "simulation x" or nothing, for a document that has an identifier.
std::string FormatIdentifier(const std::string& document) {
    const std::optional<JsonView> id = JsonView(document).Find("id");
    return id ? " (id " + (id->IsString() ? id->GetString() : id->Format(0)) + ")" : "";
}

/// Prints the document in the answer to a change.
void PrintAnswer(Session& session, const ChangeRequest& change, const Outcome& outcome) {
    if (!outcome.Succeeded()) { throw JudgeFailure(change.Describe(), outcome, Purpose::Change); }
    if (outcome.text.empty()) {
        session.Note(change.Describe() + " was done; the answer has no document");
        return;
    }
    const std::string problem = FindJsonProblem(outcome.text);
    if (!problem.empty()) {
        throw CommandError(ExitStatus::NotConfirmed,
                           change.Describe() + " was accepted (" + std::to_string(outcome.status) +
                               "), but its answer is " + problem +
                               ": check whether it took effect before you send it again");
    }
    PrintAccepted(session, change, outcome.text);
}

} // namespace

void PrintRequest(Session& session, const ChangeRequest& change) {
    std::string shown = "{\"method\":" + json(change.method).dump() +
                        ",\"target\":" + json(session.FormatUrl(change.target)).dump();
    if (change.body) { shown += ",\"body\":" + *change.body; }
    session.Print(shown + "}");
}

void PrintAccepted(Session& session, const ChangeRequest& change, const std::string& document) {
    const std::string made = change.Describe() + " was done" + FormatIdentifier(document);
    const std::string& query = session.options.output.query;
    try {
        if (FindPointed(JsonView(document), query)) {
            session.Print(document);
            return;
        }
        PrintDocument(document, {session.options.output.format, ""});
    } catch (const CommandError& error) {
        const std::string reason = error.what();
        throw CommandError(error.GetStatus(),
                           made + ", but its answer could not be written" +
                               (reason.empty() ? ": nobody reads it any more" : ": " + reason));
    }
    throw CommandError(ExitStatus::Refused, made + ", but its answer has nothing at " + query);
}

Outcome SendChange(Session& session, const ChangeRequest& change) {
    const ChangeInFlight announced(change.Describe());
    return session.Send(change.method, change.target, change.body);
}

void MakeChange(Session& session, const ChangeRequest& change, bool isDryRun,
                const std::function<void()>& accepted) {
    if (isDryRun) {
        PrintRequest(session, change);
        return;
    }
    const Outcome outcome = SendChange(session, change);
    if (accepted && outcome.Succeeded()) { accepted(); }
    PrintAnswer(session, change, outcome);
}

void MakeCheckedChange(Session& session, const ChangeRequest& change, const Check& check,
                       bool isDryRun) {
    if (isDryRun) {
        PrintRequest(session, change);
        return;
    }
    const Outcome outcome = SendChange(session, change);
    if (!outcome.Succeeded() && (outcome.sent == SentState::NotSent || IsRefused(outcome))) {
        throw JudgeFailure(change.Describe(), outcome, Purpose::Change);
    }
    const Outcome found = session.Send("GET", change.target);
    const std::optional<bool> isMade = check.judge(found);
    if (isMade.value_or(false)) {
        session.Note("verified: " + check.made);
        if (check.isShown) { PrintAccepted(session, change, found.text); }
        return;
    }
    const std::string sent =
        outcome.Succeeded() ? change.Describe() + " was answered " + std::to_string(outcome.status)
                            : DescribeFailure(change.Describe(), outcome);
    if (!isMade) {
        throw CommandError(ExitStatus::NotConfirmed,
                           sent + ". Reading back does not tell whether it was made: " +
                               DescribeFailure("GET " + change.target, found));
    }
    const bool isRefused = !outcome.Succeeded() && IsFinal(outcome);
    throw CommandError(isRefused ? ExitStatus::Refused : ExitStatus::NotConfirmed,
                       sent + ". Read back: " + check.notMade);
}

void Delete(Session& session, const std::string& name, const std::string& target, bool isConfirmed,
            bool isDryRun) {
    if (!isDryRun) {
        if (!isConfirmed) { Confirm("Delete " + name + "?"); }
        const Outcome current = session.Send("GET", target);
        if (!current.Succeeded()) {
            const CommandError error = JudgeFailure("GET " + target, current, Purpose::Read);
            throw CommandError(error.GetStatus(),
                               std::string(error.what()) + "; nothing was deleted");
        }
    }
    const auto isGone = [](const Outcome& found) -> std::optional<bool> {
        if (IsGone(found)) { return true; }
        return found.Succeeded() ? std::optional(false) : std::nullopt;
    };
    MakeCheckedChange(session, {"DELETE", target, std::nullopt},
                      {name + " is deleted", name + " still exists", isGone}, isDryRun);
}

} // namespace VarnelBase
