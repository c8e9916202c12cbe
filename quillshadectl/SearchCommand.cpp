#include "core/search/SearchQuery.h"
#include "core/search/SnippetBuilder.h"
#include "core/text/Graphemes.h"
#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/FrameText.h"
#include "quillshadectl/Json.h"
#include "quillshadectl/Memory.h"
#include "quillshadectl/TerminalText.h"

#include <algorithm>
#include <ostream>

namespace nomara::ctl {

namespace {

using namespace TerminalText;

Json json(const SearchHit& hit) {
    Json object = JsonText::frame(hit.frame);
    object["snippet"] = JsonText::text(hit.snippet.text);
    object["highlights"] = Json::array();
    for (const auto& range : hit.snippet.highlights)
        object["highlights"].push_back({range.start, range.end});
    object["matchCount"] = hit.matchCount;
    object["score"] = hit.score;
    return object;
}

std::vector<std::string> foldedTerms(const SearchQuery& query) {
    auto terms = query.highlightTerms();
    std::stable_sort(terms.begin(), terms.end(), [](const std::string& a, const std::string& b) {
        return Graphemes::count(a) > Graphemes::count(b);
    });
    return terms;
}

void print(const Context& context, const SearchHit& hit, const std::vector<std::string>& terms) {
    const char* const indent = "    ";
    context.out << FrameText::heading(context, hit.frame, hit.matchCount, terms) << '\n';
    if (hit.frame.url && !hit.frame.url->empty())
        context.out << indent
                    << marked(*hit.frame.url, SnippetBuilder::highlightRanges(*hit.frame.url, terms), Look::address,
                              context.colored)
                    << '\n';
    // An excerpt that only says the title or the address again is no news.
    const std::string& excerpt = hit.snippet.text;
    if (excerpt.empty() || excerpt == hit.frame.windowTitle || excerpt == hit.frame.url) return;
    context.out << wrapped(excerpt, hit.snippet.highlights, context.colored, indent, context.columns);
}

int nothing(const Context& context, const std::string& sentence) {
    if (context.line.json) JsonText::printArray(context.out, {});
    context.err << singleLine(sentence) << '\n';
    return ExitCode::nothing;
}

} // namespace

int search(Context& context) {
    const CommandLine& line = context.line;
    const SearchQuery query(line.query, line.since, line.until, line.applications, line.limit,
                            line.newest ? SearchQuery::Sort::newest : SearchQuery::Sort::relevance);
    MemoryStore memory = openMemory(context.folder, context.clock);
    if (query.isEmpty()) return nothing(context, "\"" + line.query + "\" holds no word to look for.");
    const auto hits = memory.search(query, context.now);
    if (hits.empty()) return nothing(context, "Nothing found for \"" + line.query + "\".");

    if (line.json) {
        std::vector<Json> elements;
        std::transform(hits.begin(), hits.end(), std::back_inserter(elements), json);
        JsonText::printArray(context.out, elements);
        return ExitCode::fine;
    }
    const auto terms = foldedTerms(query);
    for (const SearchHit& hit : hits) {
        if (&hit != &hits.front()) context.out << '\n';
        print(context, hit, terms);
    }
    return ExitCode::fine;
}

} // namespace nomara::ctl
