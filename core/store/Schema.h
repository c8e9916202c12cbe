#pragma once

#include "core/base/Date.h"
#include "core/store/SQLiteDatabase.h"

#include <string>

/// Every table and index of the memory, and the steps from older files to the current form.
namespace nomara::Schema {

constexpr std::int64_t currentVersion = 2;

/// True if the SQLite library in use can make a full-text index that deletes by row id.
bool libraryDeletesByRowID();

/// The statement that makes the full-text index in one form or the other.
std::string fullTextIndex(bool contentlessDelete);

/// Brings a writer's database to the current version; one of a newer version is left alone. All or nothing.
void migrate(SQLiteDatabase& database, Date now);

} // namespace nomara::Schema
