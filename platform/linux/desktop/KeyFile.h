#pragma once

#include <string_view>

namespace nomara {

/// Files of groups with keys, as desktop entries and lists of associations are. Nothing in them is taken for granted.
namespace KeyFile {

inline std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Calls `body(group, key, value)` for each line with a key, in order; what stands before the first group has none.
template <typename Body>
void forEachKey(std::string_view text, Body body) {
    std::string_view group;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            group = line;
            continue;
        }
        const auto equals = line.find('=');
        if (equals != std::string_view::npos)
            body(group, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
    }
}

/// Calls `body` with each piece between semicolons; empty ones are passed over.
template <typename Body>
void forEachPiece(std::string_view list, Body body) {
    while (!list.empty()) {
        const auto end = list.find(';');
        if (const auto piece = trimmed(list.substr(0, end)); !piece.empty()) body(piece);
        list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
    }
}

} // namespace KeyFile

} // namespace nomara
