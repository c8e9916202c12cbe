#pragma once

#include <string_view>

namespace nomara {

/// Whether somebody who wrote one word may have meant another.
namespace Spelling {

/// They differ by a letter or two that are missing, too many, or others, and in words of less than five letters by
/// none.
bool isClose(std::string_view written, std::string_view meant);

} // namespace Spelling

} // namespace nomara
