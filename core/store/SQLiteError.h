#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace nomara {

/// The one error of the store: what SQLite answered, and to which statement.
class SQLiteError : public std::exception {
public:
    SQLiteError(std::int32_t code, std::string message, std::optional<std::string> sql = std::nullopt);

    /// SQLite's result code, in its extended form where SQLite gives one.
    std::int32_t code() const { return m_code; }
    const std::string& message() const { return m_message; }
    const std::optional<std::string>& sql() const { return m_sql; }
    /// The result code's family: its low byte.
    std::int32_t primaryCode() const { return m_code & 0xff; }
    /// The database file is damaged, or is none; a busy or full one isn't.
    bool isDamage() const;

    /// "SQLite {code}: {message} — {start of the statement}".
    const char* what() const noexcept override { return m_description.c_str(); }

private:
    std::int32_t m_code;
    std::string m_message;
    std::optional<std::string> m_sql;
    std::string m_description;
};

} // namespace nomara
