#pragma once

#include <string>
#include <vector>

namespace nomara {

/// How the browsers of Linux mark a private window, in the languages they come in. The lists are written as people see
/// the words and handed out folded. Immutable; callable from any thread.
namespace LinuxPrivateWindows {

/// Words at the very end of a title. A single word is told from ordinary text by the brackets around it.
const std::vector<std::string>& titleEndings();

/// Phrases that mark a title wherever they stand: too long to meet by chance.
const std::vector<std::string>& titleMarkers();

/// What the browser's own buttons and labels say. A label counts if it is one of these, or begins or ends with one and
/// a blank.
const std::vector<std::string>& controlLabels();

} // namespace LinuxPrivateWindows

} // namespace nomara
