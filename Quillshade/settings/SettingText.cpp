#include "Quillshade/settings/SettingText.h"

#include "core/text/Graphemes.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace nomara::SettingText {

namespace {

constexpr std::int64_t quotedCharacters = 80;

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

std::string controlProblem(std::string_view text, std::string_view allowed) {
    const auto found =
        std::ranges::find_if(text, [&](char c) { return isControl(c) && allowed.find(c) == std::string_view::npos; });
    if (found == text.end()) return {};
    return "it holds a control character (number " + std::to_string(static_cast<unsigned char>(*found)) + ")";
}

} // namespace

std::string problem(std::string_view text) {
    if (text.size() > maxBytes) return "it is longer than " + std::to_string(maxBytes) + " bytes";
    if (std::string found = controlProblem(text, "\t\r\n"); !found.empty()) return found;
    return Graphemes::validUTF8(text) == text ? "" : "it isn't written in UTF-8";
}

std::string entryProblem(std::string_view entry) {
    if (entry.size() > maxEntryBytes)
        return inQuotes(entry) + " is longer than " + std::to_string(maxEntryBytes) + " bytes";
    const std::string found = controlProblem(entry, {});
    return found.empty() ? "" : inQuotes(entry) + " can't be used: " + found;
}

std::string inQuotes(std::string_view text) {
    // A character can be as long as the whole text.
    const std::string_view kept = Graphemes::prefix(text.substr(0, maxEntryBytes), quotedCharacters);
    std::string quoted = "“";
    for (const char c : kept) {
        if (isControl(c)) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02x",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            quoted += escape.data();
        } else {
            quoted += c;
        }
    }
    quoted += kept.size() < text.size() ? "…”" : "”";
    return Graphemes::validUTF8(quoted);
}

} // namespace nomara::SettingText
