#include "quillshadectl/FrameText.h"

#include "core/search/SnippetBuilder.h"
#include "core/text/Graphemes.h"
#include "quillshadectl/TerminalText.h"
#include "quillshadectl/TimePoint.h"

#include <array>
#include <cstdio>

namespace nomara::ctl::FrameText {

namespace {

constexpr std::int64_t titleCharacters = 120; // a page may give itself a title of any length

std::string shortened(const std::string& text) {
    const std::string_view kept = Graphemes::prefix(text, titleCharacters);
    return std::string(kept) + (kept.size() < text.size() ? "…" : "");
}

} // namespace

std::string heading(const Context& context, const FrameSummary& frame, std::int64_t count,
                    const std::vector<std::string>& terms) {
    using namespace TerminalText;
    const std::string application = shortened(frame.appName.value_or(frame.appBundleID.value_or("")));
    const std::string title = shortened(frame.windowTitle.value_or(""));
    std::string text = styled("#" + std::to_string(frame.id), Look::aside, context.colored) + "  " +
                       TimePoint::label(frame.timestamp, context.now);
    if (!application.empty()) text += "  " + styled(application, Look::title, context.colored);
    if (!title.empty()) {
        text += application.empty() ? "  " : " · ";
        text += marked(title, SnippetBuilder::highlightRanges(title, terms), Look::title, context.colored);
    }
    if (count > 1) text += styled("  ×" + grouped(count), Look::aside, context.colored);
    return text;
}

std::string grouped(std::int64_t number) {
    std::string text = std::to_string(number);
    const std::size_t sign = number < 0 ? 1 : 0;
    for (std::size_t place = text.size(); place > sign + 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

std::string bytes(std::int64_t count) {
    constexpr double step = 1000;
    constexpr std::array units{"B", "kB", "MB", "GB", "TB", "PB", "EB"};
    auto size = static_cast<double>(count);
    std::size_t unit = 0;
    while (size >= step - 0.05 && unit + 1 < units.size()) {
        size /= step;
        ++unit;
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", size, units[unit]);
    return text.data();
}

} // namespace nomara::ctl::FrameText
