#include "platform/fake/FakePreferencesStore.h"

#include "platform/PreferenceText.h"

namespace nomara {

std::optional<std::string> FakePreferencesStore::text(std::string_view key) const {
    for (const auto& [written, text] : m_texts)
        if (PreferenceText::foldedKey(written) == PreferenceText::foldedKey(key)) return text;
    return std::nullopt;
}

void FakePreferencesStore::change(const Changes& changes) {
    for (const auto& [key, text] : changes) {
        m_texts.erase(key);
        if (text) m_texts.emplace(key, *text);
        edit(key, text);
    }
}

std::vector<std::string> FakePreferencesStore::keys() const {
    std::vector<std::string> keys;
    for (const auto& [key, text] : m_texts)
        keys.push_back(key);
    return keys;
}

bool FakePreferencesStore::reload() {
    if (m_texts == m_edited) return false;
    m_texts = m_edited;
    return true;
}

void FakePreferencesStore::edit(std::string_view key, const std::optional<std::string>& value) {
    if (value)
        m_edited.insert_or_assign(std::string(key), *value);
    else
        m_edited.erase(std::string(key));
}

} // namespace nomara
