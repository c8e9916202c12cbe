#include "platform/linux/x11/X11WindowOwner.h"

#include "core/text/Graphemes.h"

#include <string_view>
#include <utility>

namespace nomara {

namespace {

// Titles of the old kind.
std::string latin1ToUTF8(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            result += c;
        } else {
            result += static_cast<char>(0xC0 | (byte >> 6));
            result += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return result;
}

// Some tell the id, some the file with its folder.
std::string entryID(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    text.remove_prefix(text.rfind('/') == std::string_view::npos ? 0 : text.rfind('/') + 1);
    constexpr std::string_view ending = ".desktop";
    if (text.ends_with(ending)) text.remove_suffix(ending.size());
    return Graphemes::validUTF8(text);
}

} // namespace

X11WindowOwner::X11WindowOwner(const X11Connection& connection, xcb_window_t window)
    : m_connection(connection), m_process(connection, window),
      m_class(connection.requestProperty(window, XCB_ATOM_WM_CLASS)),
      m_role(connection.requestProperty(window, connection.atom(X11Atom::windowRole))),
      m_utf8Name(connection.requestProperty(window, connection.atom(X11Atom::windowName))),
      m_oldName(connection.requestProperty(window, XCB_ATOM_WM_NAME)),
      m_kdeDesktopFile(connection.requestProperty(window, connection.atom(X11Atom::desktopFile))),
      m_gtkApplication(connection.requestProperty(window, connection.atom(X11Atom::gtkApplication))),
      m_bamfDesktopFile(connection.requestProperty(window, connection.atom(X11Atom::bamfDesktopFile))) {}

WindowOwner X11WindowOwner::answer() {
    WindowOwner owner;
    owner.pid = m_process.pid();
    auto [instanceName, className] = windowClassOf(m_connection.property(m_class));
    owner.instanceName = std::move(instanceName);
    owner.className = std::move(className);
    owner.role = Graphemes::validUTF8(X11Connection::bytes(m_connection.property(m_role)));
    owner.title = title();
    owner.desktopFile = desktopFile();
    return owner;
}

std::string X11WindowOwner::title() {
    const auto utf8 = m_connection.property(m_utf8Name);
    const auto old = m_connection.property(m_oldName);
    std::string title(X11Connection::bytes(utf8));
    if (title.empty()) {
        title = X11Connection::bytes(old);
        if (old && old->type == XCB_ATOM_STRING) title = latin1ToUTF8(title);
    }
    // Some programs count the byte that ends the text.
    std::erase(title, '\0');
    return Graphemes::validUTF8(title);
}

std::string X11WindowOwner::desktopFile() {
    std::string found;
    for (const auto cookie : {m_kdeDesktopFile, m_gtkApplication, m_bamfDesktopFile}) {
        const auto property = m_connection.property(cookie); // each is fetched, or its answer would pile up
        if (found.empty()) found = entryID(X11Connection::bytes(property));
    }
    return found;
}

} // namespace nomara
