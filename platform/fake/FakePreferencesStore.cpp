#include "platform/fake/FakePreferencesStore.h"

#include "platform/PreferenceText.h"

namespace nomara {

std::optional<bool> FakePreferencesStore::boolean(std::string_view key) const {
    const auto value = text(key);
    return value ? PreferenceText::toBoolean(*value) : std::nullopt;
}

std::optional<std::int64_t> FakePreferencesStore::integer(std::string_view key) const {
    const auto value = text(key);
    return value ? PreferenceText::toInteger(*value) : std::nullopt;
}

std::optional<double> FakePreferencesStore::real(std::string_view key) const {
    const auto value = text(key);
    return value ? PreferenceText::toReal(*value) : std::nullopt;
}

std::optional<std::string> FakePreferencesStore::text(std::string_view key) const {
    const auto found = m_values.find(key);
    if (found == m_values.end()) return std::nullopt;
    const auto* value = std::get_if<std::string>(&found->second);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::vector<std::string>> FakePreferencesStore::textList(std::string_view key) const {
    const auto found = m_values.find(key);
    if (found == m_values.end()) return std::nullopt;
    const auto* value = std::get_if<std::vector<std::string>>(&found->second);
    return value ? std::optional(*value) : std::nullopt;
}

void FakePreferencesStore::setBoolean(std::string_view key, bool value) {
    setText(key, PreferenceText::fromBoolean(value));
}

void FakePreferencesStore::setInteger(std::string_view key, std::int64_t value) {
    setText(key, PreferenceText::fromInteger(value));
}

void FakePreferencesStore::setReal(std::string_view key, double value) {
    setText(key, PreferenceText::fromReal(value));
}

void FakePreferencesStore::setText(std::string_view key, std::string_view value) {
    m_values.insert_or_assign(std::string(key), std::string(value));
}

void FakePreferencesStore::setTextList(std::string_view key, const std::vector<std::string>& value) {
    m_values.insert_or_assign(std::string(key), value);
}

void FakePreferencesStore::remove(std::string_view key) {
    const auto found = m_values.find(key);
    if (found != m_values.end()) m_values.erase(found);
}

} // namespace nomara
