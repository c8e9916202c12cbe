#include "core/text/Graphemes.h"

#include <memory>

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace nomara::Graphemes {

namespace {

const std::uint8_t* bytesOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

/// Decodes the scalar at `position`, which moves behind it.
UChar32 next(std::string_view text, std::size_t& position) {
    UChar32 c = 0;
    U8_NEXT_OR_FFFD(bytesOf(text), position, text.size(), c);
    return c;
}

// Characters of these two classes neither join what stands before them nor what follows, so that between two of them
// there is always a boundary; the rest is for the break iterator. CR and LF join each other.
bool standsAlone(UChar32 c) {
    if (c < 0x80) return true;
    const auto type = u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK);
    return type == U_GCB_OTHER || type == U_GCB_CONTROL;
}

struct CloseIterator {
    void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};

UBreakIterator* iterator() {
    thread_local const std::unique_ptr<UBreakIterator, CloseIterator> own = [] {
        UErrorCode error = U_ZERO_ERROR;
        return std::unique_ptr<UBreakIterator, CloseIterator>(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &error));
    }();
    return own.get();
}

/// Hands the clusters of a stretch that needs the break iterator to `visit`; answers false once `visit` does.
template <typename Visit>
bool visitByIterator(std::string_view stretch, const Visit& visit) {
    UErrorCode error = U_ZERO_ERROR;
    UText text = UTEXT_INITIALIZER;
    utext_openUTF8(&text, stretch.data(), static_cast<std::int64_t>(stretch.size()), &error);
    UBreakIterator* const breaks = iterator();
    ubrk_setUText(breaks, &text, &error);
    bool goOn = U_SUCCESS(error);
    std::size_t start = 0;
    while (goOn && start < stretch.size()) {
        const int32_t boundary = ubrk_next(breaks);
        const std::size_t end = boundary == UBRK_DONE ? stretch.size() : static_cast<std::size_t>(boundary);
        goOn = visit(stretch.substr(start, end - start));
        start = end;
    }
    utext_close(&text);
    return goOn;
}

/// Calls `visit` with every cluster in order, as long as it answers true.
template <typename Visit>
void forEach(std::string_view text, const Visit& visit) {
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t start = position;
        UChar32 before = next(text, position);
        bool simple = standsAlone(before);
        std::size_t end = position; // behind the last scalar of the stretch
        while (position < text.size()) {
            const UChar32 c = next(text, position);
            const bool alone = standsAlone(c);
            const bool joined = before == '\r' && c == '\n';
            if (standsAlone(before) && alone && !joined) break;
            simple = simple && joined;
            before = c;
            end = position;
        }
        position = end;
        const std::string_view stretch = text.substr(start, end - start);
        if (!(simple ? visit(stretch) : visitByIterator(stretch, visit))) return;
    }
}

/// The length of the text's first part that is all ASCII and free of carriage returns: there, bytes are clusters. The
/// last byte isn't counted, since what follows it may join it.
std::size_t plainLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80 && text[length] != '\r')
        ++length;
    return length == text.size() || length == 0 ? length : length - 1;
}

} // namespace

std::int64_t count(std::string_view text) {
    const std::size_t plain = plainLength(text);
    auto total = static_cast<std::int64_t>(plain);
    forEach(text.substr(plain), [&total](std::string_view) {
        ++total;
        return true;
    });
    return total;
}

std::string_view prefix(std::string_view text, std::int64_t characters) {
    if (characters <= 0) return {};
    const std::size_t plain = plainLength(text);
    if (static_cast<std::uint64_t>(characters) <= plain) return text.substr(0, static_cast<std::size_t>(characters));
    std::int64_t left = characters - static_cast<std::int64_t>(plain);
    std::size_t length = plain;
    forEach(text.substr(plain), [&](std::string_view cluster) {
        length += cluster.size();
        return --left > 0;
    });
    return text.substr(0, length);
}

std::string_view suffix(std::string_view text, std::int64_t characters) {
    const std::int64_t surplus = count(text) - characters;
    return surplus <= 0 ? text : text.substr(prefix(text, surplus).size());
}

std::vector<std::string_view> split(std::string_view text) {
    const std::size_t plain = plainLength(text);
    std::vector<std::string_view> clusters;
    clusters.reserve(text.size());
    for (std::size_t i = 0; i < plain; ++i)
        clusters.push_back(text.substr(i, 1));
    forEach(text.substr(plain), [&clusters](std::string_view cluster) {
        clusters.push_back(cluster);
        return true;
    });
    return clusters;
}

char32_t firstScalar(std::string_view cluster) {
    std::size_t position = 0;
    return cluster.empty() ? U'\0' : static_cast<char32_t>(next(cluster, position));
}

bool isWhiteSpace(std::string_view cluster) {
    return !cluster.empty() && u_isUWhiteSpace(static_cast<UChar32>(firstScalar(cluster))) != 0;
}

bool isLineBreak(std::string_view cluster) {
    const char32_t c = cluster.empty() ? U'\0' : firstScalar(cluster);
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

std::string_view trimmed(std::string_view text, const std::function<bool(char32_t)>& isOuter) {
    const auto isOuterScalar = [&](UChar32 c) { return c >= 0 && isOuter(static_cast<char32_t>(c)); };
    std::size_t start = 0;
    for (std::size_t position = 0; position < text.size(); start = position)
        if (!isOuterScalar(next(text, position))) break;
    std::size_t end = text.size();
    while (end > start) {
        std::size_t last = end - 1;
        while (last > start && (static_cast<unsigned char>(text[last]) & 0xC0) == 0x80)
            --last;
        std::size_t behind = last;
        if (!isOuterScalar(next(text, behind)) || behind != end) break;
        end = last;
    }
    return text.substr(start, end - start);
}

std::string_view trimmed(std::string_view text) {
    return trimmed(text, [](char32_t c) { return u_isUWhiteSpace(static_cast<UChar32>(c)) != 0; });
}

std::string validUTF8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        UChar32 c = 0;
        U8_NEXT(bytesOf(text), position, text.size(), c);
        if (c < 0)
            valid += "\uFFFD";
        else if (c != 0)
            valid += text.substr(start, position - start);
    }
    return valid;
}

} // namespace nomara::Graphemes
