#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// All times and durations are in milliseconds of the emulated clock.
struct SimulationRecord {
    std::string id;
    std::string name;
    std::string scope; ///< who sees it: "user", "group" or "public"
    std::int64_t createdAt = 0;
    json inputs;
};

struct ExecutionRecord {
    std::string id;
    std::string simulationId;
    std::int64_t createdAt = 0;
    std::int64_t duration = 0;
    bool isFailing = false;
    json data; ///< what it was started with
};

struct UserRecord {
    std::string id;
    std::string email;
    std::string role;
    std::int64_t createdAt = 0;
};

/// Everything that a service starts with.
struct Seed {
    std::int64_t number = 0;
    double failureRate = 0; ///< share of the executions that fail, 0 to 1
    std::int64_t clock = 0; ///< the time when it begins
    std::vector<SimulationRecord> simulations;
    std::vector<ExecutionRecord> executions;
    std::vector<UserRecord> users;
    json agent;
    std::int64_t executionsMade = 0; ///< number in the last identifier that was given out
    std::int64_t usersMade = 0;
};

/// How long an execution takes and whether it fails, where its seed does not say so.
std::int64_t DrawDuration(std::int64_t seedNumber, const std::string& executionId);
bool DrawIsFailing(std::int64_t seedNumber, double failureRate, const std::string& executionId);

bool IsKnownScope(const std::string& scope);

/// Reads a seed document, which has the form of an export.
///
/// @param now when a seed without a clock begins
/// @throws Refusal 422 naming the member that cannot be used
Seed ReadSeed(const json& document, std::int64_t now);

/// Writes a seed as a document.
json WriteSeed(const Seed& seed);

} // namespace VarnelBase::Emulation
