#include "core/store/MetaTable.h"

namespace nomara {

std::optional<std::string> MetaTable::meta(const std::string& key) {
    return m_db.scalarText("SELECT value FROM meta WHERE key = ?", {key});
}

void MetaTable::setMeta(const std::string& key, const std::optional<std::string>& value) {
    if (value)
        m_db.run("INSERT OR REPLACE INTO meta (key, value) VALUES (?, ?)", {key, *value});
    else
        m_db.run("DELETE FROM meta WHERE key = ?", {key});
}

} // namespace nomara
