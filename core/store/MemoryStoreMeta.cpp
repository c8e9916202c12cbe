#include "core/store/MemoryStore.h"

namespace nomara {

std::optional<DaySummary> MemoryStore::summary(const std::string& day) {
    const auto rows =
        m_db.query("SELECT text, source, created FROM summaries WHERE day = ?", {day}, [](const SQLRow& row) {
            return DaySummary{.text = row.text(0), .source = row.text(1), .created = {row.real(2)}};
        });
    if (rows.empty()) return std::nullopt;
    return rows.front();
}

void MemoryStore::setSummary(const std::string& day, const std::string& text, const std::string& source) {
    m_db.run("INSERT OR REPLACE INTO summaries (day, text, created, source) VALUES (?,?,?,?)",
             {day, text, m_clock.now().seconds, source});
}

std::optional<std::string> MemoryStore::meta(const std::string& key) {
    return m_db.scalarText("SELECT value FROM meta WHERE key = ?", {key});
}

void MemoryStore::setMeta(const std::string& key, const std::optional<std::string>& value) {
    if (value)
        m_db.run("INSERT OR REPLACE INTO meta (key, value) VALUES (?, ?)", {key, *value});
    else
        m_db.run("DELETE FROM meta WHERE key = ?", {key});
}

} // namespace nomara
