#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// The folding with which index, query, privacy rules and project names compare alike: case, diacritics and character
/// width go away, and the Turkish dotted and dotless I become plain "i" in every locale.
/// Pure; callable from any thread. Text is UTF-8; bytes that aren't become U+FFFD.
namespace TextNormalizer {

std::string normalize(std::string_view text);
/// The words of the folded text: what stands between characters that are neither letters nor numbers. A word never
/// holds a quotation mark, an operator or any other punctuation.
std::vector<std::string> tokens(std::string_view text);
/// One character folded by itself; usually one character, sometimes more or none.
std::string foldCharacter(std::string_view character);
/// FNV-1a of the UTF-8 bytes. Callers that want a folded hash normalise first.
std::uint64_t fingerprint(std::string_view text);

} // namespace TextNormalizer

} // namespace nomara
