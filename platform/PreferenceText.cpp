#include "platform/PreferenceText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace nomara::PreferenceText {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

template <typename Number>
std::optional<Number> toNumber(std::string_view text) {
    text = bare(text);
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

} // namespace

std::optional<bool> toBoolean(std::string_view text) {
    std::string word(bare(text));
    std::ranges::transform(word, word.begin(), lowered);
    if (word == "true" || word == "yes" || word == "1") return true;
    if (word == "false" || word == "no" || word == "0") return false;
    return std::nullopt;
}

std::optional<std::int64_t> toInteger(std::string_view text) {
    return toNumber<std::int64_t>(text);
}

std::optional<double> toReal(std::string_view text) {
    const auto value = toNumber<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::string_view bare(std::string_view text) {
    text = trimmed(text);
    const bool isQuoted =
        text.size() >= 2 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
    return isQuoted ? trimmed(text.substr(1, text.size() - 2)) : text;
}

std::string fromBoolean(bool value) {
    return value ? "true" : "false";
}

std::string fromInteger(std::int64_t value) {
    return std::to_string(value);
}

std::string fromReal(double value) {
    std::array<char, 32> buffer; // the shortest form of a double takes 24 characters at most
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), result.ptr};
}

std::string foldedKey(std::string_view key) {
    std::string folded;
    for (const char c : key)
        if (c != '-' && c != '_') folded += lowered(c);
    return folded;
}

} // namespace nomara::PreferenceText
