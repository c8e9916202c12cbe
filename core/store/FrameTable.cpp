#include "core/store/FrameTable.h"

#include "core/store/FrameRows.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

namespace nomara {

namespace {

// SQLite ends a text there: all that comes behind it would be lost, and the number of characters be wrong.
std::string withoutNul(std::string text) {
    std::erase(text, '\0');
    return text;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string body;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) body += '\n';
        body += lines[i];
    }
    return withoutNul(std::move(body));
}

std::optional<std::string> withoutNul(const std::optional<std::string>& text) {
    return text ? std::optional(withoutNul(*text)) : std::nullopt;
}

// What people type of an address begins behind these.
std::string reducedAddress(std::string_view address) {
    for (const std::string_view prefix : {"https://", "http://", "www."})
        if (address.starts_with(prefix)) address.remove_prefix(prefix.size());
    return std::string(address);
}

/// The three values of a frame's full-text entry. A plain contentless index forgets only what it is told exactly, so
/// insertion and deletion must both come through here.
struct IndexEntry {
    std::string title;
    std::string url;
    std::string body;

    IndexEntry(const std::optional<std::string>& windowTitle, const std::optional<std::string>& address,
               std::string_view text)
        : title(TextNormalizer::normalize(windowTitle.value_or(""))),
          url(TextNormalizer::normalize(reducedAddress(address.value_or("")))), body(TextNormalizer::normalize(text)) {}
};

void addToIndex(SQLiteDatabase& db, RowID id, const IndexEntry& entry) {
    db.run("INSERT INTO frame_fts (rowid, title, url, body) VALUES (?, ?, ?, ?)",
           {id, entry.title, entry.url, entry.body});
}

struct StoredText {
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
    std::string body;
};

std::optional<StoredText> storedText(SQLiteDatabase& db, RowID id) {
    const auto rows = db.query(
        "SELECT f.window_title, f.url, t.body FROM frames f LEFT JOIN frame_text t ON t.frame_id = f.id WHERE f.id = ?",
        {id}, [](const SQLRow& row) {
            return StoredText{row.optionalText(0), row.optionalText(1), row.text(2)};
        });
    if (rows.empty()) return std::nullopt;
    return rows.front();
}

} // namespace

RowID FrameTable::insertFrame(const NewFrame& frame) {
    return m_db.transaction([&] {
        const std::string body = joined(frame.lines);
        const auto title = withoutNul(frame.windowTitle), url = withoutNul(frame.url);
        const auto edge = [&](double RelativeRect::*field) {
            return frame.windowRect ? SQLValue((*frame.windowRect).*field) : SQLValue(nullptr);
        };
        m_db.run("INSERT INTO frames (ts, display_id, app_bundle, app_name, window_title, url, project, phash, width, "
                 "height,\n    image_state, segment_id, segment_index, ocr_state, text_source, text_chars, bytes, "
                 "win_x, win_y, win_w, win_h)\nVALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)",
                 {frame.timestamp.seconds,
                  frame.displayID,
                  frame.appBundleID,
                  frame.appName,
                  title,
                  url,
                  frame.project,
                  static_cast<std::int64_t>(frame.perceptualHash),
                  frame.width,
                  frame.height,
                  static_cast<std::int64_t>(frame.imageState),
                  frame.segmentID,
                  frame.segmentIndex,
                  static_cast<std::int64_t>(frame.ocrState),
                  frame.textSource.rawValue,
                  Graphemes::count(body),
                  frame.bytes,
                  edge(&RelativeRect::x),
                  edge(&RelativeRect::y),
                  edge(&RelativeRect::width),
                  edge(&RelativeRect::height)});
        const RowID id = m_db.lastInsertRowID();
        m_db.run("INSERT INTO frame_text (frame_id, body) VALUES (?, ?)", {id, body});
        addToIndex(m_db, id, IndexEntry(title, url, body));
        return id;
    });
}

void FrameTable::updateFrameText(RowID id, const std::vector<std::string>& lines, TextSource source,
                                 std::optional<OCRState> ocrState) {
    m_db.transaction([&] {
        const auto stored = storedText(m_db, id);
        if (!stored) return;
        std::string body = stored->body;
        if (!lines.empty()) {
            if (!body.empty()) body += '\n';
            body += joined(lines);
            // The old text must go first: the index may need to be told what it was.
            removeFromIndex(id);
            m_db.run("INSERT OR REPLACE INTO frame_text (frame_id, body) VALUES (?, ?)", {id, body});
            addToIndex(m_db, id, IndexEntry(stored->windowTitle, stored->url, body));
        }
        if (ocrState)
            m_db.run("UPDATE frames SET text_source = text_source | ?, text_chars = ?, ocr_state = ? WHERE id = ?",
                     {source.rawValue, Graphemes::count(body), static_cast<std::int64_t>(*ocrState), id});
        else
            m_db.run("UPDATE frames SET text_source = text_source | ?, text_chars = ? WHERE id = ?",
                     {source.rawValue, Graphemes::count(body), id});
    });
}

void FrameTable::setOCRState(RowID id, OCRState state) {
    m_db.run("UPDATE frames SET ocr_state = ? WHERE id = ?", {static_cast<std::int64_t>(state), id});
}

void FrameTable::removeFromIndex(RowID id) {
    if (m_contentlessDelete) {
        m_db.run("DELETE FROM frame_fts WHERE rowid = ?", {id});
    } else if (const auto stored = storedText(m_db, id)) {
        const IndexEntry entry(stored->windowTitle, stored->url, stored->body);
        m_db.run("INSERT INTO frame_fts (frame_fts, rowid, title, url, body) VALUES ('delete', ?, ?, ?, ?)",
                 {id, entry.title, entry.url, entry.body});
    }
}

} // namespace nomara
