#include "core/projects/TitleText.h"

#include "core/text/Graphemes.h"

#include <algorithm>
#include <array>
#include <memory>

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace nomara::TitleText {

namespace {

/// Names of programs that a terminal's title holds and that name no project.
constexpr std::array<std::string_view, 13> shellNames{
    "zsh", "bash", "fish", "sh", "login", "claude", "codex", "node", "python", "python3", "ssh", "-zsh", "-bash",
};

bool isTerminalSize(std::string_view part) {
    static const std::unique_ptr<const icu::RegexPattern> pattern = [] {
        UErrorCode error = U_ZERO_ERROR;
        return std::unique_ptr<const icu::RegexPattern>(
            icu::RegexPattern::compile(icu::UnicodeString(u"^\\d+\\s*[×x]\\s*\\d+$"), 0, error));
    }();
    if (!pattern) return false;
    UErrorCode error = U_ZERO_ERROR;
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(part);
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(text, error));
    return matcher && matcher->find(error) && U_SUCCESS(error) != 0;
}

std::string_view withoutTrailingSlashes(std::string_view path) {
    const auto last = path.find_last_not_of('/');
    return last == std::string_view::npos ? path.substr(0, 1) : path.substr(0, last + 1);
}

} // namespace

std::string_view trimmed(std::string_view text, std::string_view set) {
    const icu::UnicodeString outer =
        icu::UnicodeString::fromUTF8(icu::StringPiece(set.data(), static_cast<int>(set.size())));
    return Graphemes::trimmed(text, [&](char32_t c) { return outer.indexOf(static_cast<UChar32>(c)) >= 0; });
}

std::string_view withoutBlanks(std::string_view text) {
    return Graphemes::trimmed(
        text, [](char32_t c) { return c == U'\t' || u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR; });
}

std::string lowerCased(std::string_view text) {
    std::string lower;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int>(text.size())))
        .toLower(icu::Locale::getRoot())
        .toUTF8String(lower);
    return lower;
}

bool isPath(std::string_view text) {
    return text.starts_with("~/") || text.starts_with('/');
}

std::string_view lastComponent(std::string_view path) {
    const std::string_view whole = withoutTrailingSlashes(path);
    const auto slash = whole.rfind('/');
    return slash == std::string_view::npos || whole.size() == 1 ? whole : whole.substr(slash + 1);
}

std::string_view withoutExtension(std::string_view path) {
    const std::string_view whole = withoutTrailingSlashes(path);
    const std::string_view last = lastComponent(path);
    const auto dot = last.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return whole;
    return whole.substr(0, whole.size() - last.size() + dot);
}

bool isTerminalNoise(std::string_view lowerCasedPart, std::string_view login) {
    return std::find(shellNames.begin(), shellNames.end(), lowerCasedPart) != shellNames.end() ||
           isTerminalSize(lowerCasedPart) || lowerCasedPart == lowerCased(login);
}

} // namespace nomara::TitleText
