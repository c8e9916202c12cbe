#pragma once

#include "platform/linux/atspi/Roles.h"

#include <string_view>

namespace nomara::atspi {

/// What can be relied upon in the trees of one toolkit. A browser answers some ten thousand questions a second, so what
/// is known need not be asked. An unknown toolkit is relied upon for nothing.
struct Toolkit {
    /// Those whose browsers' own controls are known as well.
    enum class Kind { other, gecko, chromium } kind = Kind::other;
    /// Text stands in the objects around it, with a mark in place of each child.
    bool writesInline = false;
    /// Text objects repeat what stands in the object around them, and have no mark there.
    bool repeatsText = false;
    /// What is scrolled out of view isn't showing, so an object's place tells nothing more.
    bool showingIsInView = false;
    /// Every object but a picture has text, and offsets past its end are taken for the end.
    bool everythingHasText = false;
    /// Answers which of an object's own children show, and takes about as long for it as there are children.
    bool findsShownChildren = false;
    /// Finds what lies at a point without looking at every child of what lies around it.
    bool findsAtPoint = false;
    /// Some of its programs show pages that have an address.
    bool mayShowPages = true;

    static constexpr Toolkit named(std::string_view name) {
        if (name == "Gecko")
            return {.kind = Kind::gecko,
                    .writesInline = true,
                    .showingIsInView = true,
                    .findsShownChildren = true,
                    .findsAtPoint = true};
        if (name == "Chromium")
            return {.kind = Kind::chromium,
                    .writesInline = true,
                    .repeatsText = true,
                    .showingIsInView = true,
                    .everythingHasText = true,
                    .findsShownChildren = true,
                    .findsAtPoint = true};
        if (name == "Qt") return {.findsAtPoint = true, .mayShowPages = false};
        if (name == "VCL") return {.mayShowPages = false};
        return {};
    }

    bool hasText(Role role) const { return everythingHasText && !isPicture(role); }
};

} // namespace nomara::atspi
