#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// Lists of websites and of applications as people write them: in the settings file, on the command line, on a screen.
/// Entries stand between commas, semicolons, spaces or line breaks, with or without quotes, or as a JSON list. Of a
/// pasted address the host counts. Pure.
namespace ListText {

enum class Kind { sites, applications };

struct Reading {
    std::vector<std::string> entries; ///< each once, as they are compared
    std::string problem;              ///< why it can't be read, as a clause; empty where it can
};

/// All of it or nothing: a list says what must not be recorded, so a part of it is no answer.
Reading parse(std::string_view text, Kind kind);

/// How a list is stored: reads back as the same entries.
std::string print(const std::vector<std::string>& entries);

/// How entries are compared with each other.
std::string folded(std::string_view entry, Kind kind);

} // namespace ListText

} // namespace nomara
