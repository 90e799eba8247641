#pragma once

#include <ServiceClient.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Definition.h"
#include "Journal.h"
#include "PointSet.h"

namespace VarnelBase::Studies {

/// Why a run ended.
enum class RunEnd {
    Complete,        ///< every point has finished, failed, or is unknown
    Cancelled,       ///< `RunOptions::cancellation` was cancelled
    DeadlineOver,    ///< the study's `deadline` has passed
    TooManyFailures, ///< as many failures as `stopAfterFailures`
    Refused, ///< the service or the sign-in refuses every request: see `RunSummary::refusal`
};

/// The result of a run.
struct RunSummary {
    RunEnd end = RunEnd::Complete; ///< why it ended
    StateCounts counts;            ///< of the whole study
    Outcome refusal;               ///< what was refused; see `RunEnd::Refused`

    /// How many points finished without a value, by the member of `collect` that is absent or null.
    std::map<std::string, std::size_t> absent;
};

/// How far a run is.
struct RunProgress {
    StateCounts counts;        ///< of the whole study
    double endedPerMinute = 0; ///< without the time in which the machine slept or nobody answered
    std::optional<std::chrono::seconds> timeLeft; ///< once enough points have ended to tell
    std::string trouble;                          ///< why the run is pausing; empty: it is not
};

/// Options for one run.
struct RunOptions {
    std::optional<std::size_t> concurrent; ///< in place of the study's limit
    bool resendUnknown = false;            ///< sends unknown points again
    Cancellation cancellation; ///< ends the run from any thread; it can be continued later

    /// Called after each change, and while the run waits.
    std::function<void(const RunProgress&)> progress;

    /// Replaces the clock, in programs that wait in their own way. Set `now` and `wait` or neither.
    std::function<std::chrono::steady_clock::time_point()> now;
    std::function<void(std::chrono::milliseconds)> wait; ///< may return early; see `now`
};

/// Runs a study: starts executions, waits for them and collects their results, on the caller's
/// thread, one request at a time.
///
/// Sends a point at most once, unless `resendUnknown`. If the answer is lost, looks for its
/// execution among the simulation's: by the study's mark or, without one, by its document and the
/// time of its creation.
class Runner {
public:
    /// The arguments passed by reference must outlive the runner. The caller must hold the study's
    /// `RunLock`.
    Runner(const Definition& studied, const PointSet& studiedPoints, Journal& written,
           ServiceClient& used, RunOptions wanted);

    /// Continues the study until it is complete or something ends the run.
    ///
    /// @throws std::runtime_error when the journal cannot be written, or when a document has no
    ///         identifier or state at the place that the study's file names
    RunSummary Run();

private:
    using Clock = std::chrono::steady_clock;

    /// An execution that is under way.
    struct Watched {
        std::string point;
        std::string execution;
        json earlier;            ///< what was collected before more was wanted; null: nothing
        Clock::time_point start; ///< without gaps
        Clock::time_point due;
    };

    json BuildMarkedBody(const PointRecord& record) const;
    void Watch(const PointRecord& record, Clock::time_point start);
    std::optional<PointRecord> TakePointToStart();
    void StartPoint(const PointRecord& record);
    std::vector<Watched>::iterator FindNextQuestion();
    void AskFor(Watched& asked);
    /// Whether the execution has ended.
    bool TakeDocument(const Watched& asked, const json& document);
    void NoteFinished(const Watched& ended, json results);
    void NoteFailure(const std::string& point, PointState before, const std::string& reason);
    void FindUnknownPoints();
    std::optional<std::string> MatchExecution(const json& document,
                                              const std::vector<PointRecord>& unknown) const;
    void PauseAfter(const Outcome& failed);
    void EndPause();
    void EndRun(const Outcome& refusal);
    bool IsStopRequested();
    bool IsDue(Clock::time_point time) const;
    Clock::time_point GetWorkingTime();
    void Move(PointState from, PointState to);
    void Report();
    Clock::time_point GetNow() const;
    void WaitUntil(Clock::time_point time) const;
    Clock::time_point FindNextTask();
    std::chrono::milliseconds GetAskingInterval() const;

    const Definition& definition;
    const PointSet& points;
    Journal& journal;
    ServiceClient& client;
    const RunOptions options;
    const std::size_t concurrent;
    const std::string mark;

    RunSummary summary;
    std::optional<RunEnd> end;
    std::deque<PointRecord> reserved; ///< to be started next
    std::vector<Watched> watched;
    Clock::time_point begin;
    Clock::time_point lastStep;
    Clock::duration gaps{0};       ///< times since the beginning in which nothing could be done
    Clock::time_point nextStart;   ///< not before the rate of starts and pauses allow
    Clock::time_point pausedUntil; ///< after a failure that passes
    std::chrono::milliseconds pause{0};          ///< the last one; grows from failure to failure
    std::optional<Clock::time_point> nextSearch; ///< for unknown points
    std::chrono::milliseconds usualDuration{0};  ///< of an execution; 0: none has ended
    std::size_t endedInRun = 0;
    std::size_t failedInRun = 0;
    std::string trouble;
};

} // namespace VarnelBase::Studies
