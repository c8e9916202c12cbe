#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nomara {

/// How a setting stands in a file that knows texts alone, and when such a text can be read as another type. People edit
/// these files: surrounding white space and quotes, and the case of a yes or no, don't matter. What can't be read is
/// absent.
namespace PreferenceText {

std::optional<bool> toBoolean(std::string_view text); ///< true, yes, 1; false, no, 0
std::optional<std::int64_t> toInteger(std::string_view text);
std::optional<double> toReal(std::string_view text); ///< finite ones only
/// Without white space and a pair of quotes around it.
std::string_view bare(std::string_view text);

std::string fromBoolean(bool value);
std::string fromInteger(std::int64_t value);
std::string fromReal(double value); ///< reads back as exactly the same number

/// How keys are compared: without case, hyphens and underscores.
std::string foldedKey(std::string_view key);

} // namespace PreferenceText

} // namespace nomara
