#pragma once

#include "core/records/Statistics.h"
#include "core/store/SQLiteDatabase.h"

namespace nomara {

/// Disk use, and what keeps the file small. None of it may run inside a transaction. Part of `MemoryStore`, which says
/// what holds for all of it.
class Upkeep {
public:
    explicit Upkeep(SQLiteDatabase& db) : m_db(db) {}

    StorageBreakdown storageBreakdown();
    void vacuumIfNeeded();
    void optimize() noexcept;
    bool checkpoint(bool waits = true) noexcept;

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
