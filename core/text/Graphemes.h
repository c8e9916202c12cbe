#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// Text as people count it: extended grapheme clusters of UTF-8. A byte that isn't UTF-8 is a cluster of its own.
/// Pure; callable from any thread.
namespace Graphemes {

std::int64_t count(std::string_view text);
/// The first, or last, `characters` clusters; all of the text if it has fewer.
std::string_view prefix(std::string_view text, std::int64_t characters);
std::string_view suffix(std::string_view text, std::int64_t characters);
/// Every cluster, as views into `text`.
std::vector<std::string_view> split(std::string_view text);

/// The first scalar of a cluster; U+FFFD where the bytes aren't UTF-8.
char32_t firstScalar(std::string_view cluster);
/// Unicode White_Space, by the first scalar.
bool isWhiteSpace(std::string_view cluster);
/// U+000A to U+000D, U+0085, U+2028, U+2029, by the first scalar.
bool isLineBreak(std::string_view cluster);

/// Without the white space and line breaks at both ends.
std::string_view trimmed(std::string_view text);
/// Without the scalars at both ends for which `isOuter` holds. Bytes that aren't UTF-8 end the trimming.
std::string_view trimmed(std::string_view text, const std::function<bool(char32_t)>& isOuter);
/// The text with every byte that isn't UTF-8 replaced by U+FFFD, and without NUL, at which others would cut it.
std::string validUTF8(std::string_view text);

} // namespace Graphemes

} // namespace nomara
