#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nomara {

/// What an address says about where it leads. Pure; safe on any bytes; callable from any thread.
namespace WebAddress {

/// The host of a URL: lower case, percent and international (punycode) forms decoded, without one leading "www.".
/// Nothing for an absent URL, one without a host, or one whose scheme, user, host or port isn't well formed: where two
/// readers could disagree about the host, there is none. What follows the host may be anything, as it is in the
/// addresses that browsers show.
std::optional<std::string> host(std::optional<std::string_view> url);

} // namespace WebAddress

} // namespace nomara
