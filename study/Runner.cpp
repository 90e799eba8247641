#include "Runner.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <utility>

#include "ExecutionDocument.h"

namespace VarnelBase::Studies {

namespace {

using std::chrono::milliseconds;

// Reserving is forced to disk, so it is done for several points at once; not for too many, since
// all of them are unknown after the machine has stopped.
constexpr std::size_t MostReserved = 256;

constexpr milliseconds FirstPause{500};
constexpr milliseconds LongestPause{60'000};
constexpr milliseconds SearchDelay{2'000};
constexpr milliseconds FirstQuestion{200};
constexpr milliseconds ShortestInterval{5};
constexpr milliseconds LongestInterval{30'000};
constexpr milliseconds WaitSlice{50};

// What lasts longer is no part of the run's speed: the machine slept, or the service is away.
constexpr std::chrono::minutes LongestStep{2};
constexpr milliseconds LongestPassingPause{4'000};

/// Whether every other request would be refused in the same way.
bool ConcernsAllRequests(Failure failure) {
    switch (failure) {
        case Failure::Offline:
        case Failure::NotSignedIn:
        case Failure::Untrusted:
        case Failure::Unauthorized:
        case Failure::Forbidden:
            return true;
        default:
            return false;
    }
}

bool IsRefusalOfThisPoint(Failure failure) {
    switch (failure) {
        case Failure::BadRequest:
        case Failure::Conflict:
        case Failure::Unprocessable:
        case Failure::Refused:
            return true;
        default:
            return false;
    }
}

} // namespace

Runner::Runner(const Definition& studied, const PointSet& studiedPoints, Journal& written,
               ServiceClient& used, RunOptions wanted)
    : definition(studied),
      points(studiedPoints),
      journal(written),
      client(used),
      options(std::move(wanted)),
      concurrent(options.concurrent.value_or(definition.limits.concurrent)),
      mark(written.ReadMark()) {}

RunSummary Runner::Run() {
    begin = lastStep = nextStart = pausedUntil = GetNow();
    journal.SettleInterruptedSends();
    if (options.resendUnknown) { journal.PlanUnknownAgain(); }
    summary.counts = journal.CountStates();
    journal.VisitPoints(PointState::Running,
                        [this](const PointRecord& record) { Watch(record, GetWorkingTime()); });
    if (summary.counts[PointState::Unknown] > 0) { nextSearch = begin; }
    Report();

    while (!IsStopRequested()) {
        if (nextSearch && IsDue(*nextSearch)) {
            FindUnknownPoints();
        } else if (const auto point = TakePointToStart()) {
            StartPoint(*point);
        } else if (const auto next = FindNextQuestion();
                   next != watched.end() && IsDue(next->due)) {
            AskFor(*next);
        } else if (summary.counts[PointState::Planned] > 0 || !watched.empty() || nextSearch) {
            WaitUntil(FindNextTask());
            Report();
        } else {
            end = RunEnd::Complete;
        }
    }
    for (const PointRecord& record : reserved) { journal.NoteNotSent(record.id); }
    summary.end = *end;
    summary.counts = journal.CountStates();
    return summary;
}

bool Runner::IsDue(Clock::time_point time) const {
    return GetNow() >= std::max(time, pausedUntil);
}

/// The time without gaps, which grows as work is done.
Runner::Clock::time_point Runner::GetWorkingTime() {
    const auto now = GetNow();
    if (now - lastStep > LongestStep || pause > LongestPassingPause) { gaps += now - lastStep; }
    lastStep = now;
    return now - gaps;
}

bool Runner::IsStopRequested() {
    const auto& limits = definition.limits;
    if (end) { return true; }
    if (options.cancellation.IsCancelled()) {
        end = RunEnd::Cancelled;
    } else if (limits.deadline && GetNow() - begin >= *limits.deadline) {
        end = RunEnd::DeadlineOver;
    } else if (limits.stopAfterFailures && failedInRun >= *limits.stopAfterFailures) {
        end = RunEnd::TooManyFailures;
    }
    return end.has_value();
}

json Runner::BuildMarkedBody(const PointRecord& record) const {
    json body = points.BuildBody(static_cast<std::size_t>(record.number));
    if (definition.mark) { body[*definition.mark] = mark + "/" + record.id; }
    return body;
}

void Runner::Watch(const PointRecord& record, Clock::time_point start) {
    const milliseconds first = usualDuration.count() == 0 ? FirstQuestion : usualDuration * 2 / 5;
    watched.push_back({record.id, record.execution, record.results, start, GetNow() + first});
}

/// Starts come before questions, so that as many executions are under way as the study allows.
std::optional<PointRecord> Runner::TakePointToStart() {
    if (watched.size() >= concurrent || !IsDue(nextStart)) { return std::nullopt; }
    if (reserved.empty()) {
        const auto fresh = journal.Reserve(std::min(concurrent * 4, MostReserved));
        reserved.assign(fresh.begin(), fresh.end());
    }
    if (reserved.empty()) { return std::nullopt; }
    PointRecord point = std::move(reserved.front());
    reserved.pop_front();
    return point;
}

void Runner::StartPoint(const PointRecord& record) {
    const auto start = GetWorkingTime();
    CallOptions call;
    call.cancellation = options.cancellation;
    journal.NoteSending(record.id);
    const Outcome started =
        client.PostExecution(definition.simulation, BuildMarkedBody(record), call);
    if (started) {
        const auto id = FindText(started.document, definition.execution.id);
        if (!id) {
            journal.NoteUnknown(record.id, "the answer to its start names no execution");
            throw std::runtime_error(
                "the service accepted an execution, but its document has no identifier at " +
                definition.execution.id.to_string() +
                ": say where it is in the study's \"execution\"");
        }
        PointRecord running = record;
        running.execution = *id;
        running.createdAt = FindText(started.document, definition.execution.createdAt).value_or("");
        journal.NoteRunning(running.id, running.execution, running.createdAt);
        Move(PointState::Planned, PointState::Running);
        Watch(running, start);
        EndPause();
    } else if (started.failure == Failure::NotFound || ConcernsAllRequests(started.failure)) {
        journal.NoteNotSent(record.id);
        EndRun(started);
    } else if (IsRefusalOfThisPoint(started.failure)) {
        NoteFailure(record.id, PointState::Planned, started.message);
    } else if (started.sent == SentState::NotSent || started.failure == Failure::TooManyRequests) {
        journal.NoteNotSent(record.id);
        PauseAfter(started);
    } else {
        // A status from 500 on says nothing certain either: a gateway may have passed it on.
        journal.NoteUnknown(record.id, started.message);
        Move(PointState::Planned, PointState::Unknown);
        PauseAfter(started);
        nextSearch = GetNow() + SearchDelay;
    }
    if (const auto perMinute = definition.limits.startsPerMinute) {
        nextStart = std::max(nextStart, GetNow()) + milliseconds(60'000 / *perMinute);
    }
    Report();
}

std::vector<Runner::Watched>::iterator Runner::FindNextQuestion() {
    return std::min_element(
        watched.begin(), watched.end(),
        [](const Watched& left, const Watched& right) { return left.due < right.due; });
}

void Runner::AskFor(Watched& asked) {
    CallOptions call;
    call.cancellation = options.cancellation;
    const Outcome answer = client.GetExecution(definition.simulation, asked.execution, call);
    bool hasEnded = false;
    if (answer) {
        EndPause();
        hasEnded = TakeDocument(asked, answer.document);
    } else if (answer.failure == Failure::NotFound && !asked.earlier.is_null()) {
        NoteFinished(asked, asked.earlier);
        hasEnded = true;
    } else if (answer.failure == Failure::NotFound) {
        NoteFailure(asked.point, PointState::Running,
                    "the service no longer has its execution, " + asked.execution);
        hasEnded = true;
    } else if (ConcernsAllRequests(answer.failure)) {
        EndRun(answer);
    } else {
        PauseAfter(answer);
    }
    asked.due = GetNow() + GetAskingInterval();
    if (hasEnded) {
        std::swap(asked, watched.back());
        watched.pop_back();
        Report();
    }
}

bool Runner::TakeDocument(const Watched& asked, const json& document) {
    const Verdict verdict = JudgeExecution(definition, document);
    if (verdict.kind == Verdict::Kind::UnderWay) { return false; }
    if (verdict.kind == Verdict::Kind::Finished) {
        NoteFinished(asked, verdict.results);
    } else {
        NoteFailure(asked.point, PointState::Running, verdict.reason);
    }
    ++endedInRun;
    const auto took = std::chrono::duration_cast<milliseconds>(GetWorkingTime() - asked.start);
    usualDuration = usualDuration.count() == 0 ? took : (usualDuration * 7 + took) / 8;
    return true;
}

void Runner::NoteFinished(const Watched& ended, json results) {
    for (std::size_t index = 0; index < results.size(); ++index) {
        if (results[index].is_null() && !ended.earlier.is_null()) {
            results[index] = ended.earlier.at(index);
        }
        if (results[index].is_null()) {
            ++summary.absent[definition.collected.at(index).pointer.to_string()];
        }
    }
    journal.NoteFinished(ended.point, results);
    Move(PointState::Running, PointState::Finished);
}

void Runner::NoteFailure(const std::string& point, PointState before, const std::string& reason) {
    journal.NoteFailed(point, reason);
    Move(before, PointState::Failed);
    ++failedInRun;
}

void Runner::FindUnknownPoints() {
    nextSearch.reset();
    std::vector<PointRecord> unknown;
    journal.VisitPoints(PointState::Unknown,
                        [&](const PointRecord& record) { unknown.push_back(record); });
    CallOptions call;
    call.cancellation = options.cancellation;
    try {
        for (const json& entry : client.Executions(definition.simulation, call)) {
            const auto id = FindText(entry, definition.execution.id);
            if (unknown.empty()) { break; }
            if (!id || journal.HasExecution(*id)) { continue; }
            auto match = MatchExecution(entry, unknown);
            json document = entry;
            if (!match && !entry.contains(definition.execution.data)) {
                const Outcome whole = client.GetExecution(definition.simulation, *id, call);
                if (whole.failure == Failure::NotFound) { continue; } // deleted since it was listed
                if (!whole) { throw CallFailed(whole); }
                document = whole.document;
                match = MatchExecution(document, unknown);
            }
            if (!match) { continue; }
            const auto found =
                std::find_if(unknown.begin(), unknown.end(),
                             [&](const PointRecord& record) { return record.id == *match; });
            found->execution = *id;
            found->createdAt = FindText(document, definition.execution.createdAt).value_or("");
            journal.NoteRunning(found->id, found->execution, found->createdAt);
            Move(PointState::Unknown, PointState::Running);
            Watch(*found, GetWorkingTime());
            unknown.erase(found);
            Report();
        }
    } catch (const CallFailed& failed) {
        const Failure failure = failed.GetOutcome().failure;
        if (failure == Failure::NotFound || ConcernsAllRequests(failure)) {
            EndRun(failed.GetOutcome());
        } else {
            PauseAfter(failed.GetOutcome());
            nextSearch = pausedUntil;
        }
    }
}

std::optional<std::string> Runner::MatchExecution(const json& document,
                                                  const std::vector<PointRecord>& unknown) const {
    const auto known = [&](const std::string& id) {
        return std::any_of(unknown.begin(), unknown.end(),
                           [&](const PointRecord& record) { return record.id == id; });
    };
    if (definition.mark) {
        // Wherever the service keeps the document, the mark is in it.
        const std::string text = document.dump(-1, ' ', false, json::error_handler_t::replace);
        const std::size_t found = text.find(mark + "/");
        if (found == std::string::npos) { return std::nullopt; }
        const std::size_t start = found + mark.size() + 1;
        const std::string id = text.substr(start, text.find('"', start) - start);
        return known(id) ? std::optional(id) : std::nullopt;
    }
    if (!document.contains(definition.execution.data)) { return std::nullopt; }
    const json& data = document.at(definition.execution.data);
    const std::string createdAt = FindText(document, definition.execution.createdAt).value_or("");
    for (const PointRecord& record : unknown) {
        if (data == points.BuildBody(static_cast<std::size_t>(record.number)) &&
            createdAt >= journal.FindLatestCreation(record.sentAt)) {
            return record.id;
        }
    }
    return std::nullopt;
}

/// Nothing is asked for a while, which doubles with each failure in a row.
void Runner::PauseAfter(const Outcome& failed) {
    pause = std::clamp(pause * 2, FirstPause, LongestPause);
    pausedUntil = GetNow() + pause;
    trouble = failed.message;
    Report();
}

void Runner::EndPause() {
    pause = milliseconds::zero();
    trouble.clear();
}

void Runner::EndRun(const Outcome& refusal) {
    summary.refusal = refusal;
    end = RunEnd::Refused;
}

void Runner::Move(PointState from, PointState to) {
    --summary.counts[from];
    ++summary.counts[to];
}

void Runner::Report() {
    const std::chrono::duration<double> elapsed = GetWorkingTime() - begin;
    if (!options.progress) { return; }
    RunProgress progress;
    progress.counts = summary.counts;
    progress.trouble = trouble;
    if (endedInRun > 0 && elapsed.count() > 0) {
        const double perSecond = static_cast<double>(endedInRun) / elapsed.count();
        const std::size_t left =
            summary.counts[PointState::Planned] + summary.counts[PointState::Running];
        progress.endedPerMinute = perSecond * 60;
        progress.timeLeft =
            std::chrono::seconds(static_cast<std::int64_t>(static_cast<double>(left) / perSecond));
    }
    options.progress(progress);
}

Runner::Clock::time_point Runner::GetNow() const {
    return options.now ? options.now() : Clock::now();
}

void Runner::WaitUntil(Clock::time_point time) const {
    const auto length = std::chrono::ceil<milliseconds>(time - GetNow());
    if (length <= milliseconds::zero()) { return; }
    if (options.wait) {
        options.wait(length);
    } else {
        std::this_thread::sleep_for(std::min(length, WaitSlice));
    }
}

Runner::Clock::time_point Runner::FindNextTask() {
    auto next = Clock::time_point::max();
    if (const auto asked = FindNextQuestion(); asked != watched.end()) { next = asked->due; }
    if (nextSearch) { next = std::min(next, *nextSearch); }
    if (watched.size() < concurrent && summary.counts[PointState::Planned] > 0) {
        next = std::min(next, nextStart);
    }
    return std::max(next, pausedUntil);
}

/// A twelfth of what an execution usually takes: an end is noticed late by half of that.
std::chrono::milliseconds Runner::GetAskingInterval() const {
    return usualDuration.count() == 0
               ? FirstQuestion
               : std::clamp(usualDuration / 12, ShortestInterval, LongestInterval);
}

} // namespace VarnelBase::Studies
