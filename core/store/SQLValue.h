#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace nomara {

/// What can be bound to a parameter of a statement: an integer, a float, a UTF-8 text or NULL.
/// Owns its text. Equal when kind and payload are.
class SQLValue {
public:
    using Payload = std::variant<std::nullptr_t, std::int64_t, double, std::string>;

    SQLValue(std::nullptr_t) : m_payload(nullptr) {}
    SQLValue(std::int64_t value) : m_payload(value) {}
    SQLValue(int value) : m_payload(static_cast<std::int64_t>(value)) {}
    SQLValue(std::uint32_t value) : m_payload(static_cast<std::int64_t>(value)) {}
    SQLValue(double value) : m_payload(value) {}
    SQLValue(std::string value) : m_payload(std::move(value)) {}
    SQLValue(std::string_view value) : m_payload(std::string(value)) {}
    SQLValue(const char* value) : m_payload(std::string(value)) {}
    /// NULL for an absent value.
    template <typename T>
    SQLValue(const std::optional<T>& value) : m_payload(nullptr) {
        if (value) *this = SQLValue(*value);
    }

    const Payload& payload() const { return m_payload; }
    friend bool operator==(const SQLValue&, const SQLValue&) = default;

private:
    Payload m_payload;
};

/// The parameters of one call, in order; a view of a braced list or of a vector that outlives the call.
class SQLParameters {
public:
    SQLParameters() = default;
    SQLParameters(std::initializer_list<SQLValue> values) : m_values(std::data(values), values.size()) {}
    SQLParameters(const std::vector<SQLValue>& values) : m_values(values) {}

    auto begin() const { return m_values.begin(); }
    auto end() const { return m_values.end(); }

private:
    std::span<const SQLValue> m_values;
};

/// "?,?,?" for a list of `count` values.
std::string sqlPlaceholders(std::size_t count);

} // namespace nomara
