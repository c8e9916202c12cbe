#pragma once

#include <string>
#include <string_view>

namespace nomara {

enum class LogCategory { app, capture, storage, ocr, ai };

/// Background failures go to the standard error stream, from where the journal of the session keeps them.
/// Callable from any thread. What was on the screen is never logged.
namespace Log {

void error(LogCategory category, std::string_view message);
/// A change of state worth knowing when something was expected and didn't happen.
void notice(LogCategory category, std::string_view message);

} // namespace Log

} // namespace nomara
