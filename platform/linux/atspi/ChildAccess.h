#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

namespace nomara::atspi {

/// By which questions the children of an object can be found at a cost to its program that is known beforehand.
enum class ChildAccess {
    none,    ///< there are none
    all,     ///< few enough to name them all
    shown,   ///< the program may be asked for those that show
    atPoint, ///< by what lies at points of the screen: the program finds that without looking at all children
    tooMany, ///< any question about them could keep the program busy for long
};

/// Naming a child makes an object in the program that may live as long as the program does.
inline constexpr std::int32_t mostListedChildren = 256;
/// Where there is no other way it may be this many.
inline constexpr std::int32_t mostChildrenOfBox = 1000;
/// Looking at one child, without naming it, takes a browser some microseconds.
inline constexpr std::int32_t mostExaminedChildren = 5000;

/// Pure. `count` is what the program says; some say -1, or the greatest integer.
constexpr ChildAccess childAccess(std::int32_t count, bool managesDescendants, const Toolkit& toolkit) {
    if (count == 0) return ChildAccess::none;
    if (count < 0) return ChildAccess::tooMany;
    if (toolkit.findsShownChildren && count <= mostExaminedChildren) return ChildAccess::shown;
    if (count <= mostListedChildren) return ChildAccess::all;
    // What draws its children itself knows which one lies where; others look through their list of children, some of
    // them through the whole list for each child.
    if (managesDescendants || toolkit.findsAtPoint) return ChildAccess::atPoint;
    return count <= mostChildrenOfBox ? ChildAccess::all : ChildAccess::tooMany;
}

} // namespace nomara::atspi
