#include "platform/linux/atspi/BrowserRules.h"

#include "core/privacy/LinuxPrivateWindows.h"
#include "core/privacy/PrivacyRules.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"
#include "platform/linux/atspi/DocumentFinder.h"

#include <algorithm>
#include <array>

namespace nomara::atspi {

namespace {

// Folded already.
constexpr std::array<std::string_view, 11> privatePhrases{
    "incognito",     "inprivate",   "private browsing", "private window", "gizli",        "gizli pencere",
    "gizli gezinti", "ozel tarama", "ozel dolasma",     "ozel dolasim",   "ozel pencere",
};
constexpr std::array<std::string_view, 5> addressWords{"address", "adres", "url", "location", "konum"};

// Browsers that are known to write a private window's mark behind the product in the window's name, in brackets and in
// every language that they speak, or into the product's place. Of others an unmarked name proves nothing.
constexpr std::array<std::string_view, 4> chromiumProducts{"Chromium", "Google Chrome", "Brave", "Microsoft Edge"};
constexpr std::array<std::string_view, 4> channels{"", " Beta", " Dev", " Canary"};
// Those that name the user's profile behind the product, where there are several.
constexpr std::array<std::string_view, 2> productsWithProfiles{"Chromium", "Google Chrome"};
constexpr std::array<std::string_view, 7> dashes{" - ", " -- ",          " \u2013 ",     " \u2014 ",
                                                 ": ",  "\u00A0\u2013 ", "\u00A0\u2014 "};
// "{page} — Mozilla Firefox"; a private window has more words before or behind the brand.
constexpr std::array<std::string_view, 7> geckoBrands{
    "Mozilla Firefox", "Firefox Developer Edition", "Firefox Nightly", "LibreWolf", "Waterfox", "Floorp",
    "Zen Browser"};
constexpr std::array<std::string_view, 4> closingBrackets{")", "]", "\uFF09", "\u3011"};

template <typename Texts>
bool matchesAny(std::string_view label, const Texts& phrases) {
    return std::any_of(phrases.begin(), phrases.end(), [&](std::string_view phrase) {
        if (label.size() <= phrase.size()) return label == phrase;
        return (label.starts_with(phrase) && label[phrase.size()] == ' ') ||
               (label.ends_with(phrase) && label[label.size() - phrase.size() - 1] == ' ');
    });
}

template <typename Texts>
bool endsWithAny(std::string_view text, const Texts& endings) {
    return std::any_of(endings.begin(), endings.end(), [&](std::string_view end) { return text.ends_with(end); });
}

std::string foldedLabel(const Wording& words) {
    std::string label;
    for (const std::string* part : {&words.description, &words.name, &words.help}) {
        if (part->empty()) continue;
        if (!label.empty()) label += ' ';
        label += *part;
    }
    return TextNormalizer::normalize(label);
}

std::string_view attribute(const Attributes& attributes, const char* key) {
    const auto found = attributes.find(key);
    return found == attributes.end() ? std::string_view() : std::string_view(found->second);
}

/// What Gecko shows in private windows alone, by names that are alike in every language. A profile in which every
/// window is private has the button only.
bool isGeckoMark(const Attributes& attributes) {
    for (const char* key : {"class", "id"})
        if (attribute(attributes, key).find("private-browsing-indicator") != std::string_view::npos) return true;
    return attribute(attributes, "id") == "reset-pbm-toolbar-button";
}

bool isField(Role role) {
    return role == Role::entry || role == Role::comboBox || role == Role::editBar || role == Role::autocomplete ||
           role == Role::text;
}

/// What stands behind the last " - PRODUCT" of a name; absent where the product isn't named.
std::optional<std::string_view> behindProduct(std::string_view name, std::string_view product) {
    const auto at = name.rfind(product);
    if (at == std::string_view::npos) return std::nullopt;
    if (at > 0 && !endsWithAny(name.substr(0, at), dashes)) return std::nullopt;
    return name.substr(at + product.size());
}

bool isGeckoName(std::string_view name) {
    return std::any_of(geckoBrands.begin(), geckoBrands.end(),
                       [&](std::string_view brand) { return behindProduct(name, brand) == ""; });
}

bool isChromiumName(std::string_view name, const std::vector<std::string>& pageTitles) {
    // A window without tabs is named like its page, and a private one has its mark behind that.
    if (std::find(pageTitles.begin(), pageTitles.end(), name) != pageTitles.end()) return true;
    return std::any_of(chromiumProducts.begin(), chromiumProducts.end(), [&](std::string_view product) {
        const auto behind = behindProduct(name, product);
        if (!behind) return false;
        if (std::find(channels.begin(), channels.end(), *behind) != channels.end()) return true;
        return std::find(productsWithProfiles.begin(), productsWithProfiles.end(), product) !=
                   productsWithProfiles.end() &&
               std::any_of(dashes.begin(), dashes.end(),
                           [&](std::string_view dash) { return behind->starts_with(dash); }) &&
               !endsWithAny(*behind, closingBrackets);
    });
}

} // namespace

void BrowserFindings::take(const Element& element) {
    if (element.depth == 0) m_title = element.words.name;
    if (element.depth <= deepestMark) {
        const std::string label = foldedLabel(element.words);
        if (!label.empty() && BrowserRules::isPrivateLabel(label)) m_private = true;
        if (element.depth == 0 && PrivacyRules::isPrivateTitle(m_title)) m_private = true;
        if (isGeckoMark(element.attributes)) m_private = true;
    }
    if (isAddressField(element)) m_fieldSeen = true;
}

void BrowserFindings::fail(int depth) {
    if (depth <= deepestMark) ++m_failures;
}

bool BrowserFindings::isAddressField(const Element& element) const {
    if (!isField(element.role)) return false;
    switch (m_kind) {
    case Toolkit::Kind::gecko:
        return attribute(element.attributes, "id") == "urlbar-input";
    case Toolkit::Kind::chromium:
        // Chromium has a tool bar with one field in it; a page's search bar stands elsewhere.
        if (element.inToolBar) return true;
        break;
    case Toolkit::Kind::other:
        break;
    }
    return BrowserRules::isAddressLabel(foldedLabel(element.words));
}

void BrowserFindings::takeTyped(const std::string& content) {
    if (m_typed.empty() && !Graphemes::trimmed(content).empty()) m_typed = content;
}

void BrowserFindings::takePage(const std::string& title, const std::optional<std::string>& address) {
    m_pages.push_back({title, address});
}

BrowserFacts BrowserFindings::facts(bool finished) const {
    BrowserFacts facts;
    facts.privateMarker = m_private;
    // That no mark was found proves something only where it would have been found: the controls are there, and the
    // window has a normal one's name.
    facts.markerKnown = m_private || (finished && m_failures == 0 && m_fieldSeen && titleIsOfNormalWindow());
    if (finished) facts.url = address();
    return facts;
}

bool BrowserFindings::titleIsOfNormalWindow() const {
    std::vector<std::string> titles;
    for (const Page& page : m_pages)
        titles.push_back(page.title);
    return BrowserRules::isNormalName(m_title, m_kind, titles);
}

/// Of two pages beside each other either could be the one that must not be recorded, and so could one that doesn't
/// tell its address: then there is no answer.
std::optional<std::string> BrowserFindings::address() const {
    std::optional<std::string> web, own;
    bool isOneSilent = false;
    for (const Page& page : m_pages) {
        if (!page.address) {
            isOneSilent = true;
            continue;
        }
        auto& kind = isBrowsersOwnAddress(*page.address) ? own : web;
        if (&kind == &web && web && *web != *page.address) return std::nullopt;
        if (!kind) kind = page.address;
    }
    if (web) return isOneSilent ? std::nullopt : web;
    if (own) return own;
    if (m_typed.empty()) return std::nullopt;
    if (m_typed.find("://") != std::string::npos) return m_typed;
    return (m_typed.front() == '/' ? "file://" : "https://") + m_typed;
}

namespace BrowserRules {

bool isPrivateLabel(std::string_view folded) {
    return folded == "private" || matchesAny(folded, privatePhrases) ||
           matchesAny(folded, LinuxPrivateWindows::controlLabels());
}

bool isAddressLabel(std::string_view folded) {
    return std::any_of(addressWords.begin(), addressWords.end(),
                       [&](std::string_view word) { return folded.find(word) != std::string_view::npos; });
}

bool isNormalName(std::string_view name, Toolkit::Kind kind, const std::vector<std::string>& pageTitles) {
    if (Graphemes::trimmed(name).empty()) return false;
    switch (kind) {
    case Toolkit::Kind::chromium:
        return isChromiumName(name, pageTitles);
    case Toolkit::Kind::gecko:
        return isGeckoName(name);
    case Toolkit::Kind::other:
        break;
    }
    return false;
}

} // namespace BrowserRules

} // namespace nomara::atspi
