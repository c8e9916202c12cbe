// Searching a memory, from the typed text to hits with excerpts, against the bare full-text statement in it.

#include "bench/GeneratedMemory.h"
#include "bench/Measure.h"
#include "core/base/Clock.h"
#include "core/search/SearchQuery.h"
#include "core/search/SearchRanking.h"
#include "core/search/SnippetBuilder.h"
#include "core/store/MemoryStore.h"
#include "core/store/SearchStatement.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <getopt.h>
#include <sqlite3.h>

using namespace nomara;

namespace {

/// At the 95th percentile, `search` may take this much longer than its statement alone, whichever is more.
constexpr double shareAbove = 0.25, secondsAbove = 0.005;
/// Each query runs so often, in turns, and counts with its quickest run: what else the machine does is no part of the
/// figure.
constexpr int repetitions = 3, repetitionsOfQuick = 11;
constexpr double quickSeconds = 0.02;
/// What is slow is asked less often.
constexpr std::size_t fewestSamples = 16, anatomySamples = 6;
constexpr double cellSeconds = 15;
constexpr std::int64_t manyHits = 10'000;
constexpr std::size_t foldedRows = 20'000;
constexpr double manyHitsSeconds = 0.3;
constexpr std::size_t vocabularySize = 50'000;

/// The rival: the same statement over a connection of its own, with nothing around it.
class BareStatement {
public:
    explicit BareStatement(const std::filesystem::path& file) {
        sqlite3* handle = nullptr;
        const int code = sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_FULLMUTEX, nullptr);
        m_handle.reset(handle);
        if (code != SQLITE_OK) fail();
    }

    /// Prepares, binds, steps to the end and reads every column; gives the number of rows.
    std::size_t run(const std::string& sql, const std::vector<SQLValue>& parameters) {
        sqlite3_stmt* raw = nullptr;
        if (sqlite3_prepare_v2(m_handle.get(), sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) fail();
        const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(raw, sqlite3_finalize);
        int index = 0;
        for (const auto& parameter : parameters) {
            ++index;
            if (const auto* text = std::get_if<std::string>(&parameter.payload()))
                sqlite3_bind_text(raw, index, text->c_str(), -1, SQLITE_TRANSIENT);
            else if (const auto* integer = std::get_if<std::int64_t>(&parameter.payload()))
                sqlite3_bind_int64(raw, index, *integer);
        }
        std::size_t rows = 0;
        int code = SQLITE_OK;
        while ((code = sqlite3_step(raw)) == SQLITE_ROW) {
            ++rows;
            for (int column = 0; column < sqlite3_column_count(raw); ++column)
                readColumn(raw, column);
        }
        if (code != SQLITE_DONE) fail();
        return rows;
    }

    std::int64_t number(const std::string& sql, const std::string& match) {
        sqlite3_stmt* raw = nullptr;
        if (sqlite3_prepare_v2(m_handle.get(), sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) fail();
        const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(raw, sqlite3_finalize);
        if (!match.empty()) sqlite3_bind_text(raw, 1, match.c_str(), -1, SQLITE_TRANSIENT);
        if (sqlite3_step(raw) != SQLITE_ROW) fail();
        return sqlite3_column_int64(raw, 0);
    }

private:
    static void readColumn(sqlite3_stmt* statement, int column) {
        switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
            bench::keep(sqlite3_column_int64(statement, column));
            break;
        case SQLITE_FLOAT:
            bench::keep(sqlite3_column_double(statement, column));
            break;
        case SQLITE_TEXT:
            bench::keep(sqlite3_column_text(statement, column));
            break;
        default:
            break;
        }
    }

    [[noreturn]] void fail() const { throw std::runtime_error(sqlite3_errmsg(m_handle.get())); }

    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> m_handle{nullptr, sqlite3_close};
};

/// The rows of `search` in their order, as SQLite puts them there.
SearchStatement orderedStatement(const SearchQuery& query, const std::string& match) {
    return {"SELECT f.id, f.ts, f.display_id, f.app_bundle, f.app_name, f.window_title, f.url, f.image_state, s.path, "
            "f.segment_index, bm25(frame_fts, 2.0, 1.0, 1.0) AS score\n"
            "FROM frame_fts JOIN frames f ON f.id = frame_fts.rowid LEFT JOIN segments s ON s.id = f.segment_id\n"
            "WHERE frame_fts MATCH ? ORDER BY score LIMIT ?",
            {match, std::max<std::int64_t>(8 * query.limit, 200)}};
}

/// How often the words of a class stand in a memory: a stretch of the vocabulary's ranks.
struct WordClass {
    const char* name;
    std::size_t firstRank, lastRank;
};
constexpr WordClass classes[] = {{"rare", 35'000, 49'999}, {"middling", 600, 1'200}, {"very common", 0, 7}};

enum class Kind { word, prefix, pair };
constexpr struct {
    const char* name;
    Kind kind;
} kinds[] = {{"word", Kind::word}, {"prefix", Kind::prefix}, {"pair", Kind::pair}};

/// What somebody types: a finished word, one whose last letter is still missing, or two words, of which the second is
/// very common, so that the first decides how much there is to find.
std::string typed(const bench::Vocabulary& vocabulary, const WordClass& wordClass, Kind kind, std::size_t sample) {
    const std::size_t ranks = wordClass.lastRank - wordClass.firstRank + 1;
    std::string word = vocabulary.word(wordClass.firstRank + sample * 7'919 % ranks);
    switch (kind) {
    case Kind::word:
        return word + " ";
    case Kind::prefix:
        // The last letter is always a vowel or an n, one byte.
        word.pop_back();
        return word;
    case Kind::pair:
        return word + " " + vocabulary.word((sample + 3) % 8) + " ";
    }
    return word;
}

struct Cell {
    std::vector<double> bare, ours, matching;
    std::size_t hits = 0;
};

class Comparison {
public:
    Comparison(const std::filesystem::path& file, const bench::Vocabulary& vocabulary, std::size_t samples,
               double (*clock)())
        : m_vocabulary(vocabulary), m_samples(samples), m_seconds(clock), m_store(file, true, m_clock), m_bare(file),
          m_latest(m_store.latestFrame().value().timestamp) {}

    /// Prints the table; true if every cell keeps to the bar.
    bool run() {
        std::printf("%-12s %-7s %9s %6s | %9s %9s | %9s %9s | %6s %9s  %s\n", "words", "typed", "matching", "hits",
                    "bare p50", "p95", "search p50", "p95", "ratio", "p95 above", "bar");
        bool allMet = true;
        for (const auto& wordClass : classes)
            for (const auto& kind : kinds)
                allMet &= print(wordClass.name, kind.name, measure(wordClass, kind.kind));
        return allMet;
    }

    /// Prints what a long list of hits takes, and its folding by a scan of all groups for each row; true if it keeps to
    /// the bar.
    bool runManyHits() {
        const SearchQuery query(typed(m_vocabulary, classes[1], Kind::prefix, 0), {}, {}, {}, manyHits);
        const auto statement = SearchStatement::make(query, query.matchExpression(true).value(), {});
        // Folding is hardest where each row is another window's; in this memory few are.
        std::vector<SearchRanking::Row> rows;
        const std::size_t matching = m_bare.run(statement.sql, statement.parameters);
        for (std::size_t i = 0; i < foldedRows; ++i)
            rows.push_back({static_cast<RowID>(i), m_latest, "window " + std::to_string(i), 1});
        std::size_t hits = 0, groups = 0, scannedGroups = 0;
        const auto median = [&](const auto& work) {
            std::vector<double> times;
            for (int i = 0; i < repetitions; ++i)
                times.push_back(timed(work));
            return 1e3 * bench::percentile(times, 0.5);
        };
        const double search = median([&] { hits = m_store.search(query, m_latest).size(); });
        const double folded =
            median([&] { groups = SearchRanking::folded(std::vector<SearchRanking::Row>(rows)).size(); });
        const double scanned = 1e3 * timed([&] { scannedGroups = scan(rows); });
        if (groups != scannedGroups) throw std::runtime_error("two ways of folding give different groups");
        const bool met = search <= 1e3 * manyHitsSeconds;
        std::printf("\n%lld hits asked for, %zu frames match, %zu hits: %.0f ms, at most %.0f  %s\n",
                    static_cast<long long>(manyHits), matching, hits, search, 1e3 * manyHitsSeconds,
                    met ? "met" : "NOT MET");
        std::printf("%zu rows of as many windows folded: %.1f ms, by a scan of all groups %.0f ms\n", rows.size(),
                    folded, scanned);
        return met;
    }

    /// Prints where the time of a single word goes, by leaving parts of the work out.
    void runAnatomy() {
        const std::string from = " FROM frame_fts ";
        const std::string joined =
            from + "JOIN frames f ON f.id = frame_fts.rowid LEFT JOIN segments s ON s.id = f.segment_id ";
        const std::string where = "WHERE frame_fts MATCH ?";
        const std::string score = "bm25(frame_fts, 2.0, 1.0, 1.0)";
        std::printf("\nWhere the time of one word goes, ms at the median\n");
        std::printf("%-12s | %10s %10s %10s %10s | %10s %10s\n", "words", "walk", "+ bm25", "+ join", "+ sort, rows",
                    "search", "excerpts");
        for (const auto& wordClass : classes) {
            std::vector<double> walk, scored, withJoin, whole, search, excerpts;
            for (std::size_t sample = 0; sample < anatomySamples; ++sample) {
                SearchQuery query(typed(m_vocabulary, wordClass, Kind::word, sample));
                const std::string match = query.matchExpression(true).value();
                const auto statement = orderedStatement(query, match);
                const auto step = [&](const std::string& columns, const std::string& source) {
                    std::string sql = "SELECT ";
                    sql.append(columns).append(source).append(where);
                    return timed([&] { m_bare.run(sql, {match}); });
                };
                walk.push_back(step("frame_fts.rowid", from));
                scored.push_back(step(score, from));
                withJoin.push_back(step("f.ts, s.path, " + score, joined));
                whole.push_back(timed([&] { m_bare.run(statement.sql, statement.parameters); }));
                std::vector<SearchHit> hits;
                search.push_back(timed([&] { hits = m_store.search(query, m_latest); }));
                double building = 0;
                for (const auto& hit : hits) {
                    const std::string body = m_store.frameText(hit.frame.id).value_or("");
                    building += timed([&] {
                        bench::keep(SnippetBuilder::build(body, hit.frame.windowTitle, hit.frame.url,
                                                          query.highlightTerms(), 180));
                    });
                }
                excerpts.push_back(building);
            }
            const auto median = [](const std::vector<double>& samples) {
                return 1e3 * bench::percentile(samples, 0.5);
            };
            std::printf("%-12s | %10.2f %10.2f %10.2f %12.2f | %10.2f %10.2f\n", wordClass.name, median(walk),
                        median(scored), median(withJoin), median(whole), median(search), median(excerpts));
        }
    }

private:
    static std::size_t scan(const std::vector<SearchRanking::Row>& rows) {
        std::vector<const SearchRanking::Row*> groups;
        for (const SearchRanking::Row& row : rows)
            if (std::none_of(groups.begin(), groups.end(), [&](const SearchRanking::Row* seen) {
                    return std::abs(seen->timestamp - row.timestamp) < 600 && seen->window == row.window;
                }))
                groups.push_back(&row);
        return groups.size();
    }

    template <typename Work>
    double timed(Work&& work) const {
        return bench::timed(work, m_seconds);
    }

    Cell measure(const WordClass& wordClass, Kind kind) {
        Cell cell;
        const double start = bench::seconds();
        for (std::size_t sample = 0; sample < m_samples; ++sample) {
            if (sample >= fewestSamples && bench::seconds() - start > cellSeconds) break;
            const std::string text = typed(m_vocabulary, wordClass, kind, sample);
            const SearchQuery query(text);
            const std::string match = query.matchExpression(true).value();
            const auto statement = orderedStatement(query, match);
            cell.matching.push_back(
                static_cast<double>(m_bare.number("SELECT count(*) FROM frame_fts WHERE frame_fts MATCH ?", match)));
            std::size_t rows = 0;
            std::vector<SearchHit> hits;
            std::vector<double> bare, ours;
            const auto enough = [&bare] {
                return !bare.empty() && bare.front() < quickSeconds ? repetitionsOfQuick : repetitions;
            };
            for (int repetition = 0; repetition < enough(); ++repetition) {
                // Whoever goes second finds the file's pages warm.
                for (const bool bareOne : {repetition % 2 == 0, repetition % 2 != 0}) {
                    if (bareOne) {
                        bare.push_back(timed([&] { rows = m_bare.run(statement.sql, statement.parameters); }));
                    } else {
                        ours.push_back(timed([&] { hits = m_store.search(SearchQuery(text), m_latest); }));
                    }
                }
            }
            cell.bare.push_back(bench::percentile(bare, 0));
            cell.ours.push_back(bench::percentile(ours, 0));
            if (hits.empty() != (rows == 0))
                throw std::runtime_error("hits without rows, or rows without hits: " + text);
            std::size_t folded = 0;
            for (const auto& hit : hits)
                folded += static_cast<std::size_t>(hit.matchCount);
            if (folded > rows) throw std::runtime_error("more was folded than found: " + text);
            cell.hits += hits.size();
        }
        return cell;
    }

    bool print(const char* wordClass, const char* kind, const Cell& cell) const {
        const auto milliseconds = [](const std::vector<double>& samples, double share) {
            return 1e3 * bench::percentile(samples, share);
        };
        const double bare = bench::percentile(cell.bare, 0.95), ours = bench::percentile(cell.ours, 0.95);
        const double above = ours - bare;
        const bool met = above <= std::max(shareAbove * bare, secondsAbove);
        std::printf("%-12s %-7s %9.0f %6zu | %9.2f %9.2f | %9.2f %9.2f | %5.2fx %+8.2f   %s\n", wordClass, kind,
                    bench::percentile(cell.matching, 0.5), cell.hits / cell.ours.size(), milliseconds(cell.bare, 0.5),
                    1e3 * bare, milliseconds(cell.ours, 0.5), 1e3 * ours, ours / bare, 1e3 * above,
                    met ? "met" : "NOT MET");
        return met;
    }

    const bench::Vocabulary& m_vocabulary;
    std::size_t m_samples;
    double (*m_seconds)();
    SystemClock m_clock;
    MemoryStore m_store;
    BareStatement m_bare;
    Date m_latest;
};

struct Options {
    std::int64_t frames = 200'000;
    std::size_t samples = 40;
    std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bench-data";
    bool anatomy = false;
    bool cpuTime = false;
};

/// Absent for arguments that make no sense.
std::optional<Options> readOptions(int argc, char** argv) {
    constexpr option known[] = {
        {"frames", required_argument, nullptr, 'f'}, {"samples", required_argument, nullptr, 's'},
        {"folder", required_argument, nullptr, 'd'}, {"anatomy", no_argument, nullptr, 'a'},
        {"cpu-time", no_argument, nullptr, 'c'},     {}};
    Options options;
    for (int which = 0; (which = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        switch (which) {
        case 'f':
            options.frames = std::atoll(optarg);
            break;
        case 's':
            options.samples = static_cast<std::size_t>(std::atoll(optarg));
            break;
        case 'd':
            options.folder = optarg;
            break;
        case 'a':
            options.anatomy = true;
            break;
        case 'c':
            options.cpuTime = true;
            break;
        default:
            return std::nullopt;
        }
    }
    if (optind < argc || options.frames < 1 || options.samples < 1 || options.samples > 10'000) return std::nullopt;
    return options;
}

} // namespace

int main(int argc, char** argv) {
    const auto options = readOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr,
                     "usage: SearchBench [--frames 200000] [--samples 40] [--folder FOLDER] [--anatomy] [--cpu-time]\n"
                     "FOLDER keeps the generated memories for the next run; --anatomy shows where the time goes;\n"
                     "--cpu-time counts the thread's own time, for a machine that is busy with other things.\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        const bench::Vocabulary vocabulary(vocabularySize);
        const auto file = bench::generatedMemory(options->folder, options->frames, vocabulary);
        std::printf("%lld frames, %.0f MB; SQLite %s; 60 hits asked for; %s in ms. Bar: p95 at most %.0f %% or %.0f "
                    "ms above the bare statement's.\n\n",
                    static_cast<long long>(options->frames),
                    static_cast<double>(std::filesystem::file_size(file)) / 1e6, sqlite3_libversion(),
                    options->cpuTime ? "CPU time" : "times", shareAbove * 100, secondsAbove * 1e3);
        Comparison comparison(file, vocabulary, options->samples,
                              options->cpuTime ? bench::cpuSeconds : bench::seconds);
        const bool kept = comparison.run(), met = comparison.runManyHits() && kept;
        if (options->anatomy) comparison.runAnatomy();
        return met ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return 2;
    }
}
