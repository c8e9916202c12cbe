#pragma once

#include "core/records/Statistics.h"
#include "core/store/SQLiteDatabase.h"

#include <string>
#include <vector>

namespace nomara {

/// Counters of each day. Part of `MemoryStore`, which says what holds for all of it.
class StatisticsTable {
public:
    explicit StatisticsTable(SQLiteDatabase& db) : m_db(db) {}

    void addStats(const std::string& day, const StatsDelta& delta);
    std::vector<DayStats> stats(const std::string& fromDay, const std::string& toDay);

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
