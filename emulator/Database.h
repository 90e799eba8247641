#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace VarnelBase::Emulation {

/// A statement that is being carried out; its end makes the statement ready for the next use.
class Rows {
public:
    template <typename... Values>
    Rows(sqlite3& connection, sqlite3_stmt& prepared, const Values&... values)
        : database(connection), statement(prepared) {
        int position = 0;
        (Bind(++position, values), ...);
    }
    ~Rows();
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    /// Moves to the next row; false: there is no other.
    bool Next();

    std::string GetText(int column) const;
    std::int64_t GetInteger(int column) const;
    bool IsNull(int column) const;

private:
    void Bind(int position, const std::string& text);
    void Bind(int position, std::int64_t number);
    /// Nothing is bound as null.
    template <typename Value>
    void Bind(int position, const std::optional<Value>& value) {
        if (value) { Bind(position, *value); }
    }

    sqlite3& database;
    sqlite3_stmt& statement;
};

/// An SQLite database for one thread at a time. Failures are std::runtime_error with SQLite's text.
class Database {
public:
    /// Opens or creates a file, for this object alone until its end.
    ///
    /// @param path a file name, or ":memory:"
    explicit Database(const std::string& path);

    /// Starts a statement.
    ///
    /// @param sql a literal: it is kept prepared under its text
    template <typename... Values>
    Rows Query(std::string_view sql, const Values&... values) {
        return Rows(*connection, Prepare(sql), values...);
    }

    /// Executes a statement without results; returns how many rows it changed.
    template <typename... Values>
    int Change(std::string_view sql, const Values&... values) {
        Query(sql, values...).Next();
        return sqlite3_changes(connection.get());
    }

    /// Number of the row that was inserted last.
    std::int64_t GetLastNumber() const { return sqlite3_last_insert_rowid(connection.get()); }

    /// Carries several statements out.
    void Execute(const std::string& sql);

private:
    struct Closer {
        void operator()(sqlite3* open) const { sqlite3_close(open); }
        void operator()(sqlite3_stmt* prepared) const { sqlite3_finalize(prepared); }
    };

    sqlite3_stmt& Prepare(std::string_view sql);

    std::unique_ptr<sqlite3, Closer> connection;
    std::map<std::string_view, std::unique_ptr<sqlite3_stmt, Closer>> statements;
};

/// Changes that happen together: unless committed, they are taken back at its end.
class Transaction {
public:
    explicit Transaction(Database& target) : database(target) { database.Execute("BEGIN"); }
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit();

private:
    Database& database;
    bool isOpen = true;
};

} // namespace VarnelBase::Emulation
