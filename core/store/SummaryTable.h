#pragma once

#include "core/base/Clock.h"
#include "core/records/Statistics.h"
#include "core/store/SQLiteDatabase.h"

#include <optional>
#include <string>

namespace nomara {

/// Summaries of days. Part of `MemoryStore`, which says what holds for all of it.
class SummaryTable {
public:
    SummaryTable(SQLiteDatabase& db, const Clock& clock) : m_db(db), m_clock(clock) {}

    std::optional<DaySummary> summary(const std::string& day);
    void setSummary(const std::string& day, const std::string& text, const std::string& source);

private:
    SQLiteDatabase& m_db;
    const Clock& m_clock;
};

} // namespace nomara
