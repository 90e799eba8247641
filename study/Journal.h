#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "PointSet.h"

namespace VarnelBase::Studies {

/// How far a point has come. The numbers are those in the journal.
enum class PointState : int {
    Planned = 0,  ///< nothing has been sent
    Reserved = 1, ///< chosen by a run to be sent soon; counts and shows as `Planned`
    Sending = 2,  ///< about to be sent, or sent and not answered yet
    Unknown = 3,  ///< sent, and whether an execution was started is not known
    Running = 4,  ///< its execution is known and under way
    Finished = 5, ///< its results are collected
    Failed = 6,   ///< the service refused it, or its execution failed
};

/// The state's name, as commands show it.
const char* NameState(PointState state);

/// How many points are in each state.
class StateCounts {
public:
    /// The number of points in one state.
    std::size_t& operator[](PointState state) { return counts.at(static_cast<std::size_t>(state)); }
    /// The number of points in one state.
    std::size_t operator[](PointState state) const {
        return counts.at(static_cast<std::size_t>(state));
    }

    std::size_t GetTotal() const; ///< in all states together
    std::size_t GetEnded() const; ///< finished and failed ones

private:
    std::array<std::size_t, 7> counts{};
};

/// A row of the journal.
struct PointRecord {
    std::string id;                         ///< what `PointSet::IdentifyPoint` returns
    std::int64_t number = 0;                ///< in the study's file, from 0
    PointState state = PointState::Planned; ///< how far it has come
    json parameters;       ///< array of values, in the order of `StudyColumns::parameters`
    std::string execution; ///< the execution's identifier; empty: none is known
    std::string createdAt; ///< of the execution, as the service wrote it; empty: not known
    json results;          ///< array of values, in the order of `StudyColumns::collected`; or null
    std::string reason;    ///< why it failed or is unknown
    std::int64_t sentAt = 0;  ///< seconds since 1970, when it was reserved; 0: never
    std::int64_t endedAt = 0; ///< seconds since 1970; 0: not yet
};

/// Which members of the documents the values of points belong to.
struct StudyColumns {
    std::vector<Quantity> parameters; ///< of all axes, in the order of the study's file
    std::vector<Quantity> collected;  ///< members of the executions' documents
};

/// The journal of a study: an SQLite file beside the study's own that records the state of each
/// point before and after each request. Even if the program is killed or the machine stops, a point
/// that may have been sent is never read as `Planned` by the next run.
///
/// Any number of processes may read. One at a time may write: it holds a `RunLock`. Failures are
/// std::runtime_error.
class Journal {
public:
    /// Opens the journal of a study to write it; creates it if it is missing.
    static Journal OpenToWrite(const std::string& file);

    /// Opens a journal that exists, to read it.
    ///
    /// @throws std::runtime_error when it does not exist
    static Journal OpenToRead(const std::string& file);

    /// Brings the points up to date with a study's file: new ones are planned; those that the file
    /// no longer has keep their results but are neither counted nor started.
    ///
    /// @throws std::runtime_error when the journal belongs to another simulation or to a study with
    ///         other parameters, or has results that `collected` no longer names
    void TakePoints(const Definition& definition, const PointSet& points);

    /// Settles the points that an earlier run left as `Reserved` or `Sending`: those that may have
    /// been sent become `Unknown`, the others `Planned`.
    void SettleInterruptedSends();

    /// Reserves up to `count` planned points, in the order of the study's file, durably.
    std::vector<PointRecord> Reserve(std::size_t count);

    /// Notes that a reserved point is about to be sent.
    void NoteSending(const std::string& id);
    /// Notes that a point was certainly not sent, and plans it again.
    void NoteNotSent(const std::string& id);
    /// Notes that a point may have been sent but that its execution is not known, and why.
    void NoteUnknown(const std::string& id, const std::string& reason);
    /// Notes the execution of a point, and its `createdAt` as the service wrote it.
    void NoteRunning(const std::string& id, const std::string& execution,
                     const std::string& createdAt);
    /// Notes the results of a point: an array, in the order of `StudyColumns::collected`.
    void NoteFinished(const std::string& id, const json& results);
    /// Notes that a point was refused, or that its execution has ended without results.
    void NoteFailed(const std::string& id, const std::string& reason);

    /// Records the end of a point whose execution something else started, a scheduler for example.
    ///
    /// @param ended the point's id, its final state, and its results or the reason
    /// @return false when the point is no longer planned or unknown; it then stays as it is
    bool TakeOver(const PointRecord& ended);

    /// Plans the unknown points again and returns how many. Their executions may then exist twice.
    int PlanUnknownAgain();

    /// Counts the points in each state. Reserved ones count as planned.
    StateCounts CountStates();

    /// Calls `visit` with each point in a state (none: in any), in the order of the study's file.
    void VisitPoints(std::optional<PointState> state,
                     const std::function<void(const PointRecord&)>& visit);

    /// The point with a number; none if the study has no such point.
    std::optional<PointRecord> FindPoint(std::int64_t number);

    /// Whether an execution already belongs to a point.
    bool HasExecution(const std::string& execution);

    /// The latest `createdAt` among executions of points that were sent before a time; empty if
    /// none is known.
    std::string FindLatestCreation(std::int64_t sentBefore);

    /// Which members of the documents the values of points belong to.
    StudyColumns ReadColumns();

    /// The identifier of the study's simulation.
    std::string ReadSimulation();

    /// The study's mark: a random text that is created with the journal and never changes.
    std::string ReadMark();

    ~Journal();
    Journal(Journal&&) noexcept;            ///< The other may only be destroyed or assigned to.
    Journal& operator=(Journal&&) noexcept; ///< The other may only be destroyed or assigned to.

private:
    struct Store;
    explicit Journal(std::unique_ptr<Store> opened);

    std::unique_ptr<Store> store;
};

/// Held by the one process that starts executions of a study.
class RunLock {
public:
    /// @throws std::runtime_error when another process holds it
    explicit RunLock(const std::string& journalFile);
    ~RunLock();
    RunLock(const RunLock&) = delete;
    RunLock& operator=(const RunLock&) = delete;

private:
    int descriptor;
};

/// The path of a study's journal: "bridge.study.journal" beside "bridge.study.json".
std::string NameJournal(const std::string& studyFile);

} // namespace VarnelBase::Studies
