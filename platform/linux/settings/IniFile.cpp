#include "platform/linux/settings/IniFile.h"

#include "core/text/Graphemes.h"
#include "platform/PreferenceText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace nomara {

namespace {

constexpr std::string_view blanks = " \t\r\v\f";

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

// "[General]"; a list in brackets or an address isn't one.
bool isHeading(std::string_view line) {
    if (line.size() < 3 || line.front() != '[' || line.back() != ']') return false;
    line = line.substr(1, line.size() - 2);
    return std::ranges::all_of(line, [](char c) { return isWordCharacter(c) || c == '%' || c == ' '; });
}

/// What stands in front of "=", where it can be a key: no piece of an address.
std::string_view keyOf(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) return {};
    const std::string_view key = trimmed(line.substr(0, equals));
    return std::ranges::all_of(key, isWordCharacter) ? key : std::string_view();
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

void appendUTF8(std::string& text, std::uint32_t scalar) {
    const auto byte = [&](std::uint32_t value) { text += static_cast<char>(value); };
    if (scalar < 0x80U) {
        byte(scalar);
    } else if (scalar < 0x800U) {
        byte(0xC0U | scalar >> 6U);
        byte(0x80U | (scalar & 0x3FU));
    } else {
        byte(0xE0U | (scalar >> 12U & 0xFU));
        byte(0x80U | (scalar >> 6U & 0x3FU));
        byte(0x80U | (scalar & 0x3FU));
    }
}

std::string unescaped(std::string_view text) {
    constexpr std::string_view letters = "abfnrtv", meanings = "\a\b\f\n\r\t\v";
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char next = text[++i];
        if (const auto letter = letters.find(next); letter != std::string_view::npos) {
            plain += meanings[letter];
        } else if (next == 'x' && i + 1 < text.size() && hexValue(text[i + 1]) >= 0) {
            std::uint32_t scalar = 0;
            for (int digits = 0; digits < 4 && i + 1 < text.size() && hexValue(text[i + 1]) >= 0; ++digits)
                scalar = scalar * 16 + static_cast<std::uint32_t>(hexValue(text[++i]));
            appendUTF8(plain, scalar);
        } else {
            plain += next;
        }
    }
    return plain;
}

/// The first quote that no backslash stands in front of.
std::size_t findQuote(std::string_view text, std::size_t from) {
    for (std::size_t i = from; i < text.size(); ++i) {
        if (text[i] == '\\')
            ++i;
        else if (text[i] == '"')
            return i;
    }
    return std::string_view::npos;
}

/// Programs put a backslash in front of each quote and backslash; where there is a quote without one, a person wrote
/// it.
std::string decoded(std::string_view written) {
    if (written.find('\\') == std::string_view::npos) return std::string(written);
    const std::size_t quote = findQuote(written, 0);
    if (quote == std::string_view::npos) return unescaped(written);
    if (quote == 0 && findQuote(written, 1) == written.size() - 1)
        return unescaped(written.substr(1, written.size() - 2));
    return std::string(written);
}

std::string encoded(std::string_view value) {
    const bool isOneLine = std::ranges::none_of(value, [](char c) { return static_cast<unsigned char>(c) < ' '; });
    // A backslash at its end would announce another line.
    if (isOneLine && !value.ends_with('\\') && trimmed(value) == value && decoded(value) == value)
        return std::string(value);
    std::string written = "\"";
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        const bool isEdge = i == 0 || i + 1 == value.size();
        if (static_cast<unsigned char>(c) < ' ' || (c == ' ' && isEdge)) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%04x", static_cast<unsigned>(c));
            written += escape.data();
        } else {
            if (c == '"' || c == '\\') written += '\\';
            written += c;
        }
    }
    return written + "\"";
}

} // namespace

IniFile::IniFile(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3); // some editors begin a file with this mark
    std::string key;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        Line line{std::string(text.substr(0, end)), {}, {}, false};
        text.remove_prefix(std::min(end + 1, text.size()));
        std::string_view content = trimmed(line.text);
        const bool isComment = content.starts_with(';') || content.starts_with('#');
        if (!content.empty() && !isComment) {
            if (isHeading(content)) {
                key.clear();
            } else {
                if (const std::string_view own = keyOf(content); !own.empty()) {
                    key = own;
                    line.isFirst = true;
                    content = trimmed(content.substr(content.find('=') + 1));
                }
                // A backslash at the end of a line announces the next one, which is taken anyway.
                if (content.ends_with('\\') && !content.ends_with("\\\\")) content.remove_suffix(1);
                if (m_problem.empty() && (key.empty() || Graphemes::validUTF8(content) != content))
                    m_problem = "line " + std::to_string(m_lines.size() + 1) +
                                (key.empty() ? " is neither a setting nor part of one" : " isn't written in UTF-8");
                line.key = key;
                line.value = trimmed(content);
            }
        }
        m_lines.push_back(std::move(line));
    }
}

std::optional<std::string> IniFile::value(std::string_view key) const {
    const std::string wanted = PreferenceText::foldedKey(key);
    std::vector<std::string> values;
    for (const Line& line : m_lines) {
        if (line.key.empty() || PreferenceText::foldedKey(line.key) != wanted) continue;
        if (line.isFirst)
            values.push_back(line.value);
        else
            values.back().append("\n").append(line.value);
    }
    if (values.empty()) return std::nullopt;
    std::string all;
    for (const std::string& value : values)
        all.append(all.empty() ? "" : "\n").append(decoded(value));
    return all;
}

void IniFile::set(std::string_view key, std::string_view value) {
    const std::string wanted = PreferenceText::foldedKey(key);
    const auto isKey = [&](const Line& line) { return PreferenceText::foldedKey(line.key) == wanted; };
    auto place = std::ranges::find_if(m_lines, isKey);
    const auto at = place - m_lines.begin();
    const bool isNew = place == m_lines.end();
    std::erase_if(m_lines, isKey);
    if (m_lines.empty()) m_lines.push_back({"[General]", {}, {}, false});
    const std::string written = encoded(value);
    m_lines.insert(isNew ? m_lines.end() : m_lines.begin() + at,
                   {std::string(key) + "=" + written, std::string(key), written, true});
}

void IniFile::remove(std::string_view key) {
    const std::string wanted = PreferenceText::foldedKey(key);
    std::erase_if(m_lines, [&](const Line& line) { return PreferenceText::foldedKey(line.key) == wanted; });
}

std::vector<std::string> IniFile::keys() const {
    std::vector<std::string> keys;
    for (const Line& line : m_lines)
        if (line.isFirst) keys.push_back(line.key);
    return keys;
}

std::string IniFile::text() const {
    std::string text;
    for (const Line& line : m_lines)
        text.append(line.text).append("\n");
    return text;
}

} // namespace nomara
