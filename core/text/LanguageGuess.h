#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// Which languages a text is in, by its letters and by the small words that every sentence has. Knows those that are
/// common on screens; text without sentences, as in tables and code, is in none. Pure; callable from any thread.
namespace LanguageGuess {

/// Codes of two letters, the likeliest first; empty where there are too few signs. Also of text that was read with the
/// data of another language: of its small words many are right.
std::vector<std::string> of(std::string_view text);

} // namespace LanguageGuess

} // namespace nomara
