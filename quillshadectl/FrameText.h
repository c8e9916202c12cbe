#pragma once

#include "quillshadectl/Commands.h"

#include <string>
#include <vector>

namespace nomara::ctl {

/// How one frame stands in a list for people.
namespace FrameText {

/// "#1234  Today 14:03  Firefox · Release notes  ×4": number, time, application, title and, where it is more than one,
/// how many frames the row stands for; without a line feed. `terms`, folded and longest first, are marked in the title.
std::string heading(const Context& context, const FrameSummary& frame, std::int64_t count,
                    const std::vector<std::string>& terms = {});

/// "12,345".
std::string grouped(std::int64_t number);
/// "12.3 MB".
std::string bytes(std::int64_t count);

} // namespace FrameText

} // namespace nomara::ctl
