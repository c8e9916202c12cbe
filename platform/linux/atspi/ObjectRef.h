#pragma once

#include "platform/Accessibility.h"

#include <optional>
#include <string>
#include <string_view>

namespace nomara::atspi {

/// Where an object of a program's accessibility tree is spoken to: the program's unique name on the accessibility bus
/// and a path within it.
struct ObjectRef {
    std::string bus;
    std::string path;

    /// Whether it names an object at all; programs answer with a null object where there is none.
    bool isNull() const { return bus.empty() || path.empty() || path == "/org/a11y/atspi/null"; }
    friend bool operator==(const ObjectRef&, const ObjectRef&) = default;
};

/// A unique name holds no slash and a path starts with one, so the two are simply written together.
inline AccessibleElement elementOf(const ObjectRef& object) {
    return {object.bus + object.path};
}

inline std::optional<ObjectRef> objectOf(const AccessibleElement& element) {
    const auto slash = element.reference.find('/');
    if (slash == std::string::npos || slash == 0) return std::nullopt;
    return ObjectRef{element.reference.substr(0, slash), element.reference.substr(slash)};
}

} // namespace nomara::atspi
