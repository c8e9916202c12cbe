#pragma once

#include "core/records/Frames.h"
#include "core/store/SQLiteDatabase.h"

#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Writing frames, their text and what the full-text index holds of them. Part of `MemoryStore`, which says what holds
/// for all of it.
class FrameTable {
public:
    FrameTable(SQLiteDatabase& db, const bool& contentlessDelete) : m_db(db), m_contentlessDelete(contentlessDelete) {}

    RowID insertFrame(const NewFrame& frame);
    void updateFrameText(RowID id, const std::vector<std::string>& lines, TextSource source,
                         std::optional<OCRState> ocrState);
    void setOCRState(RowID id, OCRState state);
    void removeFromIndex(RowID id);

private:
    SQLiteDatabase& m_db;
    const bool& m_contentlessDelete; ///< known once the database is open
};

} // namespace nomara
