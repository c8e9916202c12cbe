#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// The two questions of text on which every decision about browser windows stands. Both compare folded text, so that
/// case, accents and the Turkish letters I make no difference. Pure; callable from any thread.
namespace PrivacyRules {

/// Whether a title announces a private window. Absent or empty: no.
bool isPrivateTitle(std::optional<std::string_view> title);

/// Whether an address falls under one of the user's entries: as its host, a domain above it, or simply as a piece of
/// the host or of the whole address. Blank entries count for nothing; an absent address is never excluded here, and
/// whoever asks decides what not knowing means.
bool isExcludedSite(std::optional<std::string_view> url, const std::vector<std::string>& sites);

} // namespace PrivacyRules

} // namespace nomara
