#include "Quillshade/settings/ListText.h"

#include "Quillshade/settings/SettingText.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"
#include "core/text/WebAddress.h"

#include <algorithm>
#include <optional>
#include <set>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace nomara::ListText {

namespace {

using nlohmann::json;
using SettingText::inQuotes;

struct Unreadable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

bool startsWith(std::string_view text, std::string_view beginning) {
    return text.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), text.begin(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + 32 : b); });
}

/// The ASCII quote that this character stands for: word processors write others.
std::optional<char> quoteOf(std::string_view character) {
    constexpr std::string_view doubles[] = {"\"", "“", "”", "„", "«", "»"}, singles[] = {"'", "`", "‘", "’", "‚"};
    if (std::ranges::find(doubles, character) != std::end(doubles)) return '"';
    if (std::ranges::find(singles, character) != std::end(singles)) return '\'';
    return std::nullopt;
}

bool looksLikeHost(std::string_view text) {
    text = text.substr(0, text.find_first_of(",; \t\r\n]"));
    if (text.find("://") != std::string_view::npos) return true;
    const std::string_view host = text.substr(0, text.find_first_of("/?#:"));
    const auto dot = host.rfind('.');
    return dot != std::string_view::npos && dot > 0 && dot + 1 < host.size() && std::ranges::all_of(host, [](char c) {
               return c == '.' || c == '-' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                      (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
           });
}

/// Parts a text into its entries, as they are written.
class Scanner {
public:
    Scanner(std::string_view text) : m_text(text), m_characters(Graphemes::split(text)) {}

    std::vector<std::string> entries() {
        std::vector<std::string> found;
        skipSeparators();
        m_isBracketed = at("[") && !isEnd(m_next);
        if (m_isBracketed) ++m_next;
        for (skipSeparators(); !isEnd(m_next) && !(m_isBracketed && at("]")); skipSeparators()) {
            const auto quote = quoteOf(m_characters[m_next]);
            found.push_back(quote ? quotedEntry(*quote) : bareEntry());
        }
        if (!m_isBracketed) return found;
        if (isEnd(m_next)) throw Unreadable("a bracket isn't closed");
        ++m_next;
        skipSeparators();
        if (!isEnd(m_next)) throw Unreadable("there is something behind the closing bracket");
        return found;
    }

private:
    bool isEnd(std::size_t index) const { return index >= m_characters.size(); }
    bool at(std::string_view character) const { return !isEnd(m_next) && m_characters[m_next] == character; }
    bool isSpace(std::size_t index) const {
        constexpr std::string_view invisible[] = {"\uFEFF", "\u200B"};
        return Graphemes::isWhiteSpace(m_characters[index]) || Graphemes::isLineBreak(m_characters[index]) ||
               std::ranges::find(invisible, m_characters[index]) != std::end(invisible);
    }
    bool isSeparator(std::size_t index) const {
        const std::string_view character = m_characters[index];
        return character == "," || character == ";" || isSpace(index);
    }
    std::string_view rest(std::size_t index) const {
        return isEnd(index) ? std::string_view() : m_text.substr(m_characters[index].data() - m_text.data());
    }

    void skipSeparators() {
        while (!isEnd(m_next)) {
            if (at("#"))
                while (!isEnd(m_next) && !Graphemes::isLineBreak(m_characters[m_next]))
                    ++m_next;
            else if (isSeparator(m_next))
                ++m_next;
            else
                return;
        }
    }

    std::string quotedEntry(char quote) {
        std::string entry;
        for (++m_next; !isEnd(m_next); ++m_next) {
            const std::string_view character = m_characters[m_next];
            if (quoteOf(character) == quote) {
                ++m_next;
                if (!isEnd(m_next) && !isSeparator(m_next) && !at("]") && !at("#"))
                    throw Unreadable("there is something right behind the quote of " + inQuotes(entry));
                return entry;
            }
            if (character == "\\" && !isEnd(m_next + 1)) {
                entry += escaped();
                continue;
            }
            entry += character;
        }
        throw Unreadable("a quote isn't closed");
    }

    std::string escaped() {
        const std::string_view next = m_characters[++m_next];
        if (next != "u" || rest(m_next).size() < 5) return next == "n" || next == "t" ? " " : std::string(next);
        const json decoded = json::parse("\"\\" + std::string(rest(m_next).substr(0, 5)) + "\"", nullptr, false);
        if (!decoded.is_string()) throw Unreadable("there is an escape that means nothing");
        m_next += 4;
        return decoded.get<std::string>();
    }

    // A comma or semicolon may also be a part of an address: behind its host, and before anything but another host.
    bool endsEntry(std::string_view entry) const {
        if (!isSeparator(m_next)) return false;
        const auto scheme = entry.find("://");
        if (isSpace(m_next) || scheme == std::string_view::npos) return true;
        if (entry.find_first_of("/?#", scheme + 3) == std::string_view::npos) return true;
        return isEnd(m_next + 1) || isSeparator(m_next + 1) || looksLikeHost(rest(m_next + 1));
    }

    std::string bareEntry() {
        std::string entry;
        for (; !isEnd(m_next) && !endsEntry(entry); ++m_next) {
            const std::string_view character = m_characters[m_next];
            const bool isAddress = entry.find("//") != std::string::npos;
            if (m_isBracketed && character == "]" && entry.rfind('[') == std::string::npos) break;
            if (character == "{" || character == "}" || (!isAddress && (character == "[" || character == "]")))
                throw Unreadable("a bracket stands where none is expected");
            if (quoteOf(character) == '"') throw Unreadable("a quote stands in the middle of " + inQuotes(entry));
            entry += character;
            if (entry.size() > SettingText::maxEntryBytes) throw Unreadable(SettingText::entryProblem(entry));
        }
        if (m_isBracketed) {
            const json value = json::parse(entry, nullptr, false);
            if (!value.is_discarded() && !value.is_string()) throw Unreadable(inQuotes(entry) + " is no text");
        }
        return entry;
    }

    const std::string_view m_text;
    const std::vector<std::string_view> m_characters;
    std::size_t m_next = 0;
    bool m_isBracketed = false;
};

void removePrefix(std::string_view& text, std::string_view prefix) {
    if (startsWith(text, prefix)) text.remove_prefix(prefix.size());
}

// What follows the host of a pasted address belongs to one page of the site. Without a scheme it was typed: then a path
// is meant, but for a query, which nobody types.
std::string site(std::string_view written) {
    std::string_view text = Graphemes::trimmed(written);
    removePrefix(text, "<");
    if (text.ends_with('>')) text.remove_suffix(1);
    const auto scheme = text.find("://");
    const bool isWeb = startsWith(text, "http://") || startsWith(text, "https://") || startsWith(text, "ftp://") ||
                       startsWith(text, "ws://") || startsWith(text, "wss://") || text.starts_with("//");
    if (isWeb) {
        std::string address(text);
        // "https://*.bank.example" and "https://.bank.example" mean every host below it.
        const std::size_t begin = address.find("//") + 2;
        while (begin < address.size() && (address[begin] == '*' || address[begin] == '.'))
            address.erase(begin, 1);
        auto host = WebAddress::host(address);
        if (!host) throw Unreadable(inQuotes(written) + " has no host");
        if (host->find('*') != std::string::npos) throw Unreadable(inQuotes(written) + " has a star in the middle");
        return *std::move(host);
    }
    if (scheme != std::string_view::npos) return std::string(text);
    if (startsWith(text, "http:") || startsWith(text, "https:")) throw Unreadable(inQuotes(written) + " has no host");
    while (text.starts_with('*') || text.starts_with('.'))
        text.remove_prefix(1);
    removePrefix(text, "www.");
    if (const auto query = text.find_first_of("?#"); query != std::string_view::npos && looksLikeHost(text))
        text = text.substr(0, std::min(text.find('/'), query));
    while (text.ends_with('*') || text.ends_with('/') || text.ends_with('.'))
        text.remove_suffix(1);
    if (text.empty()) throw Unreadable(inQuotes(written) + " names no website");
    if (text.find('*') != std::string_view::npos) throw Unreadable(inQuotes(written) + " has a star in the middle");
    return std::string(text);
}

std::string application(std::string_view written) {
    std::string_view text = Graphemes::trimmed(written);
    removePrefix(text, "application://");
    if (text.starts_with('/')) text.remove_prefix(text.rfind('/') + 1);
    if (constexpr std::string_view ending = ".desktop"; text.ends_with(ending)) text.remove_suffix(ending.size());
    if (text.empty()) throw Unreadable(inQuotes(written) + " names no application");
    if (text.find('*') != std::string_view::npos)
        throw Unreadable(inQuotes(written) + " has a star in it, and identifiers are compared whole");
    return std::string(text);
}

/// A text in one pair of quotes: a list, as some files have them, or a name of several words.
std::optional<std::string> unquoted(std::string_view text, Kind kind) {
    if (text.size() < 2 || (text.front() != '"' && text.front() != '\'') || text.back() != text.front() ||
        text.find(text.front(), 1) != text.size() - 1 || text.find('\\') != std::string_view::npos)
        return std::nullopt;
    const std::string_view inner = text.substr(1, text.size() - 2);
    if (kind == Kind::applications && inner.find_first_of(",;\n") == std::string_view::npos) return std::nullopt;
    return std::string(inner);
}

} // namespace

Reading parse(std::string_view text, Kind kind) {
    const std::string whole = unquoted(Graphemes::trimmed(text), kind).value_or(std::string(text));
    Reading reading;
    std::set<std::string> known;
    try {
        for (const std::string& written : Scanner(whole).entries()) {
            if (Graphemes::trimmed(written).empty()) continue;
            std::string entry = kind == Kind::sites ? site(written) : application(written);
            if (std::string problem = SettingText::entryProblem(entry); !problem.empty()) throw Unreadable(problem);
            if (known.insert(folded(entry, kind)).second) reading.entries.push_back(std::move(entry));
        }
        if (reading.entries.size() > SettingText::maxEntries)
            throw Unreadable("it has more than " + std::to_string(SettingText::maxEntries) + " entries");
    } catch (const Unreadable& error) {
        return {{}, error.what()};
    }
    return reading;
}

std::string print(const std::vector<std::string>& entries) {
    std::string plain;
    for (const std::string& entry : entries)
        plain.append(plain.empty() ? "" : ", ").append(entry);
    const Reading reading = parse(plain, Kind::applications);
    if (reading.problem.empty() && reading.entries == entries) return plain;
    // Bytes that aren't UTF-8 must not keep a setting from being stored.
    return json(entries).dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string folded(std::string_view entry, Kind kind) {
    return kind == Kind::sites ? TextNormalizer::normalize(entry) : std::string(entry);
}

} // namespace nomara::ListText
