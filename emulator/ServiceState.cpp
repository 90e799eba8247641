#include "ServiceState.h"

#include <UtcTime.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "ComputedResults.h"

namespace VarnelBase::Emulation {

namespace {

// "VARN", so that another program's database is not taken for ours.
constexpr std::int64_t ApplicationId = 0x5641524e;
constexpr std::int64_t SchemaVersion = 3;

// Emails are compared in lower case: a collation without case stops at a NUL.
// The start is in a table of its own: beside it, every look at a setting would read all of it.
constexpr const char* Schema = R"(
    CREATE TABLE settings (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
    CREATE TABLE start (seed TEXT NOT NULL);
    CREATE TABLE simulations (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
        scope TEXT NOT NULL, document TEXT NOT NULL, listed TEXT NOT NULL, inputs TEXT NOT NULL);
    CREATE TABLE executions (number INTEGER PRIMARY KEY,
        simulation TEXT NOT NULL REFERENCES simulations(id) ON DELETE CASCADE, id TEXT NOT NULL,
        created INTEGER NOT NULL, duration INTEGER, failing INTEGER NOT NULL,
        document TEXT NOT NULL, listed TEXT NOT NULL, UNIQUE (simulation, id));
    CREATE TABLE users (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
        email TEXT UNIQUE, document TEXT NOT NULL, listed TEXT NOT NULL);
)";

// Part of an execution's duration that it waits before it runs, and where failing ones stop.
constexpr double QueuedShare = 0.1;
constexpr double FailingProgress = 0.5;

[[noreturn]] void ThrowMissing(const std::string& kind, const std::string& id) {
    throw Refusal(404, "not_found", "there is no " + kind + " \"" + id + "\"");
}

[[noreturn]] void ThrowTwice(const std::string& what) {
    throw Refusal(422, "invalid", what + " exists twice");
}

/// Reads what every entry has from the columns that follow one.
void ReadEntryColumns(const Rows& row, int first, Entry& entry) {
    entry.id = row.GetText(first);
    entry.document = json::parse(row.GetText(first + 1));
    const std::string listed = row.GetText(first + 2);
    if (!listed.empty()) { entry.listed = json::parse(listed); }
}

const json& GetListed(const Entry& entry) {
    return entry.listed.is_null() ? entry.document : entry.listed;
}

/// What stands for a listed document in its column.
std::string WriteListed(const Entry& entry) {
    return entry.listed.is_null() ? "" : WriteJson(entry.listed);
}

ExecutionEntry ReadExecutionRow(const Rows& row) {
    ExecutionEntry execution;
    ReadEntryColumns(row, 0, execution);
    execution.simulationId = row.GetText(3);
    execution.createdAt = row.GetInteger(4);
    if (!row.IsNull(5)) { execution.duration = row.GetInteger(5); }
    execution.isFailing = row.GetInteger(6) != 0;
    return execution;
}

/// How far an execution is.
struct Course {
    std::string state;
    double progress = 0;
};

Course FollowCourse(std::int64_t elapsedMs, std::int64_t durationMs, bool isFailing) {
    const auto duration = static_cast<double>(durationMs);
    const auto elapsed = static_cast<double>(elapsedMs);
    const double queued = duration * QueuedShare;
    const double progress =
        elapsed >= duration ? 1 : std::max(0.0, (elapsed - queued) / (duration - queued));
    if (isFailing && progress >= FailingProgress) { return {"failed", FailingProgress}; }
    return {elapsed < queued ? "queued" : progress < 1 ? "running" : "finished", progress};
}

} // namespace

ServiceState::ServiceState(const std::string& path, const Seed& start, double speed)
    : database(path) {
    const auto readPragma = [this](std::string_view sql) {
        Rows rows = database.Query(sql);
        return rows.Next() ? rows.GetInteger(0) : 0;
    };
    const bool isEmpty = readPragma("SELECT count(*) FROM sqlite_schema") == 0;
    if (isEmpty) {
        clock.speed = speed;
        CreateTables(start);
        return;
    }
    if (readPragma("PRAGMA application_id") != ApplicationId ||
        readPragma("PRAGMA user_version") != SchemaVersion) {
        throw std::runtime_error("the database is not one of this release's emulator");
    }
    Rows kept = database.Query("SELECT seed FROM start");
    if (!kept.Next()) { throw std::runtime_error("the database lacks its start"); }
    settings = Seed(kept.GetText(0), std::stoll(ReadSetting("startClock"))).GetSettings();
    clock.base = std::stoll(ReadSetting("clockBase"));
    clock.machineBase = std::stoll(ReadSetting("clockMachineBase"));
    clock.speed = std::stod(ReadSetting("clockSpeed"));
    clock.SetSpeed(speed);
    try {
        SaveClock();
    } catch (const Refusal&) {
        // The disk is full. What is kept can be read all the same.
    }
    ReadOrder();
}

void ServiceState::CreateTables(const Seed& start) {
    Transaction transaction(database);
    database.Execute(Schema);
    Fill(start);
    database.Execute("PRAGMA application_id = " + std::to_string(ApplicationId) +
                     "; PRAGMA user_version = " + std::to_string(SchemaVersion));
    transaction.Commit();
    settings = start.GetSettings();
    ReadOrder();
}

void ServiceState::Fill(const Seed& start) {
    start.ReadEntries({[this](const SimulationEntry& simulation) { Insert(simulation); },
                       [this, &start](const ExecutionEntry& execution) {
                           // What is computed must have its place before it is asked for.
                           const DocumentShape& shape = start.GetSettings().shapes.executions;
                           json trial = execution.document;
                           shape.Put(trial, "state", "");
                           shape.Put(trial, "progress", 0);
                           Insert(execution);
                       },
                       [this](const UserEntry& user) { Insert(user); }});
    const SeedSettings& given = start.GetSettings();
    database.Change("DELETE FROM start");
    database.Change("INSERT INTO start (seed) VALUES (?)", start.GetText());
    WriteSetting("startClock", std::to_string(given.clock));
    WriteSetting("agent", WriteJson(given.agent));
    WriteSetting("simulationsMade", std::to_string(given.simulationsMade));
    WriteSetting("executionsMade", std::to_string(given.executionsMade));
    WriteSetting("usersMade", std::to_string(given.usersMade));
    clock.base = given.clock;
    clock.machineBase = GetMachineTime();
    SaveClock();
}

void ServiceState::Insert(const SimulationEntry& simulation) {
    if (database.Change("INSERT OR IGNORE INTO simulations (id, scope, document, listed, inputs) "
                        "VALUES (?, ?, ?, ?, ?)",
                        simulation.id, simulation.scope, WriteJson(simulation.document),
                        WriteListed(simulation), WriteJson(simulation.inputs)) == 0) {
        ThrowTwice("simulations: the id \"" + simulation.id + "\"");
    }
}

void ServiceState::Insert(const ExecutionEntry& execution) {
    RequireSimulation(execution.simulationId);
    if (database.Change("INSERT OR IGNORE INTO executions "
                        "(simulation, id, created, duration, failing, document, listed) "
                        "VALUES (?, ?, ?, ?, ?, ?, ?)",
                        execution.simulationId, execution.id, execution.createdAt,
                        execution.duration, std::int64_t{execution.isFailing},
                        WriteJson(execution.document), WriteListed(execution)) == 0) {
        ThrowTwice("executions: the id \"" + execution.id + "\" of simulation \"" +
                   execution.simulationId + "\"");
    }
}

void ServiceState::Insert(const UserEntry& user) {
    std::optional<std::string> email;
    if (!user.email.empty()) { email = user.email; }
    if (database.Change("INSERT OR IGNORE INTO users (id, email, document, listed) "
                        "VALUES (?, lower(?), ?, ?)",
                        user.id, email, WriteJson(user.document), WriteListed(user)) == 0) {
        ThrowTwice("users: the id \"" + user.id + "\" or the email \"" + user.email + "\"");
    }
}

void ServiceState::ReadOrder() {
    for (EntryOrder* order : {&simulations, &executions, &users}) { order->Clear(); }
    Rows rows = database.Query("SELECT number, scope FROM simulations ORDER BY number");
    while (rows.Next()) {
        simulations.Append("", rows.GetInteger(0));
        simulations.Append(rows.GetText(1), rows.GetInteger(0));
    }
    Rows runs = database.Query("SELECT number, simulation FROM executions ORDER BY number");
    while (runs.Next()) { executions.Append(runs.GetText(1), runs.GetInteger(0)); }
    Rows people = database.Query("SELECT number FROM users ORDER BY number");
    while (people.Next()) { users.Append("", people.GetInteger(0)); }
}

json ServiceState::ListSimulations(const std::string& scope, Page page) {
    constexpr std::array<const char*, 4> known{"", "user", "group", "public"};
    if (std::find(known.begin(), known.end(), scope) == known.end() && !simulations.Has(scope)) {
        throw Refusal(422, "invalid",
                      "scope: must be user, group, public, or that of a simulation");
    }
    json items = json::array();
    for (const Entry& entry : ReadSimulations(scope, page)) { items.push_back(GetListed(entry)); }
    return settings.shapes.simulations.MakeList(std::move(items), simulations.Count(scope));
}

std::vector<Entry> ServiceState::ReadSimulations(const std::string& scope, Page page) {
    std::vector<Entry> entries;
    for (const std::int64_t number : simulations.GetPage(scope, page.limit, page.offset)) {
        Rows row =
            database.Query("SELECT id, document, listed FROM simulations WHERE number = ?", number);
        row.Next();
        ReadEntryColumns(row, 0, entries.emplace_back());
    }
    return entries;
}

json ServiceState::GetSimulation(const std::string& id) {
    Rows row = database.Query("SELECT document FROM simulations WHERE id = ?", id);
    if (!row.Next()) { ThrowMissing("simulation", id); }
    return json::parse(row.GetText(0));
}

void ServiceState::DeleteSimulation(const std::string& id) {
    std::int64_t number = 0;
    std::string scope;
    {
        Rows row = database.Query("SELECT number, scope FROM simulations WHERE id = ?", id);
        if (!row.Next()) { ThrowMissing("simulation", id); }
        number = row.GetInteger(0);
        scope = row.GetText(1);
    }
    Transaction transaction(database);
    const std::int64_t now = clock.GetTime();
    {
        Rows rows = database.Query(
            "SELECT id, created, duration, failing FROM executions "
            "WHERE simulation = ? AND duration IS NOT NULL AND created + duration > ? "
            "ORDER BY number",
            id, now);
        while (rows.Next()) {
            const Course course =
                FollowCourse(now - rows.GetInteger(1), rows.GetInteger(2), rows.GetInteger(3) != 0);
            if (course.state == "queued" || course.state == "running") {
                throw Refusal(409, "conflict",
                              "execution " + rows.GetText(0) + " of the simulation is under way");
            }
        }
    }
    database.Change("DELETE FROM simulations WHERE id = ?", id);
    transaction.Commit();
    simulations.Remove("", number);
    simulations.Remove(scope, number);
    executions.RemoveList(id);
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
    for (const std::int64_t number : executions.GetPage(simulationId, page.limit, page.offset)) {
        const ExecutionEntry execution = ReadExecutionAt(number);
        items.push_back(Compute(execution, GetListed(execution)));
    }
    return settings.shapes.executions.MakeList(std::move(items), executions.Count(simulationId));
}

json ServiceState::StartExecution(const std::string& simulationId, const json& data) {
    RequireSimulation(simulationId);
    const DocumentShape& shape = settings.shapes.executions;
    ExecutionEntry execution;
    Transaction transaction(database);
    execution.id = TakeId("exe-", "executionsMade", [&](const std::string& id) {
        return database
            .Query("SELECT 1 FROM executions WHERE simulation = ? AND id = ?", simulationId, id)
            .Next();
    });
    execution.simulationId = simulationId;
    execution.createdAt = clock.GetTime();
    execution.duration = DrawDuration(settings.number, execution.id);
    execution.isFailing = DrawIsFailing(settings.number, settings.failureRate, execution.id);
    execution.document = shape.GetStart();
    shape.Put(execution.document, "id", execution.id);
    shape.Put(execution.document, "name", "Execution of " + simulationId);
    shape.Put(execution.document, "simulationId", simulationId);
    shape.Put(execution.document, "createdAt", FormatUtcTime(execution.createdAt));
    shape.Put(execution.document, "data", data);
    json answer = Compute(execution, execution.document);
    Insert(execution);
    const std::int64_t number = database.GetLastNumber();
    transaction.Commit();
    executions.Append(simulationId, number);
    return answer;
}

ExecutionEntry ServiceState::ReadExecutionAt(std::int64_t number) {
    Rows row = database.Query(
        "SELECT id, document, listed, simulation, created, duration, failing FROM executions "
        "WHERE number = ?",
        number);
    row.Next();
    return ReadExecutionRow(row);
}

ExecutionEntry ServiceState::ReadExecution(const std::string& simulationId, const std::string& id) {
    RequireSimulation(simulationId);
    Rows row = database.Query(
        "SELECT id, document, listed, simulation, created, duration, failing FROM executions "
        "WHERE simulation = ? AND id = ?",
        simulationId, id);
    if (!row.Next()) { ThrowMissing("execution", id); }
    return ReadExecutionRow(row);
}

json ServiceState::GetExecution(const std::string& simulationId, const std::string& id) {
    const ExecutionEntry execution = ReadExecution(simulationId, id);
    return Compute(execution, execution.document);
}

json ServiceState::ListUsers(Page page) {
    json items = json::array();
    for (const std::int64_t number : users.GetPage("", page.limit, page.offset)) {
        Rows row =
            database.Query("SELECT id, document, listed FROM users WHERE number = ?", number);
        row.Next();
        Entry entry;
        ReadEntryColumns(row, 0, entry);
        items.push_back(GetListed(entry));
    }
    return settings.shapes.users.MakeList(std::move(items), users.Count(""));
}

json ServiceState::CreateUser(const std::string& email, const std::string& role) {
    const DocumentShape& shape = settings.shapes.users;
    Transaction transaction(database);
    if (database.Query("SELECT 1 FROM users WHERE email = lower(?)", email).Next()) {
        throw Refusal(409, "conflict", "a user with the email \"" + email + "\" exists already");
    }
    UserEntry user;
    user.id = TakeId("usr-", "usersMade", [&](const std::string& id) {
        return database.Query("SELECT 1 FROM users WHERE id = ?", id).Next();
    });
    user.email = email;
    user.document = shape.GetStart();
    shape.Put(user.document, "id", user.id);
    shape.Put(user.document, "email", email);
    shape.Put(user.document, "role", role);
    shape.Put(user.document, "createdAt", FormatUtcTime(clock.GetTime()));
    user.id = shape.FindText(user.document, "id"); // the email, where a service identifies by it
    Insert(user);
    const std::int64_t number = database.GetLastNumber();
    transaction.Commit();
    users.Append("", number);
    return user.document;
}

json ServiceState::GetUser(const std::string& id) {
    Rows row = database.Query("SELECT document FROM users WHERE id = ?", id);
    if (!row.Next()) { ThrowMissing("user", id); }
    return json::parse(row.GetText(0));
}

json ServiceState::ChangeRole(const std::string& id, const std::string& role) {
    UserEntry user;
    {
        Rows row = database.Query("SELECT id, document, listed FROM users WHERE id = ?", id);
        if (!row.Next()) { ThrowMissing("user", id); }
        ReadEntryColumns(row, 0, user);
    }
    settings.shapes.users.Put(user.document, "role", role);
    if (!user.listed.is_null()) { settings.shapes.users.Put(user.listed, "role", role); }
    database.Change("UPDATE users SET document = ?, listed = ? WHERE id = ?",
                    WriteJson(user.document), WriteListed(user), id);
    return user.document;
}

void ServiceState::DeleteUser(const std::string& id) {
    std::int64_t number = 0;
    {
        Rows row = database.Query("SELECT number FROM users WHERE id = ?", id);
        if (!row.Next()) { ThrowMissing("user", id); }
        number = row.GetInteger(0);
    }
    database.Change("DELETE FROM users WHERE id = ?", id);
    users.Remove("", number);
}

json ServiceState::GetAgent() {
    return json::parse(ReadSetting("agent"));
}

json ServiceState::RunCommand(const std::string& command) {
    json agent = GetAgent();
    // A seed's agent has no more members than the seed gave it.
    const auto change = [&agent](const char* member, const auto& value) {
        if (agent.is_object() && agent.contains(member)) { agent[member] = value; }
    };
    if (command == "start") { change("state", "running"); }
    if (command == "stop") { change("state", "idle"); }
    change("lastCommand", command);
    if (agent.is_object() && agent.value("commandsHandled", json()).is_number_integer()) {
        agent["commandsHandled"] = agent["commandsHandled"].get<std::int64_t>() + 1;
    }
    WriteSetting("agent", WriteJson(agent));
    return json::object({{"command", command}, {"accepted", true}, {"agent", std::move(agent)}});
}

json ServiceState::DescribeClock() const {
    return json::object({{"now", FormatUtcTime(clock.GetTime())}, {"speed", clock.speed}});
}

void ServiceState::AdvanceClock(double seconds) {
    const double left = static_cast<double>(LastTime - clock.GetTime()) / 1000;
    if (!(seconds >= 0 && seconds <= left)) { // so that NaN is none
        throw Refusal(422, "invalid", "advance: must not be negative or lead beyond the year 9999");
    }
    clock.base += std::llround(seconds * 1000);
    SaveClock();
}

json ServiceState::ShowSimulations(Page page) {
    json items = json::array();
    for (Entry& entry : ReadSimulations("", page)) {
        items.push_back(json::object({{"id", entry.id},
                                      {"executions", executions.Count(entry.id)},
                                      {"document", std::move(entry.document)}}));
    }
    return json::object({{"items", std::move(items)}, {"total", simulations.Count("")}});
}

json ServiceState::ShowExecutions(const std::string& simulationId, Page page) {
    RequireSimulation(simulationId);
    json items = json::array();
    for (const std::int64_t number : executions.GetPage(simulationId, page.limit, page.offset)) {
        const ExecutionEntry execution = ReadExecutionAt(number);
        const std::string kept = settings.shapes.executions.FindText(execution.document, "state");
        const Course course = execution.duration
                                  ? FollowCourse(clock.GetTime() - execution.createdAt,
                                                 *execution.duration, execution.isFailing)
                                  : Course{kept, 1};
        items.push_back(json::object({{"id", execution.id},
                                      {"state", course.state},
                                      {"progress", course.progress},
                                      {"document", Compute(execution, execution.document)}}));
    }
    return json::object({{"items", std::move(items)}, {"total", executions.Count(simulationId)}});
}

json ServiceState::CreateSimulation(const json& entry) {
    Transaction transaction(database);
    const std::string newId = TakeId("sim-", "simulationsMade", [&](const std::string& id) {
        return database.Query("SELECT 1 FROM simulations WHERE id = ?", id).Next();
    });
    const SimulationEntry simulation = ReadSimulation(entry, "the simulation", newId, settings);
    Insert(simulation);
    const std::int64_t number = database.GetLastNumber();
    transaction.Commit();
    simulations.Append("", number);
    simulations.Append(simulation.scope, number);
    return simulation.document;
}

json ServiceState::EndExecution(const std::string& simulationId, const std::string& id,
                                bool isFailing, const json& members) {
    ExecutionEntry execution = ReadExecution(simulationId, id);
    const std::int64_t now = clock.GetTime();
    execution.createdAt = std::min(execution.createdAt, now);
    execution.duration = now - execution.createdAt;
    execution.isFailing = isFailing;
    for (json* document : {&execution.document, &execution.listed}) {
        if (document->is_null()) { continue; }
        settings.shapes.executions.Remove(*document, "state");
        settings.shapes.executions.Remove(*document, "progress");
        document->merge_patch(members);
    }
    json answer = Compute(execution, execution.document);
    database.Change(
        "UPDATE executions SET created = ?, duration = ?, failing = ?, document = ?, listed = ? "
        "WHERE simulation = ? AND id = ?",
        execution.createdAt, execution.duration, std::int64_t{isFailing},
        WriteJson(execution.document), WriteListed(execution), simulationId, id);
    return answer;
}

void ServiceState::Load(const Seed& start) {
    const EmulatedClock before = clock;
    try {
        Transaction transaction(database);
        database.Execute("DELETE FROM executions; DELETE FROM simulations; DELETE FROM users");
        Fill(start);
        transaction.Commit();
    } catch (const std::exception&) {
        clock = before;
        throw;
    }
    settings = start.GetSettings();
    ReadOrder();
}

void ServiceState::Reset() {
    std::string text;
    {
        Rows row = database.Query("SELECT seed FROM start");
        row.Next();
        text = row.GetText(0);
    }
    Load(Seed(std::move(text), settings.clock));
}

json ServiceState::Export() {
    SeedSettings now = settings;
    now.clock = clock.GetTime();
    now.agent = GetAgent();
    now.simulationsMade = ReadCounter("simulationsMade");
    now.executionsMade = ReadCounter("executionsMade");
    now.usersMade = ReadCounter("usersMade");
    json document = WriteSettings(now);
    for (const char* list : {"simulations", "executions", "users"}) {
        document[list] = json::array();
    }
    Rows rows = database.Query(
        "SELECT id, document, listed, scope, inputs FROM simulations ORDER BY number");
    while (rows.Next()) {
        SimulationEntry simulation;
        ReadEntryColumns(rows, 0, simulation);
        simulation.scope = rows.GetText(3);
        simulation.inputs = json::parse(rows.GetText(4));
        document["simulations"].push_back(WriteEntry(simulation, settings.shapes));
    }
    Rows runs = database.Query(
        "SELECT id, document, listed, simulation, created, duration, failing "
        "FROM executions ORDER BY number");
    while (runs.Next()) {
        document["executions"].push_back(WriteEntry(ReadExecutionRow(runs), settings.shapes));
    }
    Rows people = database.Query("SELECT id, document, listed FROM users ORDER BY number");
    while (people.Next()) {
        UserEntry user;
        ReadEntryColumns(people, 0, user);
        document["users"].push_back(WriteEntry(user, settings.shapes));
    }
    return document;
}

void ServiceState::SaveClock() {
    WriteSetting("clockBase", std::to_string(clock.base));
    WriteSetting("clockMachineBase", std::to_string(clock.machineBase));
    WriteSetting("clockSpeed", json(clock.speed).dump());
}

std::string ServiceState::TakeId(const std::string& prefix, const std::string& counter,
                                 const std::function<bool(const std::string&)>& isTaken) {
    std::int64_t number = ReadCounter(counter);
    std::string id;
    // A seed may have given the next identifiers to entries of its own.
    do { id = prefix + std::to_string(++number); } while (isTaken(id));
    WriteSetting(counter, std::to_string(number));
    return id;
}

std::int64_t ServiceState::ReadCounter(const std::string& name) {
    return std::stoll(ReadSetting(name));
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

json ServiceState::Compute(const ExecutionEntry& execution, json document) const {
    if (!execution.duration) { return document; }
    const Course course = FollowCourse(clock.GetTime() - execution.createdAt, *execution.duration,
                                       execution.isFailing);
    // What the document has of its own counts for more than what every execution gets.
    const DocumentShape& shape = settings.shapes.executions;
    json computed = settings.shapes.results.at(course.state);
    const json* data = shape.Find(document, "data");
    ComputeProducts(computed, data == nullptr ? json() : *data);
    computed.update(document, true);
    shape.Put(computed, "state", settings.shapes.states.at(course.state));
    shape.Put(computed, "progress", std::round(course.progress * 1000) / 1000);
    return computed;
}

} // namespace VarnelBase::Emulation
