#include "platform/linux/x11/X11PasswordPrompters.h"

#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11WindowOwner.h"

#include <algorithm>
#include <vector>

namespace nomara {

namespace {

// Toolkits of old put a window into each of their boxes.
constexpr int maxDepth = 32;

/// A window and its ancestors below the root, the outermost last.
struct Ancestor {
    xcb_window_t window = XCB_WINDOW_NONE;
    WindowOwner owner;
    bool isOverride = false;
};

std::vector<Ancestor> ancestorsOf(const X11Connection& connection, xcb_window_t window) {
    std::vector<Ancestor> chain;
    // The focus may also lie nowhere, or follow the pointer: then these are no windows.
    for (int depth = 0; depth < maxDepth && window > XCB_INPUT_FOCUS_POINTER_ROOT && window != connection.root();
         ++depth) {
        const auto treeCookie = xcb_query_tree(connection.get(), window);
        const auto attributesCookie = xcb_get_window_attributes(connection.get(), window);
        X11WindowOwner owner(connection, window);

        const X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection.get(), treeCookie, nullptr));
        const X11Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(connection.get(), attributesCookie, nullptr));
        Ancestor ancestor;
        ancestor.window = window;
        ancestor.owner = owner.answer();
        if (!tree || !attributes) break; // gone meanwhile, and nothing is typed into it any more
        ancestor.isOverride = attributes->override_redirect != 0;
        chain.push_back(std::move(ancestor));
        window = tree->parent;
    }
    return chain;
}

} // namespace

bool isPasswordAskedFor(X11Connection& connection, const WindowList& windows,
                        const std::function<bool(const WindowOwner&)>& isPrompter) {
    const auto focusCookie = xcb_get_input_focus(connection.get());
    const X11Reply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(connection.get(), focusCookie, nullptr));
    if (!connection.isAlive() || !focus) return true;
    if (std::ranges::any_of(windows, [&](const WindowInfo& window) { return isPrompter(ownerOf(window)); }))
        return true;

    const auto chain = ancestorsOf(connection, focus->focus);
    if (std::ranges::any_of(chain, [&](const Ancestor& each) { return isPrompter(each.owner); })) return true;
    // The list has what is seen and what the window manager looks after, so neither its frames nor the small window
    // beside the screen to which it gives the keyboard when nobody wants it.
    return !chain.empty() && chain.back().isOverride &&
           std::ranges::find(windows, chain.back().window, &WindowInfo::number) != windows.end();
}

} // namespace nomara
