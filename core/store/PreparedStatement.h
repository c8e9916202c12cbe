#pragma once

#include "core/store/SQLValue.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace nomara {

class SQLiteDatabase;

/// The current row of a statement; valid only while its callback runs. Columns count from 0.
class SQLRow {
public:
    explicit SQLRow(sqlite3_stmt* statement) : m_statement(statement) {}

    std::int64_t integer(int column) const;
    double real(int column) const;
    /// Empty for NULL.
    std::string text(int column) const;
    std::optional<std::string> optionalText(int column) const;
    std::optional<std::int64_t> optionalInt(int column) const;
    std::optional<double> optionalDouble(int column) const;
    bool isNull(int column) const;

private:
    sqlite3_stmt* m_statement;
};

/// One use of a statement, from binding to the last step. A cached statement is reset when the use ends and stays with
/// its connection; another is finalised.
class PreparedStatement {
public:
    /// Prepares (or takes from the connection's cache) and binds. Throws SQLiteError.
    PreparedStatement(SQLiteDatabase& database, std::string_view sql, SQLParameters parameters, bool cached);
    ~PreparedStatement();
    PreparedStatement(const PreparedStatement&) = delete;
    PreparedStatement& operator=(const PreparedStatement&) = delete;

    /// True while there is a row, false when done. Throws SQLiteError.
    bool step();
    SQLRow row() const { return SQLRow(m_statement); }

private:
    void prepare();
    void bind(SQLParameters parameters);
    void release() noexcept;

    SQLiteDatabase& m_database;
    const std::string_view m_sql;
    const bool m_cached;
    sqlite3_stmt* m_statement = nullptr;
};

} // namespace nomara
