#pragma once

#include "core/records/Statistics.h"
#include "core/store/SQLiteDatabase.h"

#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Which application was in front, and for how long. Part of `MemoryStore`, which says what holds for all of it.
class ActivityTable {
public:
    explicit ActivityTable(SQLiteDatabase& db) : m_db(db) {}

    RowID insertActivity(const ActivitySpan& span);
    void updateActivity(RowID id, Date end, const std::optional<std::string>& project,
                        const std::optional<std::string>& windowTitle);
    std::vector<ActivitySpan> activity(Date from, Date to);

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
