#pragma once

#include "core/records/Frames.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace nomara::ctl {

/// JSON as the program prints it: valid UTF-8 whatever was stored, members in the order in which they were added, and
/// no raw control characters.
using Json = nlohmann::ordered_json;

namespace JsonText {

Json text(const std::string& text);
Json text(const std::optional<std::string>& text);
/// `id`, `timestamp` (seconds since 1970), `appBundleID`, `appName`, `windowTitle` and `url`.
Json frame(const FrameSummary& frame);

/// One element a line.
void printArray(std::ostream& out, const std::vector<Json>& elements);
void printObject(std::ostream& out, const Json& object);

} // namespace JsonText

} // namespace nomara::ctl
