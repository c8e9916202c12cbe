#include "core/store/SQLiteDatabase.h"

#include <memory>
#include <utility>

#include <sqlite3.h>

namespace nomara {

namespace {

template <typename Value, typename Read>
std::optional<Value> firstOfFirst(SQLiteDatabase& database, std::string_view sql, SQLParameters parameters, Read read) {
    const auto rows = database.query(sql, parameters, read);
    return rows.empty() ? std::nullopt : rows.front();
}

} // namespace

SQLiteDatabase::SQLiteDatabase(std::filesystem::path path, bool readOnly) : m_path(std::move(path)) {
    const int flags = readOnly ? SQLITE_OPEN_READONLY | SQLITE_OPEN_FULLMUTEX
                               : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    const int code = sqlite3_open_v2(m_path.c_str(), &m_handle, flags, nullptr);
    if (code != SQLITE_OK) {
        SQLiteError error = m_handle == nullptr
                                ? SQLiteError(code, "open failed")
                                : SQLiteError(sqlite3_extended_errcode(m_handle), sqlite3_errmsg(m_handle));
        close();
        throw error;
    }
    setBusyTimeout(defaultBusyMilliseconds);
    sqlite3_extended_result_codes(m_handle, 1);
}

SQLiteDatabase::~SQLiteDatabase() {
    close();
}

void SQLiteDatabase::execute(const std::string& sql) {
    char* message = nullptr;
    const int code = sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, &message);
    const std::unique_ptr<char, decltype(&sqlite3_free)> owned(message, sqlite3_free);
    if (code != SQLITE_OK) throw SQLiteError(code, message == nullptr ? "exec failed" : message, sql);
}

std::int64_t SQLiteDatabase::run(std::string_view sql, SQLParameters parameters, bool cached) {
    PreparedStatement statement(*this, sql, parameters, cached);
    while (statement.step()) {
    }
    return sqlite3_changes(m_handle);
}

std::optional<std::string> SQLiteDatabase::scalarText(std::string_view sql, SQLParameters parameters) {
    return firstOfFirst<std::string>(*this, sql, parameters, [](const SQLRow& row) { return row.optionalText(0); });
}

std::optional<std::int64_t> SQLiteDatabase::scalarInt(std::string_view sql, SQLParameters parameters) {
    return firstOfFirst<std::int64_t>(*this, sql, parameters, [](const SQLRow& row) { return row.optionalInt(0); });
}

std::optional<double> SQLiteDatabase::scalarDouble(std::string_view sql, SQLParameters parameters) {
    return firstOfFirst<double>(*this, sql, parameters, [](const SQLRow& row) { return row.optionalDouble(0); });
}

std::int64_t SQLiteDatabase::lastInsertRowID() const {
    return sqlite3_last_insert_rowid(handle());
}

void SQLiteDatabase::close() noexcept {
    for (const auto& [sql, statement] : m_cache)
        sqlite3_finalize(statement);
    m_cache.clear();
    sqlite3_close_v2(std::exchange(m_handle, nullptr));
}

sqlite3* SQLiteDatabase::handle() const {
    if (m_handle == nullptr) throw SQLiteError(SQLITE_MISUSE, "closed");
    return m_handle;
}

void SQLiteDatabase::setBusyTimeout(int milliseconds) {
    sqlite3_busy_timeout(handle(), milliseconds);
}

SQLiteError SQLiteDatabase::lastError(std::int32_t code, std::optional<std::string> sql) const {
    return SQLiteError(code, m_handle == nullptr ? "closed" : sqlite3_errmsg(m_handle), std::move(sql));
}

SQLiteDatabase::Transaction::Transaction(SQLiteDatabase& database)
    : m_database(database), m_open(sqlite3_get_autocommit(database.handle()) != 0) {
    if (m_open) m_database.run("BEGIN IMMEDIATE");
}

SQLiteDatabase::Transaction::~Transaction() {
    if (!m_open) return;
    try {
        m_database.run("ROLLBACK");
    } catch (const SQLiteError&) {
        // SQLite has already rolled back by itself, or can't: the first error says more than this one.
    }
}

void SQLiteDatabase::Transaction::commit() {
    if (m_open) m_database.run("COMMIT");
    m_open = false;
}

} // namespace nomara
