#pragma once

#include "platform/WindowServer.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace nomara {

class X11Connection;

/// Displays from RandR, windows as the window manager and the server's own stacking order tell.
/// Callable from any thread; one question is answered after another. Throws PlatformError when it can't connect.
class X11WindowServer final : public WindowServer {
public:
    /// `onConnectionLost` runs once, inside the call that notices. An empty `display` means $DISPLAY.
    explicit X11WindowServer(std::function<void()> onConnectionLost = {}, const std::string& display = {});
    ~X11WindowServer() override;

    std::vector<Display> displays() override;
    std::vector<WindowInfo> onScreenWindows() override;

private:
    std::mutex m_asking; // held while the server is asked: m_connection
    const std::unique_ptr<X11Connection> m_connection;
};

} // namespace nomara
