#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Database.h"
#include "EmulatedClock.h"
#include "EntryOrder.h"
#include "Seed.h"

namespace VarnelBase::Emulation {

/// Part of a list.
struct Page {
    std::int64_t limit = 50;
    std::int64_t offset = 0;
};

/// What the service knows: simulations, executions, users, the agent and the clock, kept in a
/// database. For one thread at a time. The operations give the service's documents and throw
/// Refusal with 404, 409 or 422.
class ServiceState {
public:
    /// @param path  database file, or ":memory:"
    /// @param start what an empty database is filled with, and what Reset goes back to; a database
    ///              that holds something keeps it, and its own start with it
    ServiceState(const std::string& path, const Seed& start, double speed);

    /// @param scope empty: every simulation
    json ListSimulations(const std::string& scope, Page page);
    json GetSimulation(const std::string& id);
    /// Removes a simulation with its executions, none of which may be under way.
    void DeleteSimulation(const std::string& id);
    json GetInputs(const std::string& simulationId);
    void ReplaceInputs(const std::string& simulationId, const json& inputs);

    json ListExecutions(const std::string& simulationId, Page page);
    json StartExecution(const std::string& simulationId, const json& data);
    json GetExecution(const std::string& simulationId, const std::string& id);

    json ListUsers(Page page);
    json CreateUser(const std::string& email, const std::string& role);
    json GetUser(const std::string& id);
    json ChangeRole(const std::string& id, const std::string& role);
    void DeleteUser(const std::string& id);

    json GetVersion() const { return settings.version; }
    json GetAgent();
    json RunCommand(const std::string& command);

    json DescribeClock() const;
    void AdvanceClock(double seconds);

    /// These whatever the shapes are: simulations with "id", "executions" (how many) and
    /// "document", executions with "id", "state", "progress" and "document".
    json ShowSimulations(Page page);
    json ShowExecutions(const std::string& simulationId, Page page);

    /// Adds a simulation that is written as one of a seed.
    json CreateSimulation(const json& entry);
    /// Ends an execution at this moment.
    ///
    /// @param members merged into its document: results, an error
    json EndExecution(const std::string& simulationId, const std::string& id, bool isFailing,
                      const json& members);
    /// Replaces everything by a seed, which Reset goes back to from then on.
    void Load(const Seed& start);
    void Reset();
    /// Everything as a seed document.
    json Export();

private:
    void CreateTables(const Seed& start);
    void Fill(const Seed& start);
    void Insert(const SimulationEntry& simulation);
    void Insert(const ExecutionEntry& execution);
    void Insert(const UserEntry& user);
    void ReadOrder();
    void SaveClock();
    std::string TakeId(const std::string& prefix, const std::string& counter,
                       const std::function<bool(const std::string&)>& isTaken);
    std::int64_t ReadCounter(const std::string& name);
    std::string ReadSetting(const std::string& name);
    void WriteSetting(const std::string& name, const std::string& text);
    void RequireSimulation(const std::string& id);
    std::vector<Entry> ReadSimulations(const std::string& scope, Page page);
    ExecutionEntry ReadExecutionAt(std::int64_t number);
    ExecutionEntry ReadExecution(const std::string& simulationId, const std::string& id);
    json Compute(const ExecutionEntry& execution, json document) const;

    Database database;
    SeedSettings settings;
    EmulatedClock clock;
    EntryOrder simulations; ///< lists: "", and one for each scope
    EntryOrder executions;  ///< a list for each simulation
    EntryOrder users;       ///< the list ""
};

} // namespace VarnelBase::Emulation
