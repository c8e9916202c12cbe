#include "core/text/LineSplitter.h"

#include "core/base/Hash.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <unordered_set>

namespace nomara::LineSplitter {

namespace {

struct CleanLine {
    std::string text;
    std::int64_t characters = 0;
};

constexpr std::string_view nul("\0", 1);

CleanLine clean(std::string_view piece) {
    CleanLine line;
    line.text.reserve(piece.size());
    bool spacePending = false;
    for (const std::string_view character : Graphemes::split(piece)) {
        if (character == nul) continue; // nothing anybody sees
        if (Graphemes::isWhiteSpace(character)) {
            spacePending = true;
            continue;
        }
        if (spacePending && !line.text.empty()) {
            line.text += ' ';
            ++line.characters;
        }
        spacePending = false;
        line.text += character;
        ++line.characters;
    }
    return line;
}

} // namespace

std::vector<std::string> lines(std::string_view text, std::int64_t maxCharacters, std::int64_t maxLines) {
    std::vector<std::string> result;
    std::unordered_set<std::uint64_t> seen;
    if (maxLines <= 0) return result;
    for (const std::string_view piece : split(Graphemes::prefix(text, maxCharacters))) {
        CleanLine line = clean(piece);
        if (line.characters < 2) continue; // a single letter on a line carries nothing
        if (!seen.insert(fnv1a(TextNormalizer::normalize(line.text))).second) continue;
        result.push_back(std::move(line.text));
        if (static_cast<std::int64_t>(result.size()) >= maxLines) break;
    }
    return result;
}

// Scalars do instead of clusters: the only break characters that join another are CR and LF, and the empty piece
// between them is left out.
std::vector<std::string_view> split(std::string_view text) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    const auto endPiece = [&](std::size_t end, std::size_t breakLength) {
        if (end > start) pieces.push_back(text.substr(start, end - start));
        start = end + breakLength;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte >= 0x0A && byte <= 0x0D) {
            endPiece(i, 1);
        } else if (byte == 0xC2 && text.substr(i, 2) == "\u0085") {
            endPiece(i, 2);
        } else if (byte == 0xE2 && (text.substr(i, 3) == "\u2028" || text.substr(i, 3) == "\u2029")) {
            endPiece(i, 3);
        }
    }
    endPiece(text.size(), 0);
    return pieces;
}

} // namespace nomara::LineSplitter
