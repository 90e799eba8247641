#include "Seed.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Members.h"
#include "SeededDraw.h"
#include "UtcTime.h"

namespace VarnelBase::Emulation {

namespace {

constexpr double MaxDurationSeconds = 1e9;

std::string NameEntry(const char* list, std::size_t position) {
    return std::string(list) + "[" + std::to_string(position) + "]";
}

/// Calls a reader with the members of each entry of a list.
template <typename Read>
void ReadEntries(Members& seed, const char* list, const Read& read) {
    const json& entries = seed.ReadArray(list);
    for (std::size_t position = 0; position < entries.size(); ++position) {
        Members entry(entries[position], NameEntry(list, position));
        read(entry, std::to_string(position + 1));
        entry.RefuseOthers();
    }
}

SimulationRecord ReadSimulation(Members& entry, const std::string& number, std::int64_t clock) {
    SimulationRecord simulation;
    simulation.id = entry.ReadText("id", "sim-" + number);
    simulation.name = entry.ReadText("name", simulation.id);
    simulation.scope = entry.ReadText("scope", "user");
    if (!IsKnownScope(simulation.scope)) { entry.Refuse("scope", "must be user, group or public"); }
    simulation.createdAt = entry.ReadTime("createdAt", clock);
    simulation.inputs = entry.Has("inputs") ? entry.Find("inputs") : json::object();
    return simulation;
}

ExecutionRecord ReadExecution(Members& entry, const std::string& number, const Seed& seed) {
    ExecutionRecord execution;
    execution.id = entry.ReadText("id", "exe-" + number);
    execution.simulationId = entry.ReadText("simulationId");
    execution.createdAt = entry.ReadTime("createdAt", seed.clock);
    const auto drawn = static_cast<double>(DrawDuration(seed.number, execution.id)) / 1000;
    execution.duration =
        std::llround(entry.ReadNumber("duration", drawn, 0, MaxDurationSeconds) * 1000);
    const bool isDrawnFailing = DrawIsFailing(seed.number, seed.failureRate, execution.id);
    const std::string outcome = entry.ReadText("outcome", isDrawnFailing ? "failed" : "finished");
    if (outcome != "finished" && outcome != "failed") {
        entry.Refuse("outcome", "must be finished or failed");
    }
    execution.isFailing = outcome == "failed";
    execution.data = entry.Find("data");
    return execution;
}

json MakeIdleAgent(std::int64_t clock) {
    return json::object({{"id", "agent-1"},
                         {"name", "Emulated agent"},
                         {"createdAt", FormatUtcTime(clock)},
                         {"state", "idle"},
                         {"commandsHandled", 0},
                         {"lastCommand", json()}});
}

json ReadAgent(const json& document, std::int64_t clock) {
    json agent = MakeIdleAgent(clock);
    Members members(document, "agent");
    for (const char* text : {"id", "name", "state", "lastCommand"}) {
        if (members.Has(text)) { agent[text] = members.ReadText(text); }
    }
    if (agent["state"] != "idle" && agent["state"] != "running") {
        members.Refuse("state", "must be idle or running");
    }
    agent["createdAt"] = FormatUtcTime(members.ReadTime("createdAt", clock));
    agent["commandsHandled"] = members.ReadInteger("commandsHandled", 0, 0, INT32_MAX);
    members.RefuseOthers();
    return agent;
}

} // namespace

std::int64_t DrawDuration(std::int64_t seedNumber, const std::string& executionId) {
    constexpr double shortestMs = 5000;
    constexpr double spreadMs = 15000;
    return std::llround(shortestMs + spreadMs * DrawFraction(seedNumber, executionId));
}

bool DrawIsFailing(std::int64_t seedNumber, double failureRate, const std::string& executionId) {
    return DrawFraction(seedNumber, "outcome of " + executionId) < failureRate;
}

bool IsKnownScope(const std::string& scope) {
    constexpr std::array<const char*, 3> scopes{"user", "group", "public"};
    return std::find(scopes.begin(), scopes.end(), scope) != scopes.end();
}

Seed ReadSeed(const json& document, std::int64_t now) {
    Members members(document, "");
    Seed seed;
    seed.number = members.ReadInteger("seed", 0, INT64_MIN, INT64_MAX);
    seed.failureRate = members.ReadNumber("failureRate", 0, 0, 1);
    seed.clock = members.ReadTime("clock", now);
    ReadEntries(members, "simulations", [&](Members& entry, const std::string& number) {
        seed.simulations.push_back(ReadSimulation(entry, number, seed.clock));
    });
    ReadEntries(members, "executions", [&](Members& entry, const std::string& number) {
        seed.executions.push_back(ReadExecution(entry, number, seed));
    });
    ReadEntries(members, "users", [&](Members& entry, const std::string& number) {
        seed.users.push_back({entry.ReadText("id", "usr-" + number), entry.ReadText("email"),
                              entry.ReadText("role", "viewer"),
                              entry.ReadTime("createdAt", seed.clock)});
    });
    seed.agent = members.Has("agent") ? ReadAgent(members.Find("agent"), seed.clock)
                                      : MakeIdleAgent(seed.clock);
    seed.executionsMade = members.ReadInteger(
        "executionsMade", static_cast<std::int64_t>(seed.executions.size()), 0, INT32_MAX);
    seed.usersMade = members.ReadInteger("usersMade", static_cast<std::int64_t>(seed.users.size()),
                                         0, INT32_MAX);
    members.RefuseOthers();
    return seed;
}

json WriteSeed(const Seed& seed) {
    json document = json::object({{"seed", seed.number},
                                  {"clock", FormatUtcTime(seed.clock)},
                                  {"failureRate", seed.failureRate},
                                  {"simulations", json::array()},
                                  {"executions", json::array()},
                                  {"users", json::array()},
                                  {"agent", seed.agent},
                                  {"executionsMade", seed.executionsMade},
                                  {"usersMade", seed.usersMade}});
    for (const SimulationRecord& simulation : seed.simulations) {
        document["simulations"].push_back(
            json::object({{"id", simulation.id},
                          {"name", simulation.name},
                          {"scope", simulation.scope},
                          {"createdAt", FormatUtcTime(simulation.createdAt)},
                          {"inputs", simulation.inputs}}));
    }
    for (const ExecutionRecord& execution : seed.executions) {
        document["executions"].push_back(
            json::object({{"id", execution.id},
                          {"simulationId", execution.simulationId},
                          {"createdAt", FormatUtcTime(execution.createdAt)},
                          {"duration", static_cast<double>(execution.duration) / 1000},
                          {"outcome", execution.isFailing ? "failed" : "finished"},
                          {"data", execution.data}}));
    }
    for (const UserRecord& user : seed.users) {
        document["users"].push_back(json::object({{"id", user.id},
                                                  {"email", user.email},
                                                  {"role", user.role},
                                                  {"createdAt", FormatUtcTime(user.createdAt)}}));
    }
    return document;
}

} // namespace VarnelBase::Emulation
