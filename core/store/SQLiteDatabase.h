#pragma once

#include "core/store/PreparedStatement.h"
#include "core/store/SQLValue.h"
#include "core/store/SQLiteError.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <type_traits>

struct sqlite3;

namespace nomara {

/// One SQLite connection with a cache of prepared statements; synchronous.
/// Used from one thread at a time: the caller serialises. Every operation throws SQLiteError; once closed, all of them
/// do, with the message "closed".
class SQLiteDatabase {
public:
    /// Opens the file, or creates it unless `readOnly`.
    SQLiteDatabase(std::filesystem::path path, bool readOnly);
    ~SQLiteDatabase();
    SQLiteDatabase(const SQLiteDatabase&) = delete;
    SQLiteDatabase& operator=(const SQLiteDatabase&) = delete;

    /// Runs a script of any number of statements, without parameters.
    void execute(const std::string& sql);

    /// Runs one statement and gives the number of rows that it changed. A statement whose text varies isn't cached.
    std::int64_t run(std::string_view sql, SQLParameters parameters = {}, bool cached = true);

    /// What `row(const SQLRow&)` gave for each row, in order; also throws what `row` throws. `row` must not run the
    /// same cached statement again.
    template <typename Row>
    auto query(std::string_view sql, SQLParameters parameters, Row&& row, bool cached = true)
        -> std::vector<std::invoke_result_t<Row, const SQLRow&>> {
        std::vector<std::invoke_result_t<Row, const SQLRow&>> rows;
        PreparedStatement statement(*this, sql, parameters, cached);
        while (statement.step())
            rows.push_back(row(statement.row()));
        return rows;
    }

    /// The first column of the first row; absent for no row or NULL. All rows are stepped through.
    std::optional<std::string> scalarText(std::string_view sql, SQLParameters parameters = {});
    std::optional<std::int64_t> scalarInt(std::string_view sql, SQLParameters parameters = {});
    std::optional<double> scalarDouble(std::string_view sql, SQLParameters parameters = {});

    std::int64_t lastInsertRowID() const;
    /// How long a statement waits for others that are at the file.
    void setBusyTimeout(int milliseconds);
    static constexpr int defaultBusyMilliseconds = 5'000;

    /// Runs `body` between BEGIN IMMEDIATE and COMMIT and gives what it gives; rolls back when either fails. Inside a
    /// transaction that is already open it only runs `body`: a failure then is the outer one's to undo.
    template <typename Body>
    auto transaction(Body&& body) -> std::invoke_result_t<Body> {
        Transaction transaction(*this);
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            body();
            transaction.commit();
        } else {
            auto result = body();
            transaction.commit();
            return result;
        }
    }

    /// Ends all cached statements and the connection. Closing twice is fine.
    void close() noexcept;

    const std::filesystem::path& path() const { return m_path; }

private:
    friend class PreparedStatement;

    class Transaction {
    public:
        explicit Transaction(SQLiteDatabase& database);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        void commit();

    private:
        SQLiteDatabase& m_database;
        bool m_open;
    };

    sqlite3* handle() const;
    SQLiteError lastError(std::int32_t code, std::optional<std::string> sql) const;

    const std::filesystem::path m_path;
    sqlite3* m_handle = nullptr;
    // The set of fixed statement texts is small, so nothing is ever evicted.
    std::map<std::string, sqlite3_stmt*, std::less<>> m_cache;
};

} // namespace nomara
