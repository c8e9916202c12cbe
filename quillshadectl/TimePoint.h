#pragma once

#include "core/base/Date.h"

#include <optional>
#include <string>
#include <string_view>

namespace nomara::ctl {

/// Points in time as people write and read them in a terminal, in the time zone of the process. Pure.
namespace TimePoint {

/// Which end of a day, a minute or a second a text stands for: "--until today" includes today.
enum class Bound { from, until };

/// A stretch before `now` ("90s", "90m", "24h", "7d", "2w"), a day ("2026-11-01", "today", "yesterday"), a time of
/// today ("14:05") or a time of a day ("2026-11-01 14:05", "2026-11-01T14:05:30"). Absent for anything else.
std::optional<Date> parse(std::string_view text, Bound bound, Date now);

/// "Today 14:03", "Yesterday 14:03" or "2026-11-01 14:03".
std::string label(Date date, Date now);
/// "2026-11-01 14:03:22".
std::string exact(Date date);

} // namespace TimePoint

} // namespace nomara::ctl
