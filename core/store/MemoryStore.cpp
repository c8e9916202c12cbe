#include "core/store/MemoryStore.h"

#include "core/store/Schema.h"

namespace nomara {

MemoryStore::MemoryStore(const std::filesystem::path& file, bool readOnly, const Clock& clock)
    : m_db(file, readOnly), m_summaries(m_db, clock) {
    if (readOnly) {
        try {
            m_db.execute("PRAGMA query_only = 1; PRAGMA temp_store = MEMORY;");
        } catch (const SQLiteError&) {
            // A second guard only: the connection is read-only anyway.
        }
    } else {
        // Deleted text must really leave the file, hence secure_delete.
        m_db.execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA temp_store = MEMORY; "
                     "PRAGMA secure_delete = ON; PRAGMA journal_size_limit = 4194304;");
        Schema::migrate(m_db, clock.now());
    }
    try {
        m_contentlessDelete =
            m_db.scalarText("SELECT value FROM meta WHERE key = 'fts_contentless_delete'") != std::optional("0");
    } catch (const SQLiteError&) {
        // A reader may meet a file without tables; what is wrong with it shows at the first real question.
    }
}

} // namespace nomara
