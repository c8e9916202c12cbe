#include "core/text/WebAddress.h"

#include "core/text/Graphemes.h"

#include <algorithm>
#include <memory>

#include <unicode/idna.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace nomara::WebAddress {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int hexValue(char c) {
    if (isDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool isEscape(std::string_view text, std::size_t i) {
    return text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 && hexValue(text[i + 2]) >= 0;
}

bool isScheme(std::string_view text) {
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
        return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

/// Letters, digits, marks and delimiters that stand for themselves in a name, escapes, and what isn't ASCII.
bool isName(std::string_view text, std::string_view alsoAllowed) {
    constexpr std::string_view plain = "-._~!$&'()*+,;=";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool known = isLetter(c) || isDigit(c) || static_cast<unsigned char>(c) >= 0x80 ||
                           plain.find(c) != std::string_view::npos || alsoAllowed.find(c) != std::string_view::npos;
        if (!known && !isEscape(text, i)) return false;
    }
    return true;
}

bool isAddressInBrackets(std::string_view text) {
    if (text.size() < 4 || text.front() != '[' || text.back() != ']') return false;
    const std::string_view inner = text.substr(1, text.size() - 2);
    return inner.find(':') != std::string_view::npos && std::all_of(inner.begin(), inner.end(), [](char c) {
               return hexValue(c) >= 0 || c == ':' || c == '.' || c == 'v' || c == 'V';
           });
}

/// What stands between "//" and the path, the query or the fragment.
std::optional<std::string_view> authorityOf(std::string_view url) {
    const auto delimiter = url.find_first_of(":/?#");
    if (delimiter != std::string_view::npos && url[delimiter] == ':') {
        if (!isScheme(url.substr(0, delimiter))) return std::nullopt;
        url.remove_prefix(delimiter + 1);
    }
    if (url.substr(0, 2) != "//") return std::nullopt;
    url.remove_prefix(2);
    return url.substr(0, url.find_first_of("/?#"));
}

std::optional<std::string_view> hostOf(std::string_view authority) {
    if (const auto at = authority.find('@'); at != std::string_view::npos) {
        if (!isName(authority.substr(0, at), ":")) return std::nullopt;
        authority.remove_prefix(at + 1);
    }
    const auto bracket = authority.rfind(']');
    const auto colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    if (colon != std::string_view::npos) {
        const std::string_view port = authority.substr(colon + 1);
        if (!std::all_of(port.begin(), port.end(), isDigit)) return std::nullopt;
        authority = authority.substr(0, colon);
    }
    if (!isAddressInBrackets(authority) && !isName(authority, "")) return std::nullopt;
    return authority;
}

std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!isEscape(text, i)) {
            plain += text[i];
            continue;
        }
        plain += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
        i += 2;
    }
    return plain;
}

bool isReadable(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }) &&
           Graphemes::validUTF8(text) == text;
}

/// "xn--mller-kva.de" is shown, excluded and looked for as "müller.de"; what can't be decoded stays as it is.
icu::UnicodeString international(const icu::UnicodeString& host) {
    static const std::unique_ptr<const icu::IDNA> idna = [] {
        UErrorCode error = U_ZERO_ERROR;
        return std::unique_ptr<const icu::IDNA>(
            icu::IDNA::createUTS46Instance(UIDNA_NONTRANSITIONAL_TO_UNICODE, error));
    }();
    if (!idna) return host;
    UErrorCode error = U_ZERO_ERROR;
    icu::IDNAInfo info;
    icu::UnicodeString decoded;
    idna->nameToUnicode(host, decoded, info, error);
    return U_SUCCESS(error) != 0 && !info.hasErrors() ? decoded : host;
}

} // namespace

std::optional<std::string> host(std::optional<std::string_view> url) {
    if (!url) return std::nullopt;
    const auto authority = authorityOf(*url);
    const auto written = authority ? hostOf(*authority) : std::nullopt;
    if (!written || written->empty()) return std::nullopt;
    const std::string plain = unescaped(*written);
    if (!isReadable(plain)) return std::nullopt;

    icu::UnicodeString name = icu::UnicodeString::fromUTF8(plain).toLower(icu::Locale::getRoot());
    if (name.indexOf(u"xn--") >= 0) name = international(name);
    std::string host;
    name.toUTF8String(host);
    constexpr std::string_view usual = "www.";
    if (std::string_view(host).substr(0, usual.size()) == usual) host.erase(0, usual.size());
    return host;
}

} // namespace nomara::WebAddress
