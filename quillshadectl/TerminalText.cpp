#include "quillshadectl/TerminalText.h"

#include "core/text/Graphemes.h"

#include <algorithm>
#include <utility>

namespace nomara::ctl::TerminalText {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD"; // U+FFFD

enum class Kind { harmless, tab, lineBreak, steering };

Kind kind(char32_t scalar) {
    if (scalar == U'\t') return Kind::tab;
    if (scalar == U'\n' || scalar == U'\v' || scalar == U'\f' || scalar == U'\r' || scalar == 0x85 ||
        scalar == 0x2028 || scalar == 0x2029)
        return Kind::lineBreak;
    const bool control = scalar < 0x20 || (scalar >= 0x7F && scalar <= 0x9F);
    // Overrides of the direction of text let a line read as something else than what it says.
    const bool direction = (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
    return control || direction ? Kind::steering : Kind::harmless;
}

/// The scalar at the start of valid UTF-8, and its bytes.
std::pair<char32_t, std::size_t> firstScalar(std::string_view text) {
    const auto byte = [&](std::size_t index) { return static_cast<char32_t>(static_cast<unsigned char>(text[index])); };
    const char32_t lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    char32_t scalar = lead & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length; ++index)
        scalar = scalar << 6U | (byte(index) & 0x3FU);
    return {scalar, length};
}

std::string cleaned(std::string_view text, char tab, char lineBreak) {
    const std::string valid = Graphemes::validUTF8(text);
    std::string_view rest = valid;
    std::string result;
    result.reserve(valid.size());
    while (!rest.empty()) {
        if (rest.starts_with("\r\n")) rest.remove_prefix(1);
        const auto [scalar, length] = firstScalar(rest);
        switch (kind(scalar)) {
        case Kind::harmless:
            result += rest.substr(0, length);
            break;
        case Kind::tab:
            result += tab;
            break;
        case Kind::lineBreak:
            result += lineBreak;
            break;
        case Kind::steering:
            result += replacement;
            break;
        }
        rest.remove_prefix(length);
    }
    return result;
}

void change(std::string& text, std::string_view look) {
    text.append("\x1b[0").append(look.empty() ? "" : ";").append(look).append("m");
}

} // namespace

std::string singleLine(std::string_view text) {
    return cleaned(text, ' ', ' ');
}

std::string lines(std::string_view text) {
    return cleaned(text, '\t', '\n');
}

std::string styled(std::string_view text, std::string_view look, bool colored) {
    return marked(text, {}, look, colored);
}

std::string marked(std::string_view text, const std::vector<CharacterRange>& ranges, std::string_view look,
                   bool colored) {
    if (!colored || text.empty() || (look.empty() && ranges.empty())) return singleLine(text);
    const auto characters = Graphemes::split(text);
    std::string result;
    const auto append = [&](std::int64_t start, std::int64_t end, std::string_view stretchLook) {
        if (start >= end) return;
        if (!stretchLook.empty()) change(result, stretchLook);
        const char* first = characters[static_cast<std::size_t>(start)].data();
        const auto& last = characters[static_cast<std::size_t>(end - 1)];
        result += singleLine({first, static_cast<std::size_t>(last.data() + last.size() - first)});
        if (!stretchLook.empty()) change(result, Look::plain);
    };
    const auto count = static_cast<std::int64_t>(characters.size());
    std::int64_t done = 0;
    for (const auto& range : ranges) {
        const std::int64_t start = std::min(range.start, count), end = std::min(range.end, count);
        append(done, start, look);
        append(start, end, Look::match);
        done = end;
    }
    append(done, count, look);
    return result;
}

std::string wrapped(std::string_view text, const std::vector<CharacterRange>& ranges, bool colored,
                    std::string_view indent, std::int64_t columns) {
    constexpr std::int64_t narrowest = 20;
    const auto characters = Graphemes::split(text);
    const auto count = static_cast<std::int64_t>(characters.size());
    const std::int64_t room = columns - static_cast<std::int64_t>(indent.size());
    std::string result;
    for (std::int64_t start = 0; start < count;) {
        std::int64_t end = count, next = count;
        if (room >= narrowest && count - start > room) {
            end = next = start + room;
            for (std::int64_t place = end; place > start; --place) {
                if (characters[static_cast<std::size_t>(place)] != " ") continue;
                end = place;
                next = place + 1;
                break;
            }
        }
        std::vector<CharacterRange> inLine;
        for (const auto& range : ranges)
            if (range.start < end && range.end > start)
                inLine.push_back({std::max(range.start, start) - start, std::min(range.end, end) - start});
        const char* first = characters[static_cast<std::size_t>(start)].data();
        const auto& last = characters[static_cast<std::size_t>(end - 1)];
        const std::string_view line(first, static_cast<std::size_t>(last.data() + last.size() - first));
        result.append(indent).append(marked(line, inLine, Look::plain, colored)) += '\n';
        start = next;
    }
    return result;
}

} // namespace nomara::ctl::TerminalText
