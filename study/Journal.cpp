#include "Journal.h"

#include <CryptoText.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <system_error>
#include <utility>

namespace VarnelBase::Studies {

namespace {

constexpr int BusyTimeoutMilliseconds = 10'000;

// A point is one row; "wanted" says whether the study's file still has it.
constexpr auto Schema = R"(
    CREATE TABLE IF NOT EXISTS settings (name TEXT PRIMARY KEY, value TEXT NOT NULL);
    CREATE TABLE IF NOT EXISTS points (
        id TEXT PRIMARY KEY, number INTEGER NOT NULL, wanted INTEGER NOT NULL,
        state INTEGER NOT NULL DEFAULT 0, parameters TEXT NOT NULL,
        execution TEXT NOT NULL DEFAULT '', created TEXT NOT NULL DEFAULT '', results TEXT NOT NULL DEFAULT 'null',
        reason TEXT NOT NULL DEFAULT '', sent INTEGER NOT NULL DEFAULT 0,
        ended INTEGER NOT NULL DEFAULT 0);
    CREATE INDEX IF NOT EXISTS pointsByNumber ON points (wanted, number);
    CREATE INDEX IF NOT EXISTS pointsByExecution ON points (execution) WHERE execution <> '';
)";

constexpr auto RowColumns =
    "id, number, state, parameters, execution, created, results, reason, sent, ended";

std::string Select(const std::string& condition) {
    return std::string("SELECT ") + RowColumns + " FROM points WHERE wanted = 1 " + condition +
           " ORDER BY number";
}

PointRecord ReadRow(SQLite::Statement& row) {
    PointRecord record;
    record.id = row.getColumn(0).getString();
    record.number = row.getColumn(1).getInt64();
    record.state = static_cast<PointState>(row.getColumn(2).getInt());
    record.parameters = json::parse(row.getColumn(3).getString());
    record.execution = row.getColumn(4).getString();
    record.createdAt = row.getColumn(5).getString();
    record.results = json::parse(row.getColumn(6).getString());
    record.reason = row.getColumn(7).getString();
    record.sentAt = row.getColumn(8).getInt64();
    record.endedAt = row.getColumn(9).getInt64();
    return record;
}

json WriteQuantities(const std::vector<Quantity>& quantities) {
    json written = json::array();
    for (const Quantity& quantity : quantities) {
        written.push_back(json::array({quantity.pointer.to_string(), quantity.unit}));
    }
    return written;
}

std::vector<Quantity> ReadQuantities(const std::string& written) {
    std::vector<Quantity> quantities;
    for (const json& quantity : json::parse(written)) {
        quantities.push_back({json::json_pointer(quantity.at(0).get<std::string>()),
                              quantity.at(1).get<std::string>()});
    }
    return quantities;
}

/// Where a quantity is among others; behind the last one if it is not.
std::size_t FindPlace(const std::vector<Quantity>& quantities, const Quantity& wanted) {
    const auto found =
        std::find_if(quantities.begin(), quantities.end(),
                     [&](const Quantity& quantity) { return quantity.pointer == wanted.pointer; });
    return static_cast<std::size_t>(found - quantities.begin());
}

bool Has(const std::vector<Quantity>& quantities, const Quantity& wanted) {
    return FindPlace(quantities, wanted) < quantities.size();
}

/// Tells one start of the machine from another; empty where that cannot be told.
std::string ReadBootId() {
    std::string id;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
    return id;
}

std::int64_t GetTime() {
    return std::time(nullptr);
}

/// Makes a statement that has been used ready for its next use.
struct Resetter {
    void operator()(SQLite::Statement* used) const { used->tryReset(); }
};

} // namespace

struct Journal::Store {
    explicit Store(const std::string& file, int mode)
        : database(file, mode, BusyTimeoutMilliseconds) {}

    /// A statement with its values bound, which is kept prepared for its next use.
    template <typename... Values>
    std::unique_ptr<SQLite::Statement, Resetter> Prepare(const std::string& sql,
                                                         const Values&... values) {
        SQLite::Statement& statement = statements.try_emplace(sql, database, sql).first->second;
        int position = 0;
        (statement.bind(++position, values), ...);
        return std::unique_ptr<SQLite::Statement, Resetter>(&statement);
    }

    /// Carries a change out; how many rows it changed.
    template <typename... Values>
    int Change(const std::string& sql, const Values&... values) {
        return Prepare(sql, values...)->exec();
    }

    std::string ReadSetting(const std::string& name) {
        const auto rows = Prepare("SELECT value FROM settings WHERE name = ?", name);
        return rows->executeStep() ? rows->getColumn(0).getString() : "";
    }

    void WriteSetting(const std::string& name, const std::string& value) {
        Change("INSERT OR REPLACE INTO settings VALUES (?, ?)", name, value);
    }

    /// Brings the results into the order of a changed "collect". A finished point that lacks one is
    /// running again, so that its execution is read once more.
    void RearrangeResults(const std::vector<Quantity>& collected) {
        const std::string before = ReadSetting("collected");
        if (before.empty() || before == WriteQuantities(collected).dump()) { return; }
        const std::vector<Quantity> kept = ReadQuantities(before);
        std::vector<std::pair<std::string, json>> results;
        const auto rows = Prepare("SELECT id, results FROM points WHERE results <> 'null'");
        while (rows->executeStep()) {
            const json values = json::parse(rows->getColumn(1).getString());
            json rearranged = json::array();
            for (const Quantity& quantity : collected) {
                const std::size_t place = FindPlace(kept, quantity);
                rearranged.push_back(place < values.size() ? values[place] : json());
            }
            for (std::size_t place = 0; place < values.size(); ++place) {
                if (!values[place].is_null() && !Has(collected, kept.at(place))) {
                    throw std::runtime_error("collect: the journal has results of " +
                                             kept[place].pointer.to_string() +
                                             ": keep it, or give this study's file a new name");
                }
            }
            results.emplace_back(rows->getColumn(0).getString(), std::move(rearranged));
        }
        for (const auto& [id, rearranged] : results) {
            Change("UPDATE points SET results = ? WHERE id = ?", rearranged.dump(), id);
        }
        const auto isNew = [&](const Quantity& quantity) { return !Has(kept, quantity); };
        if (std::any_of(collected.begin(), collected.end(), isNew)) {
            Change("UPDATE points SET state = ? WHERE state = ? AND execution <> ''",
                   static_cast<int>(PointState::Running), static_cast<int>(PointState::Finished));
        }
    }

    /// Notes the end of a point, or that it is open again.
    void SetState(const std::string& id, PointState state, const std::string& reason = "",
                  const json& results = json()) {
        const bool hasEnded = state == PointState::Finished || state == PointState::Failed;
        Change("UPDATE points SET state = ?, reason = ?, results = ?, ended = ? WHERE id = ?",
               static_cast<int>(state), reason, results.dump(),
               hasEnded ? GetTime() : std::int64_t{0}, id);
    }

    SQLite::Database database;
    std::map<std::string, SQLite::Statement> statements;
    std::int64_t nextNumber = 0; ///< from which on planned points are looked for first
};

const char* NameState(PointState state) {
    static constexpr std::array<const char*, 7> names{"planned", "planned",  "sending", "unknown",
                                                      "running", "finished", "failed"};
    return names.at(static_cast<std::size_t>(state));
}

std::size_t StateCounts::GetTotal() const {
    return std::accumulate(counts.begin(), counts.end(), std::size_t{0});
}

std::size_t StateCounts::GetEnded() const {
    return (*this)[PointState::Finished] + (*this)[PointState::Failed];
}

Journal::Journal(std::unique_ptr<Store> opened) : store(std::move(opened)) {}
Journal::~Journal() = default;
Journal::Journal(Journal&&) noexcept = default;
Journal& Journal::operator=(Journal&&) noexcept = default;

Journal Journal::OpenToWrite(const std::string& file) {
    auto store = std::make_unique<Store>(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    // The last commits outlive this process at once. Those that reserve points are forced to the
    // disk as well.
    store->database.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
    store->database.exec(Schema);
    return Journal(std::move(store));
}

Journal Journal::OpenToRead(const std::string& file) {
    if (!std::filesystem::exists(file)) {
        throw std::runtime_error(file + ": there is no journal: the study has not been run");
    }
    return Journal(std::make_unique<Store>(file, SQLite::OPEN_READWRITE));
}

void Journal::TakePoints(const Definition& definition, const PointSet& points) {
    SQLite::Transaction transaction(store->database, SQLite::TransactionBehavior::IMMEDIATE);
    std::vector<Quantity> parameters;
    for (const Axis& axis : definition.axes) {
        parameters.insert(parameters.end(), axis.parameters.begin(), axis.parameters.end());
    }
    const auto keep = [this](const std::string& name, const std::string& value) {
        const std::string kept = store->ReadSetting(name);
        if (!kept.empty() && kept != value) {
            throw std::runtime_error("the journal belongs to a study with another " + name + ", " +
                                     kept + ": give this study's file a new name");
        }
        store->WriteSetting(name, value);
    };
    keep("simulation", definition.simulation);
    json pointers = json::array();
    for (const Quantity& parameter : parameters) {
        pointers.push_back(parameter.pointer.to_string());
    }
    keep("list of parameters", pointers.dump());
    store->RearrangeResults(definition.collected);
    store->WriteSetting("parameters", WriteQuantities(parameters).dump());
    store->WriteSetting("collected", WriteQuantities(definition.collected).dump());
    if (ReadMark().empty()) { store->WriteSetting("mark", MakeRandomText()); }

    store->database.exec("UPDATE points SET wanted = 0");
    SQLite::Statement insert(
        store->database,
        "INSERT INTO points (id, number, wanted, parameters) VALUES (?, ?, 1, ?) "
        "ON CONFLICT (id) DO UPDATE SET wanted = 1, number = "
        "CASE WHEN wanted = 1 THEN number ELSE excluded.number END");
    for (std::size_t number = 0; number < points.GetCount(); ++number) {
        insert.reset();
        insert.bind(1, points.IdentifyPoint(number));
        insert.bind(2, static_cast<std::int64_t>(number));
        insert.bind(3, json(points.ReadValues(number)).dump());
        insert.exec();
    }
    transaction.commit();
}

void Journal::SettleInterruptedSends() {
    const std::string boot = ReadBootId();
    const bool isSameBoot = !boot.empty() && boot == store->ReadSetting("boot");
    const auto settle = [this](PointState from, PointState to, const std::string& reason) {
        store->Change("UPDATE points SET state = ?, reason = ? WHERE state = ?",
                      static_cast<int>(to), reason, static_cast<int>(from));
    };
    settle(PointState::Sending, PointState::Unknown,
           "the run ended while the point was being sent");
    if (isSameBoot) {
        settle(PointState::Reserved, PointState::Planned, "");
    } else {
        settle(PointState::Reserved, PointState::Unknown,
               "the machine stopped while the point may have been sent");
    }
    store->WriteSetting("boot", boot);
}

std::vector<PointRecord> Journal::Reserve(std::size_t count) {
    std::vector<PointRecord> reserved;
    store->database.exec("PRAGMA synchronous = FULL");
    SQLite::Transaction transaction(store->database, SQLite::TransactionBehavior::IMMEDIATE);
    for (const bool isSecondLook : {false, true}) {
        if (isSecondLook) { store->nextNumber = 0; }
        const auto rows = store->Prepare(Select("AND state = 0 AND number >= ?") + " LIMIT ?",
                                         store->nextNumber, static_cast<std::int64_t>(count));
        while (rows->executeStep()) { reserved.push_back(ReadRow(*rows)); }
        if (!reserved.empty()) { break; }
    }
    for (PointRecord& record : reserved) {
        record.state = PointState::Reserved;
        record.sentAt = GetTime();
        store->nextNumber = record.number + 1;
        store->Change("UPDATE points SET state = ?, sent = ? WHERE id = ?",
                      static_cast<int>(record.state), record.sentAt, record.id);
    }
    transaction.commit();
    store->database.exec("PRAGMA synchronous = NORMAL");
    return reserved;
}

void Journal::NoteSending(const std::string& id) {
    store->Change("UPDATE points SET state = ? WHERE id = ?", static_cast<int>(PointState::Sending),
                  id);
}

void Journal::NoteNotSent(const std::string& id) {
    store->SetState(id, PointState::Planned);
}

void Journal::NoteUnknown(const std::string& id, const std::string& reason) {
    store->SetState(id, PointState::Unknown, reason);
}

void Journal::NoteRunning(const std::string& id, const std::string& execution,
                          const std::string& createdAt) {
    store->Change(
        "UPDATE points SET state = ?, execution = ?, created = ?, reason = '' WHERE id = ?",
        static_cast<int>(PointState::Running), execution, createdAt, id);
}

void Journal::NoteFinished(const std::string& id, const json& results) {
    store->SetState(id, PointState::Finished, "", results);
}

void Journal::NoteFailed(const std::string& id, const std::string& reason) {
    store->SetState(id, PointState::Failed, reason);
}

bool Journal::TakeOver(const PointRecord& ended) {
    return store->Change(
               "UPDATE points SET state = ?, execution = ?, results = ?, reason = ?, ended = ? "
               "WHERE id = ? AND state IN (0, 3)",
               static_cast<int>(ended.state), ended.execution, ended.results.dump(), ended.reason,
               GetTime(), ended.id) > 0;
}

int Journal::PlanUnknownAgain() {
    return store->database.exec(
        "UPDATE points SET state = 0, reason = '' WHERE wanted = 1 AND state = 3");
}

StateCounts Journal::CountStates() {
    StateCounts counts;
    const auto rows =
        store->Prepare("SELECT state, count(*) FROM points WHERE wanted = 1 GROUP BY state");
    while (rows->executeStep()) {
        const auto state = static_cast<PointState>(rows->getColumn(0).getInt());
        counts[state == PointState::Reserved ? PointState::Planned : state] +=
            static_cast<std::size_t>(rows->getColumn(1).getInt64());
    }
    return counts;
}

void Journal::VisitPoints(std::optional<PointState> state,
                          const std::function<void(const PointRecord&)>& visit) {
    SQLite::Statement statement(store->database, Select(state ? "AND state = ?" : ""));
    if (state) { statement.bind(1, static_cast<int>(*state)); }
    while (statement.executeStep()) { visit(ReadRow(statement)); }
}

std::optional<PointRecord> Journal::FindPoint(std::int64_t number) {
    const auto rows = store->Prepare(Select("AND number = ?"), number);
    return rows->executeStep() ? std::optional(ReadRow(*rows)) : std::nullopt;
}

bool Journal::HasExecution(const std::string& execution) {
    return store->Prepare("SELECT 1 FROM points WHERE execution = ?", execution)->executeStep();
}

std::string Journal::FindLatestCreation(std::int64_t sentBefore) {
    const auto rows = store->Prepare(
        "SELECT max(created) FROM points WHERE sent < ? AND execution <> ''", sentBefore);
    return rows->executeStep() ? rows->getColumn(0).getString() : "";
}

StudyColumns Journal::ReadColumns() {
    return {ReadQuantities(store->ReadSetting("parameters")),
            ReadQuantities(store->ReadSetting("collected"))};
}

std::string Journal::ReadSimulation() {
    return store->ReadSetting("simulation");
}

std::string Journal::ReadMark() {
    return store->ReadSetting("mark");
}

RunLock::RunLock(const std::string& journalFile)
    : descriptor(open((journalFile + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), journalFile + ".lock");
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int reason = errno;
        close(descriptor);
        if (reason == EWOULDBLOCK) {
            throw std::runtime_error(journalFile + ": another run of this study is under way");
        }
        throw std::system_error(reason, std::generic_category(), journalFile + ".lock");
    }
}

RunLock::~RunLock() {
    close(descriptor);
}

std::string NameJournal(const std::string& studyFile) {
    return std::filesystem::path(studyFile).replace_extension(".journal").string();
}

} // namespace VarnelBase::Studies
