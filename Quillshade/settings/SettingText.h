#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace nomara {

/// The bounds of what people write into settings, and how messages quote it. Pure.
namespace SettingText {

// Far beyond what anybody means, and little enough that reading and comparing it takes no time.
constexpr std::size_t maxBytes = 262'144;
constexpr std::size_t maxEntries = 5'000; ///< of a list
constexpr std::size_t maxEntryBytes = 2'048;
constexpr std::int64_t maxDays = 36'500;
constexpr std::int64_t maxGigabytes = 1'000'000;

/// Why this is no text for any setting, as a clause; empty where it may be one.
std::string problem(std::string_view text);
/// Why this can't be an entry of a list, or a name; empty where it may be one.
std::string entryProblem(std::string_view entry);

/// In quotes and on one line, the beginning of a long one; what wouldn't be seen is written as an escape.
std::string inQuotes(std::string_view text);

} // namespace SettingText

} // namespace nomara
