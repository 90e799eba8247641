#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Database.h"
#include "EmulatedClock.h"
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
    ServiceState(const std::string& path, Seed start, double speed);

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

    json GetAgent();
    json RunCommand(const std::string& command);

    json DescribeClock() const;
    void AdvanceClock(double seconds);
    void Reset();
    /// Everything as a seed document.
    json Export();

private:
    void CreateTables();
    void Fill();
    void SaveClock();
    std::string TakeId(const std::string& prefix, const std::string& counter,
                       std::string_view findSql);
    std::string ReadSetting(const std::string& name);
    void WriteSetting(const std::string& name, const std::string& text);
    void RequireSimulation(const std::string& id);
    json DescribeExecution(const ExecutionRecord& execution) const;

    Database database;
    Seed seed;
    EmulatedClock clock;
};

} // namespace VarnelBase::Emulation
