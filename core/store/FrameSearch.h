#pragma once

#include "core/records/Frames.h"
#include "core/store/SQLiteDatabase.h"

#include <vector>

namespace nomara {

class SearchQuery;

/// Search in the full-text index. Part of `MemoryStore`, which says what holds for all of it.
class FrameSearch {
public:
    explicit FrameSearch(SQLiteDatabase& db) : m_db(db) {}

    std::vector<SearchHit> search(const SearchQuery& query, Date now);

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
