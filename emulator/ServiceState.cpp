#include "ServiceState.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "UtcTime.h"

namespace VarnelBase::Emulation {

namespace {

// "VARN", so that another program's database is not taken for ours.
constexpr std::int64_t ApplicationId = 0x5641524e;
constexpr std::int64_t SchemaVersion = 1;

constexpr const char* Schema = R"(
    CREATE TABLE settings (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
    CREATE TABLE simulations (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
        name TEXT NOT NULL, scope TEXT NOT NULL, created INTEGER NOT NULL, inputs TEXT NOT NULL);
    CREATE TABLE executions (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
        simulation TEXT NOT NULL REFERENCES simulations(id) ON DELETE CASCADE,
        created INTEGER NOT NULL, duration INTEGER NOT NULL, failing INTEGER NOT NULL,
        data TEXT NOT NULL);
    CREATE INDEX executionsBySimulation ON executions (simulation, number);
    CREATE TABLE users (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
        email TEXT NOT NULL UNIQUE COLLATE NOCASE, role TEXT NOT NULL, created INTEGER NOT NULL);
)";

// Part of an execution's duration that it waits before it runs, and where failing ones stop.
constexpr double QueuedShare = 0.1;
constexpr double FailingProgress = 0.5;

[[noreturn]] void ThrowMissing(const std::string& kind, const std::string& id) {
    throw Refusal(404, "not_found", "there is no " + kind + " \"" + id + "\"");
}

json DescribeSimulation(const Rows& row) {
    return json::object({{"id", row.GetText(0)},
                         {"name", row.GetText(1)},
                         {"scope", row.GetText(2)},
                         {"createdAt", FormatUtcTime(row.GetInteger(3))}});
}

ExecutionRecord ReadExecutionRow(const Rows& row) {
    ExecutionRecord execution;
    execution.id = row.GetText(0);
    execution.simulationId = row.GetText(1);
    execution.createdAt = row.GetInteger(2);
    execution.duration = row.GetInteger(3);
    execution.isFailing = row.GetInteger(4) != 0;
    execution.data = json::parse(row.GetText(5));
    return execution;
}

json DescribeUser(const Rows& row) {
    return json::object({{"id", row.GetText(0)},
                         {"email", row.GetText(1)},
                         {"role", row.GetText(2)},
                         {"createdAt", FormatUtcTime(row.GetInteger(3))}});
}

json MakeList(json items, std::int64_t total) {
    return json::object({{"items", std::move(items)}, {"total", total}});
}

} // namespace

ServiceState::ServiceState(const std::string& path, Seed start, double speed)
    : database(path), seed(std::move(start)) {
    const auto readPragma = [this](std::string_view sql) {
        Rows rows = database.Query(sql);
        return rows.Next() ? rows.GetInteger(0) : 0;
    };
    const bool isEmpty = readPragma("SELECT count(*) FROM sqlite_schema") == 0;
    if (isEmpty) {
        clock.speed = speed;
        CreateTables();
        return;
    }
    if (readPragma("PRAGMA application_id") != ApplicationId ||
        readPragma("PRAGMA user_version") != SchemaVersion) {
        throw std::runtime_error("the database is not one of this release's emulator");
    }
    seed = ReadSeed(json::parse(ReadSetting("seed")), 0);
    clock.base = std::stoll(ReadSetting("clockBase"));
    clock.machineBase = std::stoll(ReadSetting("clockMachineBase"));
    clock.speed = std::stod(ReadSetting("clockSpeed"));
    clock.SetSpeed(speed);
    SaveClock();
}

void ServiceState::CreateTables() {
    Transaction transaction(database);
    database.Execute(Schema);
    Fill();
    database.Execute("PRAGMA application_id = " + std::to_string(ApplicationId) +
                     "; PRAGMA user_version = " + std::to_string(SchemaVersion));
    transaction.Commit();
}

void ServiceState::Fill() {
    for (const SimulationRecord& simulation : seed.simulations) {
        if (database.Change("INSERT OR IGNORE INTO simulations (id, name, scope, created, inputs) "
                            "VALUES (?, ?, ?, ?, ?)",
                            simulation.id, simulation.name, simulation.scope, simulation.createdAt,
                            WriteJson(simulation.inputs)) == 0) {
            throw Refusal(422, "invalid",
                          "simulations: the id \"" + simulation.id + "\" is there twice");
        }
    }
    for (const ExecutionRecord& execution : seed.executions) {
        RequireSimulation(execution.simulationId);
        if (database.Change("INSERT OR IGNORE INTO executions "
                            "(id, simulation, created, duration, failing, data) "
                            "VALUES (?, ?, ?, ?, ?, ?)",
                            execution.id, execution.simulationId, execution.createdAt,
                            execution.duration, std::int64_t{execution.isFailing},
                            WriteJson(execution.data)) == 0) {
            throw Refusal(422, "invalid",
                          "executions: the id \"" + execution.id + "\" is there twice");
        }
    }
    for (const UserRecord& user : seed.users) {
        if (database.Change("INSERT OR IGNORE INTO users (id, email, role, created) "
                            "VALUES (?, ?, ?, ?)",
                            user.id, user.email, user.role, user.createdAt) == 0) {
            throw Refusal(422, "invalid",
                          "users: the id \"" + user.id + "\" or the email \"" + user.email +
                              "\" is there twice");
        }
    }
    WriteSetting("seed", WriteJson(WriteSeed(seed)));
    WriteSetting("agent", WriteJson(seed.agent));
    WriteSetting("executionsMade", std::to_string(seed.executionsMade));
    WriteSetting("usersMade", std::to_string(seed.usersMade));
    clock.base = seed.clock;
    clock.machineBase = GetMachineTime();
    SaveClock();
}

json ServiceState::ListSimulations(const std::string& scope, Page page) {
    if (!scope.empty() && !IsKnownScope(scope)) {
        throw Refusal(422, "invalid", "scope: must be user, group or public");
    }
    json items = json::array();
    Rows rows = database.Query(
        "SELECT id, name, scope, created FROM simulations "
        "WHERE ?1 = '' OR scope = ?1 ORDER BY number LIMIT ?2 OFFSET ?3",
        scope, page.limit, page.offset);
    while (rows.Next()) { items.push_back(DescribeSimulation(rows)); }
    Rows total =
        database.Query("SELECT count(*) FROM simulations WHERE ?1 = '' OR scope = ?1", scope);
    total.Next();
    return MakeList(std::move(items), total.GetInteger(0));
}

json ServiceState::GetSimulation(const std::string& id) {
    Rows rows = database.Query("SELECT id, name, scope, created FROM simulations WHERE id = ?", id);
    if (!rows.Next()) { ThrowMissing("simulation", id); }
    return DescribeSimulation(rows);
}

void ServiceState::DeleteSimulation(const std::string& id) {
    RequireSimulation(id);
    Transaction transaction(database);
    const std::int64_t now = clock.GetTime();
    {
        Rows rows = database.Query(
            "SELECT id, simulation, created, duration, failing, data FROM executions "
            "WHERE simulation = ? AND created + duration > ? ORDER BY number",
            id, now);
        while (rows.Next()) {
            const json execution = DescribeExecution(ReadExecutionRow(rows));
            if (execution["state"] == "queued" || execution["state"] == "running") {
                throw Refusal(409, "conflict",
                              "execution " + execution["id"].get<std::string>() +
                                  " of the simulation is under way");
            }
        }
    }
    database.Change("DELETE FROM simulations WHERE id = ?", id);
    transaction.Commit();
}

json ServiceState::GetInputs(const std::string& simulationId) {
    Rows rows = database.Query("SELECT inputs FROM simulations WHERE id = ?", simulationId);
    if (!rows.Next()) { ThrowMissing("simulation", simulationId); }
    return json::parse(rows.GetText(0));
}

void ServiceState::ReplaceInputs(const std::string& simulationId, const json& inputs) {
    RequireSimulation(simulationId);
    database.Change("UPDATE simulations SET inputs = ? WHERE id = ?", WriteJson(inputs),
                    simulationId);
}

json ServiceState::ListExecutions(const std::string& simulationId, Page page) {
    RequireSimulation(simulationId);
    json items = json::array();
    Rows rows = database.Query(
        "SELECT id, simulation, created, duration, failing, data FROM executions "
        "WHERE simulation = ? ORDER BY number LIMIT ? OFFSET ?",
        simulationId, page.limit, page.offset);
    while (rows.Next()) { items.push_back(DescribeExecution(ReadExecutionRow(rows))); }
    Rows total =
        database.Query("SELECT count(*) FROM executions WHERE simulation = ?", simulationId);
    total.Next();
    return MakeList(std::move(items), total.GetInteger(0));
}

json ServiceState::StartExecution(const std::string& simulationId, const json& data) {
    RequireSimulation(simulationId);
    ExecutionRecord execution;
    Transaction transaction(database);
    execution.id = TakeId("exe-", "executionsMade", "SELECT 1 FROM executions WHERE id = ?");
    execution.simulationId = simulationId;
    execution.createdAt = clock.GetTime();
    execution.duration = DrawDuration(seed.number, execution.id);
    execution.isFailing = DrawIsFailing(seed.number, seed.failureRate, execution.id);
    execution.data = data;
    database.Change(
        "INSERT INTO executions (id, simulation, created, duration, failing, data) "
        "VALUES (?, ?, ?, ?, ?, ?)",
        execution.id, execution.simulationId, execution.createdAt, execution.duration,
        std::int64_t{execution.isFailing}, WriteJson(execution.data));
    transaction.Commit();
    return DescribeExecution(execution);
}

json ServiceState::GetExecution(const std::string& simulationId, const std::string& id) {
    RequireSimulation(simulationId);
    Rows rows = database.Query(
        "SELECT id, simulation, created, duration, failing, data FROM executions "
        "WHERE simulation = ? AND id = ?",
        simulationId, id);
    if (!rows.Next()) { ThrowMissing("execution", id); }
    return DescribeExecution(ReadExecutionRow(rows));
}

json ServiceState::ListUsers(Page page) {
    json items = json::array();
    Rows rows = database.Query(
        "SELECT id, email, role, created FROM users ORDER BY number LIMIT ? OFFSET ?", page.limit,
        page.offset);
    while (rows.Next()) { items.push_back(DescribeUser(rows)); }
    Rows total = database.Query("SELECT count(*) FROM users");
    total.Next();
    return MakeList(std::move(items), total.GetInteger(0));
}

json ServiceState::CreateUser(const std::string& email, const std::string& role) {
    Transaction transaction(database);
    const std::string id = TakeId("usr-", "usersMade", "SELECT 1 FROM users WHERE id = ?");
    if (database.Change("INSERT OR IGNORE INTO users (id, email, role, created) "
                        "VALUES (?, ?, ?, ?)",
                        id, email, role, clock.GetTime()) == 0) {
        throw Refusal(409, "conflict", "a user with the email \"" + email + "\" is there already");
    }
    transaction.Commit();
    return GetUser(id);
}

json ServiceState::GetUser(const std::string& id) {
    Rows rows = database.Query("SELECT id, email, role, created FROM users WHERE id = ?", id);
    if (!rows.Next()) { ThrowMissing("user", id); }
    return DescribeUser(rows);
}

json ServiceState::ChangeRole(const std::string& id, const std::string& role) {
    database.Change("UPDATE users SET role = ? WHERE id = ?", role, id);
    return GetUser(id);
}

void ServiceState::DeleteUser(const std::string& id) {
    if (database.Change("DELETE FROM users WHERE id = ?", id) == 0) { ThrowMissing("user", id); }
}

json ServiceState::GetAgent() {
    return json::parse(ReadSetting("agent"));
}

json ServiceState::RunCommand(const std::string& command) {
    json agent = GetAgent();
    if (command == "start") { agent["state"] = "running"; }
    if (command == "stop") { agent["state"] = "idle"; }
    agent["lastCommand"] = command;
    agent["commandsHandled"] = agent["commandsHandled"].get<std::int64_t>() + 1;
    WriteSetting("agent", WriteJson(agent));
    return json::object({{"command", command}, {"accepted", true}, {"agent", std::move(agent)}});
}

json ServiceState::DescribeClock() const {
    return json::object({{"now", FormatUtcTime(clock.GetTime())}, {"speed", clock.speed}});
}

void ServiceState::AdvanceClock(double seconds) {
    clock.base += std::llround(seconds * 1000);
    SaveClock();
}

void ServiceState::Reset() {
    Transaction transaction(database);
    database.Execute("DELETE FROM executions; DELETE FROM simulations; DELETE FROM users");
    Fill();
    transaction.Commit();
}

json ServiceState::Export() {
    Seed now;
    now.number = seed.number;
    now.failureRate = seed.failureRate;
    now.clock = clock.GetTime();
    Rows simulations =
        database.Query("SELECT id, name, scope, created, inputs FROM simulations ORDER BY number");
    while (simulations.Next()) {
        now.simulations.push_back({simulations.GetText(0), simulations.GetText(1),
                                   simulations.GetText(2), simulations.GetInteger(3),
                                   json::parse(simulations.GetText(4))});
    }
    Rows executions = database.Query(
        "SELECT id, simulation, created, duration, failing, data FROM executions "
        "ORDER BY number");
    while (executions.Next()) { now.executions.push_back(ReadExecutionRow(executions)); }
    Rows users = database.Query("SELECT id, email, role, created FROM users ORDER BY number");
    while (users.Next()) {
        now.users.push_back(
            {users.GetText(0), users.GetText(1), users.GetText(2), users.GetInteger(3)});
    }
    now.agent = GetAgent();
    now.executionsMade = std::stoll(ReadSetting("executionsMade"));
    now.usersMade = std::stoll(ReadSetting("usersMade"));
    return WriteSeed(now);
}

void ServiceState::SaveClock() {
    WriteSetting("clockBase", std::to_string(clock.base));
    WriteSetting("clockMachineBase", std::to_string(clock.machineBase));
    WriteSetting("clockSpeed", json(clock.speed).dump());
}

std::string ServiceState::TakeId(const std::string& prefix, const std::string& counter,
                                 std::string_view findSql) {
    std::int64_t number = std::stoll(ReadSetting(counter));
    std::string id;
    // A seed may have given the next identifiers to entries of its own.
    do { id = prefix + std::to_string(++number); } while (database.Query(findSql, id).Next());
    WriteSetting(counter, std::to_string(number));
    return id;
}

std::string ServiceState::ReadSetting(const std::string& name) {
    Rows rows = database.Query("SELECT value FROM settings WHERE name = ?", name);
    if (!rows.Next()) { throw std::runtime_error("the database lacks the setting " + name); }
    return rows.GetText(0);
}

void ServiceState::WriteSetting(const std::string& name, const std::string& text) {
    database.Change("INSERT OR REPLACE INTO settings (name, value) VALUES (?, ?)", name, text);
}

void ServiceState::RequireSimulation(const std::string& id) {
    if (!database.Query("SELECT 1 FROM simulations WHERE id = ?", id).Next()) {
        ThrowMissing("simulation", id);
    }
}

json ServiceState::DescribeExecution(const ExecutionRecord& execution) const {
    const auto duration = static_cast<double>(execution.duration);
    const auto elapsed = static_cast<double>(clock.GetTime() - execution.createdAt);
    const double queued = duration * QueuedShare;
    double progress =
        elapsed >= duration ? 1 : std::max(0.0, (elapsed - queued) / (duration - queued));
    std::string state = elapsed < queued ? "queued" : progress < 1 ? "running" : "finished";
    json document = json::object({{"id", execution.id},
                                  {"name", "Execution of " + execution.simulationId},
                                  {"simulationId", execution.simulationId},
                                  {"createdAt", FormatUtcTime(execution.createdAt)},
                                  {"data", execution.data}});
    if (execution.isFailing && progress >= FailingProgress) {
        state = "failed";
        progress = FailingProgress;
        document["error"] = json::object(
            {{"code", "diverged"}, {"message", "The emulated solver did not converge."}});
    }
    document["state"] = state;
    document["progress"] = std::round(progress * 1000) / 1000;
    return document;
}

} // namespace VarnelBase::Emulation
