#include "core/store/SQLiteError.h"

#include "core/text/Graphemes.h"

#include <utility>

#include <sqlite3.h>

namespace nomara {

namespace {

constexpr std::int64_t statementCharacters = 160; // enough to tell which statement it was

} // namespace

SQLiteError::SQLiteError(std::int32_t code, std::string message, std::optional<std::string> sql)
    : m_code(code), m_message(std::move(message)), m_sql(std::move(sql)),
      m_description("SQLite " + std::to_string(m_code) + ": " + m_message) {
    if (m_sql) m_description.append(" — ").append(Graphemes::prefix(*m_sql, statementCharacters));
}

bool SQLiteError::isDamage() const {
    return primaryCode() == SQLITE_CORRUPT || primaryCode() == SQLITE_NOTADB;
}

} // namespace nomara
