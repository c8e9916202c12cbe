#include "core/privacy/PrivacyRules.h"

#include "core/privacy/LinuxPrivateWindows.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"
#include "core/text/WebAddress.h"

#include <algorithm>
#include <array>

namespace nomara::PrivacyRules {

namespace {

// Folded already.
constexpr std::array<std::string_view, 3> privateTitleSuffixes{"(incognito)", "(gizli)", "(private)"};
constexpr std::array<std::string_view, 15> privateTitleMarkers{
    "private browsing", "incognito",         "inprivate",          "private window",
    "gizli pencere",    "gizli sekme",       "ozel tarama",        "ozel pencere",
    "privates fenster", "navigation privee", "navegacion privada", "navigazione in incognito",
    "gizli gezinti",    "ozel dolasma",      "ozel dolasim",
};

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

template <typename Texts>
bool endsWithAny(std::string_view text, const Texts& suffixes) {
    return std::any_of(suffixes.begin(), suffixes.end(),
                       [&](std::string_view suffix) { return text.ends_with(suffix); });
}

template <typename Texts>
bool containsAny(std::string_view text, const Texts& parts) {
    return std::any_of(parts.begin(), parts.end(), [&](std::string_view part) { return contains(text, part); });
}

} // namespace

bool isPrivateTitle(std::optional<std::string_view> title) {
    if (!title || title->empty()) return false;
    const std::string folded = TextNormalizer::normalize(*title);
    return endsWithAny(folded, privateTitleSuffixes) || containsAny(folded, privateTitleMarkers) ||
           endsWithAny(folded, LinuxPrivateWindows::titleEndings()) ||
           containsAny(folded, LinuxPrivateWindows::titleMarkers());
}

bool isExcludedSite(std::optional<std::string_view> url, const std::vector<std::string>& sites) {
    if (sites.empty()) return false;
    const std::string host = TextNormalizer::normalize(WebAddress::host(url).value_or(""));
    const std::string address = TextNormalizer::normalize(url.value_or(""));
    return std::any_of(sites.begin(), sites.end(), [&](const std::string& entry) {
        const std::string site = TextNormalizer::normalize(Graphemes::trimmed(entry));
        if (site.empty()) return false;
        const bool hostMatches = host == site || host.ends_with("." + site) || contains(host, site);
        return (!host.empty() && hostMatches) || contains(address, site);
    });
}

} // namespace nomara::PrivacyRules
