#include "Database.h"

#include <stdexcept>

#include "Messages.h"

namespace VarnelBase::Emulation {

namespace {

/// How long a killed emulator may hold its lock.
constexpr int LockTimeMs = 2000;

[[noreturn]] void ThrowProblem(sqlite3* connection) {
    const int code = sqlite3_errcode(connection) & 0xff;
    if (code == SQLITE_FULL || code == SQLITE_IOERR) {
        throw Refusal(507, "insufficient_storage",
                      std::string("the state cannot be written: ") + sqlite3_errmsg(connection));
    }
    if (code == SQLITE_BUSY) {
        throw std::runtime_error("in use by another process, perhaps another emulator");
    }
    throw std::runtime_error(std::string("database: ") + sqlite3_errmsg(connection));
}

} // namespace

Rows::~Rows() {
    sqlite3_reset(&statement);
    sqlite3_clear_bindings(&statement);
}

bool Rows::Next() {
    const int outcome = sqlite3_step(&statement);
    if (outcome != SQLITE_ROW && outcome != SQLITE_DONE) { ThrowProblem(&database); }
    return outcome == SQLITE_ROW;
}

std::string Rows::GetText(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(&statement, column));
    return text == nullptr
               ? ""
               : std::string(text,
                             static_cast<std::size_t>(sqlite3_column_bytes(&statement, column)));
}

std::int64_t Rows::GetInteger(int column) const {
    return sqlite3_column_int64(&statement, column);
}

bool Rows::IsNull(int column) const {
    return sqlite3_column_type(&statement, column) == SQLITE_NULL;
}

void Rows::Bind(int position, const std::string& text) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): SQLite's own macro for "make a copy"
    const auto copy = SQLITE_TRANSIENT;
    if (sqlite3_bind_text64(&statement, position, text.data(), text.size(), copy, SQLITE_UTF8) !=
        SQLITE_OK) {
        ThrowProblem(&database);
    }
}

void Rows::Bind(int position, std::int64_t number) {
    if (sqlite3_bind_int64(&statement, position, number) != SQLITE_OK) { ThrowProblem(&database); }
}

Database::Database(const std::string& path) {
    sqlite3* opened = nullptr;
    const int outcome =
        sqlite3_open_v2(path.c_str(), &opened,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection.reset(opened);
    if (outcome != SQLITE_OK) { ThrowProblem(opened); }
    sqlite3_busy_timeout(opened, LockTimeMs);
    // Every commit is in the log before its answer is sent, so a killed process loses none.
    Execute(
        "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL;"
        "PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON;"
        "BEGIN EXCLUSIVE; COMMIT");
}

void Database::Execute(const std::string& sql) {
    if (sqlite3_exec(connection.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        ThrowProblem(connection.get());
    }
}

sqlite3_stmt& Database::Prepare(std::string_view sql) {
    auto& kept = statements[sql];
    if (kept == nullptr) {
        sqlite3_stmt* prepared = nullptr;
        if (sqlite3_prepare_v3(connection.get(), sql.data(), static_cast<int>(sql.size()),
                               SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK) {
            ThrowProblem(connection.get());
        }
        kept.reset(prepared);
    }
    return *kept;
}

Transaction::~Transaction() {
    if (!isOpen) { return; }
    try {
        database.Execute("ROLLBACK");
    } catch (const std::exception&) {
        // SQLite has taken the changes back itself, as it does after some failures.
        isOpen = false;
    }
}

void Transaction::Commit() {
    database.Execute("COMMIT");
    isOpen = false;
}

} // namespace VarnelBase::Emulation
