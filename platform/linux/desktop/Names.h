#pragma once

#include <string>
#include <string_view>

namespace nomara {

/// Names of programs, as they are compared. ASCII alone is lowered: nothing else stands in such names.
namespace Names {

inline std::string lowered(std::string_view name) {
    std::string result(name);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return result;
}

inline std::string baseName(std::string_view path) {
    const auto slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

} // namespace Names

} // namespace nomara
