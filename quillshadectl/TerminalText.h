#pragma once

#include "core/records/Frames.h"

#include <string>
#include <string_view>
#include <vector>

namespace nomara::ctl {

/// Stored text made fit for a terminal: it comes from windows and pages that anyone may have written, so no control
/// character, escape sequence, text-direction override or broken UTF-8 in it gets through. Pure.
namespace TerminalText {

/// Tabs and line breaks become spaces, whatever could steer a terminal U+FFFD.
std::string singleLine(std::string_view text);
/// The same with tabs and line breaks kept, the latter as line feeds.
std::string lines(std::string_view text);

/// How a stretch of text looks, as the parameters of an SGR sequence.
namespace Look {
constexpr std::string_view plain;
constexpr std::string_view title = "1";
constexpr std::string_view aside = "2";
constexpr std::string_view address = "36";
constexpr std::string_view match = "1;31";
} // namespace Look

/// The text as a single line in that look; bare where `colored` is false.
std::string styled(std::string_view text, std::string_view look, bool colored);
/// The same with stretches of it marked, given in characters, ascending and not overlapping.
std::string marked(std::string_view text, const std::vector<CharacterRange>& ranges, std::string_view look,
                   bool colored);
/// The same as lines of at most `columns` characters, each with `indent` in front and a line feed behind, broken at
/// spaces where there are any; one line where `columns` leaves no room for words.
std::string wrapped(std::string_view text, const std::vector<CharacterRange>& ranges, bool colored,
                    std::string_view indent, std::int64_t columns);

} // namespace TerminalText

} // namespace nomara::ctl
