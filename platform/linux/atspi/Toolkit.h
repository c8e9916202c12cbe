#pragma once

#include "platform/linux/atspi/Roles.h"

#include <string_view>

namespace nomara::atspi {

/// How one tells whether a toolkit shows the text of an editable line, or hides it behind dots. Each but the first has
/// been seen to hold in programs of that toolkit.
enum class FieldText {
    unproven,        ///< only a picture tells
    hiddenHasRole,   ///< hidden text is a password field's, by its role
    editableHasRole, ///< the same, but only of fields that take text from others too
    displayed,       ///< a hidden field may be called an ordinary one; asked what it displays, it gives dots
};

/// Which programs of a toolkit show pages that have an address.
enum class Pages {
    any,
    withWebKit, ///< those alone that have loaded this engine
    none,
};

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
    Pages pages = Pages::any;
    FieldText fieldText = FieldText::unproven;
    /// A question takes its programs some hundred times as long as others, and memory that they don't give back. They
    /// are asked about their windows and about what has the focus, and nothing below.
    bool isSlow = false;

    static constexpr Toolkit named(std::string_view name) {
        if (name == "Gecko")
            return {.kind = Kind::gecko,
                    .writesInline = true,
                    .showingIsInView = true,
                    .findsShownChildren = true,
                    .findsAtPoint = true,
                    .fieldText = FieldText::hiddenHasRole};
        if (name == "Chromium")
            return {.kind = Kind::chromium,
                    .writesInline = true,
                    .repeatsText = true,
                    .showingIsInView = true,
                    .everythingHasText = true,
                    .findsShownChildren = true,
                    .findsAtPoint = true,
                    .fieldText = FieldText::hiddenHasRole};
        if (name == "gtk") return {.pages = Pages::withWebKit, .fieldText = FieldText::hiddenHasRole}; // GTK 2 and 3
        if (name == "GTK") return {.pages = Pages::withWebKit, .fieldText = FieldText::displayed};     // GTK 4
        if (name == "Qt") return {.findsAtPoint = true, .pages = Pages::none, .fieldText = FieldText::hiddenHasRole};
        // Swing's fields take text from others, AWT's don't.
        if (name == "J2SE-access-bridge")
            return {.pages = Pages::none, .fieldText = FieldText::editableHasRole, .isSlow = true};
        if (name == "VCL") return {.pages = Pages::none, .fieldText = FieldText::hiddenHasRole};
        return {};
    }

    /// What WebKit puts around a page never says that it shows; the page does.
    bool mayShowSilently(Role role) const {
        return pages == Pages::withWebKit && (role == Role::filler || role == Role::scrollPane);
    }
    bool hasText(Role role) const { return everythingHasText && !isPicture(role); }
};

} // namespace nomara::atspi
