#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "DocumentShapes.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

/// A document as it is served, apart from what the emulator computes.
struct Entry {
    std::string id;
    json document;
    json listed; ///< what lists show instead; null: the document
};

struct SimulationEntry : Entry {
    std::string scope;
    json inputs;
};

/// All times and durations are in milliseconds of the emulated clock.
struct ExecutionEntry : Entry {
    std::string simulationId;
    std::int64_t createdAt = 0;
    std::optional<std::int64_t> duration; ///< none: it stays in the state that its document shows
    bool isFailing = false;
};

struct UserEntry : Entry {
    std::string email; ///< may be empty
};

/// What a service starts with, apart from its simulations, executions and users.
struct SeedSettings {
    std::int64_t number = 0;
    double failureRate = 0; ///< share of the executions that fail, 0 to 1
    std::int64_t clock = 0; ///< the time when it begins
    DocumentShapes shapes;
    json version;
    json agent;
    std::int64_t simulationsMade = 0; ///< number in the last identifier that was given out
    std::int64_t executionsMade = 0;
    std::int64_t usersMade = 0;
};

/// Where the entries of a seed go.
struct SeedReceiver {
    std::function<void(SimulationEntry)> simulation;
    std::function<void(ExecutionEntry)> execution;
    std::function<void(UserEntry)> user;
};

/// How long an execution takes and whether it fails, where its seed does not say so.
std::int64_t DrawDuration(std::int64_t seedNumber, const std::string& executionId);
bool DrawIsFailing(std::int64_t seedNumber, double failureRate, const std::string& executionId);

/// A seed: a text, of which one entry at a time becomes a document, so that a large one fits.
class Seed {
public:
    /// @param text has the form of an export
    /// @param now  when a seed without a clock begins
    /// @throws Refusal 422 naming the member that cannot be used
    Seed(std::string text, std::int64_t now);
    Seed(const Seed&) = delete;
    Seed& operator=(const Seed&) = delete;

    const std::string& GetText() const { return text; }
    const SeedSettings& GetSettings() const { return settings; }

    /// Gives the entries to a receiver: simulations, executions, users, each in their order.
    ///
    /// @throws Refusal 422 naming the member that cannot be used
    void ReadEntries(const SeedReceiver& receiver) const;

private:
    std::string text;
    SeedSettings settings;
    std::string_view simulations = "[]";
    std::string_view executions = "[]";
    std::string_view users = "[]";
};

/// Reads one simulation as it stands in a seed, with its member "_local".
///
/// @param newId what it is called when it does not say so
SimulationEntry ReadSimulation(json document, const std::string& where, const std::string& newId,
                               const SeedSettings& settings);

/// These as they stand in a seed.
json WriteSettings(const SeedSettings& settings);
json WriteEntry(const SimulationEntry& simulation, const DocumentShapes& shapes);
json WriteEntry(const ExecutionEntry& execution, const DocumentShapes& shapes);
json WriteEntry(const UserEntry& user, const DocumentShapes& shapes);

} // namespace VarnelBase::Emulation
