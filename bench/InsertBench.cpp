// Inserting frames, against the same three statements written bare: prepared once, one transaction for each frame, the
// same pragmas, and the folded text made beforehand.

#include "bench/GeneratedMemory.h"
#include "bench/Measure.h"
#include "core/base/Clock.h"
#include "core/store/MemoryStore.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>
#include <unistd.h>

using namespace nomara;

namespace {

/// At most this many times the bare statements' time.
constexpr double bar = 1.3;
constexpr int warmUpFrames = 300, rounds = 4'000, lineCount = 40, lineCharacters = 50;
constexpr std::size_t vocabularySize = 20'000;

/// Frames of one size, so that medians compare: the generated memory's own are as uneven as real ones.
class EvenFrames {
public:
    NewFrame next() {
        NewFrame frame{.timestamp = {1.7e9 + 2.0 * m_made++}, .displayID = 1};
        frame.appBundleID = "org.example.app" + std::to_string(m_random() % 12);
        frame.appName = "Example " + std::to_string(m_random() % 12);
        frame.windowTitle = line(30);
        if (m_random() % 2 == 0) frame.url = "https://www.example.org/" + std::to_string(m_random() % 5'000);
        frame.width = 1920;
        frame.height = 1080;
        frame.textSource = TextSource::accessibility();
        frame.windowRect = RelativeRect{0.1, 0.1, 0.8, 0.8};
        for (int i = 0; i < lineCount; ++i)
            frame.lines.push_back(line(lineCharacters));
        return frame;
    }

private:
    std::string line(std::size_t bytes) {
        std::string text = m_vocabulary.random(m_random);
        while (text.size() < bytes)
            text.append(" ").append(m_vocabulary.random(m_random));
        return text;
    }

    bench::Vocabulary m_vocabulary{vocabularySize};
    std::mt19937_64 m_random{20231114};
    int m_made = 0;
};

void check(int code, sqlite3* db) {
    if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return;
    std::fprintf(stderr, "the bare statements failed: %s\n", sqlite3_errmsg(db));
    std::exit(2);
}

/// What a frame costs without any of our code: everything that can be known beforehand is.
class Bare {
public:
    struct Frame {
        NewFrame frame;
        std::string body, foldedTitle, foldedAddress, foldedBody;
        std::int64_t characters = 0;
    };

    static Frame prepared(NewFrame frame) {
        Frame result{.frame = std::move(frame)};
        for (const std::string& line : result.frame.lines) {
            if (!result.body.empty()) result.body += '\n';
            result.body += line;
        }
        std::string_view address = result.frame.url ? std::string_view(*result.frame.url) : std::string_view();
        for (const std::string_view prefix : {"https://", "http://", "www."})
            if (address.starts_with(prefix)) address.remove_prefix(prefix.size());
        result.foldedTitle = TextNormalizer::normalize(result.frame.windowTitle.value_or(""));
        result.foldedAddress = TextNormalizer::normalize(address);
        result.foldedBody = TextNormalizer::normalize(result.body);
        result.characters = Graphemes::count(result.body);
        return result;
    }

    explicit Bare(const std::filesystem::path& file) {
        check(sqlite3_open(file.c_str(), &m_db), m_db);
        check(sqlite3_exec(m_db,
                           "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA temp_store = MEMORY; "
                           "PRAGMA secure_delete = ON; PRAGMA journal_size_limit = 4194304;",
                           nullptr, nullptr, nullptr),
              m_db);
        m_begin = prepare("BEGIN IMMEDIATE");
        m_commit = prepare("COMMIT");
        m_frame =
            prepare("INSERT INTO frames (ts, display_id, app_bundle, app_name, window_title, url, project, phash, "
                    "width, height, image_state, segment_id, segment_index, ocr_state, text_source, text_chars, "
                    "bytes, win_x, win_y, win_w, win_h) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
        m_text = prepare("INSERT INTO frame_text (frame_id, body) VALUES (?, ?)");
        m_index = prepare("INSERT INTO frame_fts (rowid, title, url, body) VALUES (?, ?, ?, ?)");
    }
    ~Bare() {
        for (sqlite3_stmt* statement : {m_begin, m_commit, m_frame, m_text, m_index})
            sqlite3_finalize(statement);
        sqlite3_close(m_db);
    }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    void insert(const Frame& prepared) {
        const NewFrame& frame = prepared.frame;
        step(m_begin);
        sqlite3_bind_double(m_frame, 1, frame.timestamp.seconds);
        sqlite3_bind_int64(m_frame, 2, frame.displayID);
        textOrNull(m_frame, 3, frame.appBundleID);
        textOrNull(m_frame, 4, frame.appName);
        textOrNull(m_frame, 5, frame.windowTitle);
        textOrNull(m_frame, 6, frame.url);
        textOrNull(m_frame, 7, frame.project);
        sqlite3_bind_int64(m_frame, 8, static_cast<std::int64_t>(frame.perceptualHash));
        sqlite3_bind_int64(m_frame, 9, frame.width);
        sqlite3_bind_int64(m_frame, 10, frame.height);
        sqlite3_bind_int64(m_frame, 11, static_cast<std::int64_t>(frame.imageState));
        sqlite3_bind_null(m_frame, 12);
        sqlite3_bind_null(m_frame, 13);
        sqlite3_bind_int64(m_frame, 14, static_cast<std::int64_t>(frame.ocrState));
        sqlite3_bind_int64(m_frame, 15, frame.textSource.rawValue);
        sqlite3_bind_int64(m_frame, 16, prepared.characters);
        sqlite3_bind_int64(m_frame, 17, frame.bytes);
        sqlite3_bind_double(m_frame, 18, frame.windowRect->x);
        sqlite3_bind_double(m_frame, 19, frame.windowRect->y);
        sqlite3_bind_double(m_frame, 20, frame.windowRect->width);
        sqlite3_bind_double(m_frame, 21, frame.windowRect->height);
        step(m_frame);
        const sqlite3_int64 id = sqlite3_last_insert_rowid(m_db);
        sqlite3_bind_int64(m_text, 1, id);
        text(m_text, 2, prepared.body);
        step(m_text);
        sqlite3_bind_int64(m_index, 1, id);
        text(m_index, 2, prepared.foldedTitle);
        text(m_index, 3, prepared.foldedAddress);
        text(m_index, 4, prepared.foldedBody);
        step(m_index);
        step(m_commit);
    }

private:
    sqlite3_stmt* prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr), m_db);
        return statement;
    }
    void step(sqlite3_stmt* statement) {
        check(sqlite3_step(statement), m_db);
        check(sqlite3_reset(statement), m_db);
    }
    // No copy: the text outlives the step.
    static void text(sqlite3_stmt* statement, int index, std::string_view value) {
        sqlite3_bind_text(statement, index, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
    }
    static void textOrNull(sqlite3_stmt* statement, int index, const std::optional<std::string>& value) {
        if (value)
            text(statement, index, *value);
        else
            sqlite3_bind_null(statement, index);
    }

    sqlite3* m_db = nullptr;
    sqlite3_stmt *m_begin = nullptr, *m_commit = nullptr, *m_frame = nullptr, *m_text = nullptr, *m_index = nullptr;
};

/// How many terms the full-text index has and how often they occur.
std::pair<std::int64_t, std::int64_t> indexed(const std::filesystem::path& file) {
    SQLiteDatabase db(file, false);
    db.execute("CREATE VIRTUAL TABLE temp.terms USING fts5vocab(main, frame_fts, row)");
    return {db.scalarInt("SELECT COUNT(*) FROM terms").value_or(0),
            db.scalarInt("SELECT SUM(cnt) FROM terms").value_or(0)};
}

} // namespace

int main() {
    std::string pattern = std::filesystem::temp_directory_path() / "quillshade-bench-XXXXXX";
    const std::filesystem::path folder = mkdtemp(pattern.data());
    const auto ourFile = folder / "ours.sqlite", bareFile = folder / "bare.sqlite";
    std::vector<double> ours, bare;
    {
        const SystemClock clock;
        { const MemoryStore schemaForTheBareOne(bareFile, false, clock); }
        MemoryStore store(ourFile, false, clock);
        Bare statements(bareFile);
        EvenFrames frames;
        for (int i = 0; i < warmUpFrames + rounds; ++i) {
            const Bare::Frame frame = Bare::prepared(frames.next());
            double ourTime = 0, bareTime = 0;
            const auto runOurs = [&] { ourTime = bench::timed([&] { store.insertFrame(frame.frame); }); };
            const auto runBare = [&] { bareTime = bench::timed([&] { statements.insert(frame); }); };
            // In turn, so that neither always finds the machine's caches warmed by the other.
            if (i % 2 == 0) {
                runOurs();
                runBare();
            } else {
                runBare();
                runOurs();
            }
            if (i < warmUpFrames) continue;
            ours.push_back(ourTime);
            bare.push_back(bareTime);
        }
    }
    const bool alike = indexed(ourFile) == indexed(bareFile);
    std::filesystem::remove_all(folder);
    if (!alike) {
        std::printf("the two indexes differ\n");
        return 1;
    }

    const auto sum = [](const std::vector<double>& times) {
        double total = 0;
        for (const double time : times)
            total += time;
        return total;
    };
    const double ratio = bench::percentile(ours, 0.5) / bench::percentile(bare, 0.5);
    std::printf(
        "insertFrame (folding and counting included) and its three statements written bare (folded text given).\n"
        "%d frames of %d lines of about %d characters, SQLite %s. Bar: %.1fx at the median.\n\n",
        rounds, lineCount, lineCharacters, sqlite3_libversion(), bar);
    std::printf("%-12s %12s %12s %12s\n", "µs", "median", "p95", "mean");
    const auto line = [&](const char* name, const std::vector<double>& times) {
        std::printf("%-12s %11.1f %12.1f %12.1f\n", name, bench::percentile(times, 0.5) * 1e6,
                    bench::percentile(times, 0.95) * 1e6, sum(times) / static_cast<double>(times.size()) * 1e6);
    };
    line("insertFrame", ours);
    line("bare", bare);
    std::printf("%-12s %10.2fx %11.2fx %11.2fx   %s\n", "ratio", ratio,
                bench::percentile(ours, 0.95) / bench::percentile(bare, 0.95), sum(ours) / sum(bare),
                ratio <= bar ? "met" : "NOT MET");
    return ratio <= bar ? 0 : 1;
}
