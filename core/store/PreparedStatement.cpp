#include "core/store/PreparedStatement.h"

#include "core/store/SQLiteDatabase.h"

#include <sqlite3.h>

namespace nomara {

namespace {

struct Binder {
    sqlite3_stmt* statement;
    int index;

    int operator()(std::nullptr_t) const { return sqlite3_bind_null(statement, index); }
    int operator()(std::int64_t value) const { return sqlite3_bind_int64(statement, index, value); }
    int operator()(double value) const { return sqlite3_bind_double(statement, index, value); }
    // Up to the first NUL, as every reader of the column will see it.
    int operator()(const std::string& value) const {
        return sqlite3_bind_text(statement, index, value.c_str(), -1, SQLITE_TRANSIENT);
    }
};

} // namespace

std::int64_t SQLRow::integer(int column) const {
    return sqlite3_column_int64(m_statement, column);
}

double SQLRow::real(int column) const {
    return sqlite3_column_double(m_statement, column);
}

std::string SQLRow::text(int column) const {
    return optionalText(column).value_or(std::string());
}

std::optional<std::string> SQLRow::optionalText(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    if (bytes == nullptr) return std::nullopt;
    return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
}

std::optional<std::int64_t> SQLRow::optionalInt(int column) const {
    if (isNull(column)) return std::nullopt;
    return integer(column);
}

std::optional<double> SQLRow::optionalDouble(int column) const {
    if (isNull(column)) return std::nullopt;
    return real(column);
}

bool SQLRow::isNull(int column) const {
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

PreparedStatement::PreparedStatement(SQLiteDatabase& database, std::string_view sql, SQLParameters parameters,
                                     bool cached)
    : m_database(database), m_sql(sql), m_cached(cached) {
    prepare();
    try {
        bind(parameters);
    } catch (...) {
        release();
        throw;
    }
}

PreparedStatement::~PreparedStatement() {
    release();
}

bool PreparedStatement::step() {
    const int code = sqlite3_step(m_statement);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    throw m_database.lastError(code, std::string(m_sql));
}

void PreparedStatement::prepare() {
    sqlite3* handle = m_database.handle();
    if (m_cached) {
        if (const auto found = m_database.m_cache.find(m_sql); found != m_database.m_cache.end()) {
            m_statement = found->second;
            sqlite3_reset(m_statement);
            sqlite3_clear_bindings(m_statement);
            return;
        }
    }
    const std::string sql(m_sql);
    const int code =
        sqlite3_prepare_v3(handle, sql.c_str(), -1, m_cached ? SQLITE_PREPARE_PERSISTENT : 0, &m_statement, nullptr);
    if (code != SQLITE_OK || m_statement == nullptr) throw m_database.lastError(code, sql);
    if (m_cached) m_database.m_cache.emplace(sql, m_statement);
}

void PreparedStatement::bind(SQLParameters parameters) {
    int index = 0;
    for (const SQLValue& value : parameters) {
        const int code = std::visit(Binder{m_statement, ++index}, value.payload());
        if (code != SQLITE_OK) throw m_database.lastError(code, std::string(m_sql));
    }
}

void PreparedStatement::release() noexcept {
    if (m_cached)
        sqlite3_reset(m_statement);
    else
        sqlite3_finalize(m_statement);
}

} // namespace nomara
