#pragma once

#include "core/records/Frames.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// Makes the short excerpt of a result, with the matching stretches marked, from a frame's stored text.
/// Pure; callable from any thread. Text is UTF-8, lengths and offsets count extended grapheme clusters.
namespace SnippetBuilder {

/// An excerpt of at most `maxLength` characters, ellipses aside: from the best matching line of `body`, else from the
/// title or the address, else the first line that says anything. Costs a pass over the body, so it is for results that
/// are shown, not for candidates.
Snippet build(std::string_view body, const std::optional<std::string>& title, const std::optional<std::string>& url,
              const std::vector<std::string>& terms, std::int64_t maxLength);

/// Every occurrence of every term in the line, ascending by start. `terms` are folded and stand longest first: a longer
/// one claims its stretch before a shorter one can. A character that folds to two may belong to two neighbours.
std::vector<CharacterRange> highlightRanges(std::string_view line, const std::vector<std::string>& terms);

} // namespace SnippetBuilder

} // namespace nomara
