#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// Turns raw text into clean, distinct lines. Pure; callable from any thread.
namespace LineSplitter {

/// Lines of the first `maxCharacters` characters: trimmed, runs of white space inside as one space, shorter than two
/// characters dropped, each once by its folded form, at most `maxLines`.
std::vector<std::string> lines(std::string_view text, std::int64_t maxCharacters, std::int64_t maxLines);

/// The pieces between line breaks, as views into `text`, empty ones left out.
std::vector<std::string_view> split(std::string_view text);

} // namespace LineSplitter

} // namespace nomara
