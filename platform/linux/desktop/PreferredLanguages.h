#pragma once

#include <functional>
#include <string>
#include <vector>

namespace nomara {

/// The languages that the user has told the session to speak. Callable from any thread.
namespace PreferredLanguages {

/// Gives a variable's value, empty where it isn't set.
using Environment = std::function<std::string(const char* name)>;

/// Codes such as "tr-TR" or "tr", the dearest first, each once: those of the list in LANGUAGE, then those of LC_ALL,
/// LC_MESSAGES and LANG, since who has programs speak English may well read another language in them. Names of no
/// language, as "C" is, are left out.
std::vector<std::string> of(const Environment& environment);
/// Those of this process.
std::vector<std::string> current();

} // namespace PreferredLanguages

} // namespace nomara
