#pragma once

#include "core/store/SQLiteDatabase.h"

#include <optional>
#include <string>

namespace nomara {

/// Keys and values about the memory itself. Part of `MemoryStore`, which says what holds for all of it.
class MetaTable {
public:
    explicit MetaTable(SQLiteDatabase& db) : m_db(db) {}

    std::optional<std::string> meta(const std::string& key);
    void setMeta(const std::string& key, const std::optional<std::string>& value);

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
