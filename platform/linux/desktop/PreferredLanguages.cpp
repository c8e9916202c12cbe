#include "platform/linux/desktop/PreferredLanguages.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace nomara {

namespace {

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool areLetters(std::string_view text) {
    return std::all_of(text.begin(), text.end(), isLetter);
}

std::string inCase(std::string_view text, char first) {
    constexpr char caseBit = 0x20;
    std::string result(text);
    for (char& c : result)
        if (isLetter(c)) c = static_cast<char>((c & ~caseBit) | (first & caseBit));
    return result;
}

/// Of "tr_TR.UTF-8@modifier" the language and, where it is one, the territory.
std::optional<std::string> code(std::string_view locale) {
    const std::string_view name = locale.substr(0, locale.find_first_of(".@"));
    const std::size_t end = name.find_first_of("_-");
    const std::string_view language = name.substr(0, end);
    if (language.size() < 2 || language.size() > 3 || !areLetters(language)) return std::nullopt;
    std::string result = inCase(language, 'a');
    const std::string_view territory = end == std::string_view::npos ? std::string_view() : name.substr(end + 1);
    if (territory.size() == 2 && areLetters(territory)) result += "-" + inCase(territory, 'A');
    return result;
}

} // namespace

std::vector<std::string> PreferredLanguages::of(const Environment& environment) {
    std::vector<std::string> codes;
    const auto add = [&](std::string_view locale) {
        const auto found = code(locale);
        if (found && std::find(codes.begin(), codes.end(), *found) == codes.end()) codes.push_back(*found);
    };
    const std::string list = environment("LANGUAGE");
    for (std::size_t start = 0; start < list.size();) {
        const std::size_t end = std::min(list.find(':', start), list.size());
        add(std::string_view(list).substr(start, end - start));
        start = end + 1;
    }
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        add(environment(name));
    return codes;
}

std::vector<std::string> PreferredLanguages::current() {
    return of([](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value != nullptr ? value : "");
    });
}

} // namespace nomara
