#pragma once

#include "core/imaging/Image.h"

#include <string>
#include <vector>

namespace nomara::bench {

/// The pictures of a video that FFmpeg can read, at most so many; those of generated pages where `path` is empty. All
/// have one size. Ends the process with a message where the video can't be read.
std::vector<Image> screenFrames(const std::string& path, std::size_t most);

/// What a shell takes as one word.
std::string quoted(const std::string& text);

} // namespace nomara::bench
