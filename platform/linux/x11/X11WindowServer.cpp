#include "platform/linux/x11/X11WindowServer.h"

#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Displays.h"
#include "platform/linux/x11/X11WindowList.h"

#include <utility>

namespace nomara {

X11WindowServer::X11WindowServer(std::function<void()> onConnectionLost, const std::string& display)
    : m_connection(std::make_unique<X11Connection>(std::move(onConnectionLost), display)) {}

X11WindowServer::~X11WindowServer() = default;

std::vector<Display> X11WindowServer::displays() {
    const std::lock_guard lock(m_asking);
    return readX11Displays(*m_connection);
}

std::vector<WindowInfo> X11WindowServer::onScreenWindows() {
    const std::lock_guard lock(m_asking);
    auto windows = readX11Windows(*m_connection);
    if (!m_connection->isAlive()) return {};
    return windows;
}

} // namespace nomara
