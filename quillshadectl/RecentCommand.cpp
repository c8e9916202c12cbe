#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/FrameText.h"
#include "quillshadectl/Json.h"
#include "quillshadectl/Memory.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>
#include <unordered_set>

namespace nomara::ctl {

namespace {

constexpr std::int64_t framesPerPage = 512;
constexpr double forever = std::numeric_limits<double>::infinity();

/// A run of frames of one window, newest first.
struct Row {
    FrameSummary newest;
    Date oldest;
    std::int64_t count = 1;
};

/// Every frame of the stretch, newest first, a page of the store at a time.
class NewestFirst {
public:
    NewestFirst(MemoryStore& memory, const CommandLine& line)
        : m_memory(memory), m_from(line.since.value_or(Date{-forever})), m_to(line.until.value_or(Date{forever})) {}

    std::optional<FrameSummary> next() {
        while (m_place == m_page.size()) {
            if (m_exhausted) return std::nullopt;
            readPage();
        }
        return std::move(m_page[m_place++]);
    }

private:
    void readPage() {
        m_place = 0;
        m_page = m_memory.frames(m_from, m_to, true, m_pageSize);
        m_exhausted = static_cast<std::int64_t>(m_page.size()) < m_pageSize;
        if (m_page.empty()) return;
        // The next page starts with the last time of this one again, for there may be more frames of that very moment.
        const Date last = m_page.back().timestamp;
        const Date first = m_page.front().timestamp;
        m_pageSize = first == last ? m_pageSize * 2 : framesPerPage;
        m_to = {std::nextafter(last.seconds, forever)};
        std::unordered_set<RowID> boundary;
        for (const auto& frame : m_page)
            if (frame.timestamp == last) boundary.insert(frame.id);
        std::erase_if(m_page, [&](const FrameSummary& frame) { return m_given.contains(frame.id); });
        m_given = std::move(boundary);
    }

    MemoryStore& m_memory;
    const Date m_from;
    Date m_to;
    std::int64_t m_pageSize = framesPerPage;
    std::vector<FrameSummary> m_page;
    std::size_t m_place = 0;
    std::unordered_set<RowID> m_given; ///< frames of the last page at its last moment
    bool m_exhausted = false;
};

bool isWanted(const FrameSummary& frame, const std::vector<std::string>& applications) {
    return applications.empty() || (frame.appBundleID && std::find(applications.begin(), applications.end(),
                                                                   *frame.appBundleID) != applications.end());
}

std::vector<Row> rows(MemoryStore& memory, const CommandLine& line) {
    std::vector<Row> rows;
    NewestFirst frames(memory, line);
    while (auto frame = frames.next()) {
        if (!isWanted(*frame, line.applications)) continue;
        if (!rows.empty() && rows.back().newest.appBundleID == frame->appBundleID &&
            rows.back().newest.windowTitle == frame->windowTitle) {
            rows.back().count += 1;
            rows.back().oldest = frame->timestamp;
            continue;
        }
        if (static_cast<std::int64_t>(rows.size()) == line.limit) break;
        const Date time = frame->timestamp;
        rows.push_back({std::move(*frame), time});
    }
    return rows;
}

Json json(const Row& row) {
    Json object = JsonText::frame(row.newest);
    object["firstTimestamp"] = row.oldest.seconds;
    object["count"] = row.count;
    return object;
}

} // namespace

int recent(Context& context) {
    MemoryStore memory = openMemory(context.folder, context.clock);
    const auto found = rows(memory, context.line);
    if (context.line.json) {
        std::vector<Json> elements;
        std::transform(found.begin(), found.end(), std::back_inserter(elements), json);
        JsonText::printArray(context.out, elements);
    } else {
        for (const Row& row : found)
            context.out << FrameText::heading(context, row.newest, row.count) << '\n';
    }
    if (!found.empty()) return ExitCode::fine;
    context.err << "Nothing was recorded there.\n";
    return ExitCode::nothing;
}

} // namespace nomara::ctl
