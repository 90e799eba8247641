#include "Seed.h"

#include <JsonView.h>
#include <UtcTime.h>

#include <cmath>

#include "JsonDepth.h"
#include "MemberReader.h"
#include "SeededDraw.h"

namespace VarnelBase::Emulation {

namespace {

constexpr double MaxDurationSeconds = 1e9;
constexpr const char* OwnMember = "_local";
// The form that the library gives offline, so that one reader does for both.
constexpr const char* ServiceVersion = "0.4.1";

/// Takes the members out that are not served.
json TakeOwnMembers(json& document, const std::string& where) {
    if (!document.is_object()) { throw Refusal(422, "invalid", where + " must be an object"); }
    const auto found = document.find(OwnMember);
    if (found == document.end()) { return json::object(); }
    json own = std::move(*found);
    document.erase(found);
    return own;
}

/// Fills in what every kind of entry has.
void ReadEntry(Entry& entry, json document, MemberReader& own, const DocumentShape& shape,
               const std::string& newId) {
    entry.document = std::move(document);
    const bool hasId = own.Has("id") || shape.Find(entry.document, "id") != nullptr;
    if (!hasId) { shape.Put(entry.document, "id", newId); }
    entry.id = own.ReadText("id", shape.FindText(entry.document, "id"));
    if (entry.id.empty()) { own.RefuseDocument("its id must be a number or a string"); }
    entry.listed = own.Find("listed");
}

/// The time at a shape's place for it, or else in the entry's own members.
std::int64_t FindCreationTime(const json& document, const DocumentShape& shape, MemberReader& own,
                              std::int64_t fallback) {
    const auto time = ParseUtcTime(shape.FindText(document, "createdAt"));
    return own.ReadTime("createdAt", time.value_or(fallback));
}

ExecutionEntry ReadExecution(json document, const std::string& where, const std::string& newId,
                             const SeedSettings& settings) {
    const DocumentShape& shape = settings.shapes.executions;
    const json ownMembers = TakeOwnMembers(document, where);
    MemberReader own(ownMembers, where + "." + OwnMember);
    ExecutionEntry execution;
    ReadEntry(execution, std::move(document), own, shape, newId);
    execution.simulationId =
        own.ReadText("simulationId", shape.FindText(execution.document, "simulationId"));
    if (execution.simulationId.empty()) {
        own.RefuseDocument("it must name its simulation, in its document or in " +
                           std::string(OwnMember) + ".simulationId");
    }
    execution.createdAt = FindCreationTime(execution.document, shape, own, settings.clock);
    const bool isDrawnFailing = DrawIsFailing(settings.number, settings.failureRate, execution.id);
    const std::string outcome = own.ReadText("outcome", isDrawnFailing ? "failed" : "finished");
    if (outcome != "finished" && outcome != "failed") {
        own.Refuse("outcome", "must be finished or failed");
    }
    execution.isFailing = outcome == "failed";
    const bool hasState = shape.Find(execution.document, "state") != nullptr;
    const double drawn = static_cast<double>(DrawDuration(settings.number, execution.id)) / 1000;
    const double duration = own.ReadNumber("duration", drawn, 0, MaxDurationSeconds);
    if (!hasState) { execution.duration = std::llround(duration * 1000); }
    own.RefuseOthers();
    return execution;
}

UserEntry ReadUser(json document, const std::string& where, const std::string& newId,
                   const SeedSettings& settings) {
    const json ownMembers = TakeOwnMembers(document, where);
    MemberReader own(ownMembers, where + "." + OwnMember);
    UserEntry user;
    ReadEntry(user, std::move(document), own, settings.shapes.users, newId);
    user.email = settings.shapes.users.FindText(user.document, "email");
    own.RefuseOthers();
    return user;
}

json MakeIdleAgent(std::int64_t clock) {
    return json::object({{"id", "agent-1"},
                         {"name", "Emulated agent"},
                         {"createdAt", FormatUtcTime(clock)},
                         {"state", "idle"},
                         {"commandsHandled", 0},
                         {"lastCommand", json()}});
}

std::int64_t CountElements(std::string_view array) {
    return static_cast<std::int64_t>(JsonView(array).ReadElements().size());
}

SeedSettings ReadSettings(MemberReader& members, std::int64_t now) {
    SeedSettings settings;
    settings.number = members.ReadInteger("seed", 0, INT64_MIN, INT64_MAX);
    settings.failureRate = members.ReadNumber("failureRate", 0, 0, 1);
    settings.clock = members.ReadTime("clock", now);
    settings.shapes.Read(members.Find("shapes"));
    settings.version =
        members.Has("version") ? members.Find("version") : json::array({ServiceVersion});
    settings.agent = members.Has("agent") ? members.Find("agent") : MakeIdleAgent(settings.clock);
    return settings;
}

/// An entry's document with its own members, unless there are none.
json AddOwnMembers(const Entry& entry, const DocumentShape& shape, json own) {
    if (shape.FindText(entry.document, "id") != entry.id) { own["id"] = entry.id; }
    if (!entry.listed.is_null()) { own["listed"] = entry.listed; }
    json document = entry.document;
    if (!own.empty()) { document[OwnMember] = std::move(own); }
    return document;
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

Seed::Seed(std::string seedText, std::int64_t now) : text(std::move(seedText)) {
    if (MeasureJsonDepth(text) > MaxJsonDepth || !json::accept(text)) {
        throw Refusal(422, "invalid",
                      "the seed is not one JSON value in UTF-8 of at most " +
                          std::to_string(MaxJsonDepth) + " levels");
    }
    if (!JsonView(text).IsObject()) { throw Refusal(422, "invalid", "the seed must be an object"); }
    json rest = json::object();
    for (const auto& [name, value] : JsonView(text).ReadMembers()) {
        std::string_view* const list = name == "simulations"  ? &simulations
                                       : name == "executions" ? &executions
                                       : name == "users"      ? &users
                                                              : nullptr;
        if (list == nullptr) {
            rest[name] = json::parse(value.GetText());
        } else if (value.IsArray()) {
            *list = value.GetText();
        } else if (!value.IsNull()) {
            throw Refusal(422, "invalid", name + ": must be an array");
        }
    }
    MemberReader members(rest, "");
    settings = ReadSettings(members, now);
    settings.simulationsMade =
        members.ReadInteger("simulationsMade", CountElements(simulations), 0, INT32_MAX);
    settings.executionsMade =
        members.ReadInteger("executionsMade", CountElements(executions), 0, INT32_MAX);
    settings.usersMade = members.ReadInteger("usersMade", CountElements(users), 0, INT32_MAX);
    members.RefuseOthers();
}

void Seed::ReadEntries(const SeedReceiver& receiver) const {
    const auto readList = [](std::string_view list, const std::string& kind,
                             const std::string& prefix, const auto& read) {
        std::size_t position = 0;
        for (const JsonView& element : JsonView(list).ReadElements()) {
            const std::string where = kind + "[" + std::to_string(position++) + "]";
            read(json::parse(element.GetText()), where, prefix + std::to_string(position));
        }
    };
    readList(simulations, "simulations", "sim-",
             [&](json document, const std::string& where, const std::string& newId) {
                 receiver.simulation(ReadSimulation(std::move(document), where, newId, settings));
             });
    readList(executions, "executions", "exe-",
             [&](json document, const std::string& where, const std::string& newId) {
                 receiver.execution(ReadExecution(std::move(document), where, newId, settings));
             });
    readList(users, "users", "usr-",
             [&](json document, const std::string& where, const std::string& newId) {
                 receiver.user(ReadUser(std::move(document), where, newId, settings));
             });
}

SimulationEntry ReadSimulation(json document, const std::string& where, const std::string& newId,
                               const SeedSettings& settings) {
    const DocumentShape& shape = settings.shapes.simulations;
    const json ownMembers = TakeOwnMembers(document, where);
    MemberReader own(ownMembers, where + "." + OwnMember);
    SimulationEntry simulation;
    ReadEntry(simulation, std::move(document), own, shape, newId);
    const std::string scope = shape.FindText(simulation.document, "scope");
    simulation.scope = own.ReadText("scope", scope.empty() ? "user" : scope);
    simulation.inputs = own.Has("inputs") ? own.Find("inputs") : json::object();
    own.RefuseOthers();
    return simulation;
}

json WriteSettings(const SeedSettings& settings) {
    json document = json::object({{"seed", settings.number},
                                  {"clock", FormatUtcTime(settings.clock)},
                                  {"failureRate", settings.failureRate},
                                  {"version", settings.version},
                                  {"agent", settings.agent},
                                  {"simulationsMade", settings.simulationsMade},
                                  {"executionsMade", settings.executionsMade},
                                  {"usersMade", settings.usersMade}});
    if (!settings.shapes.document.is_null()) { document["shapes"] = settings.shapes.document; }
    return document;
}

json WriteEntry(const SimulationEntry& simulation, const DocumentShapes& shapes) {
    json own = json::object({{"inputs", simulation.inputs}});
    if (shapes.simulations.FindText(simulation.document, "scope") != simulation.scope) {
        own["scope"] = simulation.scope;
    }
    return AddOwnMembers(simulation, shapes.simulations, std::move(own));
}

json WriteEntry(const ExecutionEntry& execution, const DocumentShapes& shapes) {
    json own = json::object({{"outcome", execution.isFailing ? "failed" : "finished"},
                             {"createdAt", FormatUtcTime(execution.createdAt)}});
    if (execution.duration) { own["duration"] = static_cast<double>(*execution.duration) / 1000; }
    if (shapes.executions.FindText(execution.document, "simulationId") != execution.simulationId) {
        own["simulationId"] = execution.simulationId;
    }
    return AddOwnMembers(execution, shapes.executions, std::move(own));
}

json WriteEntry(const UserEntry& user, const DocumentShapes& shapes) {
    return AddOwnMembers(user, shapes.users, json::object());
}

} // namespace VarnelBase::Emulation
