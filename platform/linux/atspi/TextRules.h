#pragma once

#include "platform/Accessibility.h"
#include "platform/linux/atspi/Roles.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace nomara::atspi {

/// One showing object of a window, as far as it was read.
struct TextNode {
    int parent = -1; ///< index of an earlier node; -1 for the first one
    Role role{};
    std::optional<Rect> rect;        ///< screen coordinates
    bool failed = false;             ///< its attributes could not be read: left out with all below it
    std::string language{};          ///< of a document, as it says; empty where it doesn't
    bool isPanel = false;            ///< a document with which a browser draws its own controls
    bool unproven = false;           ///< `text` is an editable line's, which may not be what it displays
    bool unread = false;             ///< time ran out before all of it that was wanted had been read
    std::optional<std::string> text; ///< what stands in the object itself, U+FFFC where a child stands
    std::optional<std::string> name;
};

/// A window's showing objects in document order, however they were come by.
struct TextTree {
    std::vector<TextNode> nodes;
    /// Text stands in paragraphs and other objects themselves, and text objects that repeat it are not in the list.
    /// Otherwise an object's own text counts for nothing where it has text objects below it.
    bool inlineText = false;
    /// The window may be a browser's. What its own controls say is no content, and some of it tells about pages that
    /// aren't on show: tabs, what comes up over them, lists of pages.
    bool mayHoldPages = false;
    bool complete = true; ///< false when there are more nodes than were asked for
};

/// What a window's text is made of. Pure: both ways of reading a tree end here, so their answers agree.
namespace TextRules {

/// Levels below the root that are walked.
inline constexpr int deepest = 48;
/// A longer field is read only as far as it is visible.
inline constexpr std::int32_t mostFieldCharacters = 6000;
/// Other text is read whole, but for what no window holds in earnest.
inline constexpr std::int32_t mostTextCharacters = 100'000;

struct Reading {
    bool text = false;
    bool name = false;
    friend bool operator==(const Reading&, const Reading&) = default;
};

/// Whether a document is no page but part of the browser's controls, by its address.
bool isPanelAddress(std::string_view address);
/// Whether a walk takes anything from the node or from below it.
bool enters(const TextNode& node, const std::optional<Rect>& frame);
bool descends(Role role, int depth);
/// Whether this, displayed by an editable line, stands for text that is hidden. Nothing of it is told then, nor how
/// long it is.
bool isMasked(std::string_view text);
/// What has to be asked of a node that a walk enters. Never anything of a password field.
Reading readingOf(Role role, bool inlineText, bool hasStaticChild);

/// Text and name of the nodes that were entered, put together in document order within the limits of nodes and
/// characters. The limit of time is the reader's.
WindowText compose(const TextTree& tree, const std::optional<Rect>& frame, const TextLimits& limits);

} // namespace TextRules

} // namespace nomara::atspi
