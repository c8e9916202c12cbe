#pragma once

#include "platform/WindowServer.h"
#include "platform/linux/x11/X11WindowLives.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace nomara {

class X11Connection;

/// Displays from RandR, windows as the window manager and the server's own stacking order tell. Follows which windows
/// are made and destroyed, and whether displays change, on a thread of its own.
/// Callable from any thread; one question is answered after another. Throws PlatformError when it can't connect.
class X11WindowServer final : public WindowServer {
public:
    /// `onConnectionLost` runs once, inside the call that notices. An empty `display` means $DISPLAY.
    explicit X11WindowServer(std::function<void()> onConnectionLost = {}, const std::string& display = {});
    ~X11WindowServer() override;
    X11WindowServer(const X11WindowServer&) = delete;
    X11WindowServer& operator=(const X11WindowServer&) = delete;

    std::vector<Display> displays() override;
    WindowList onScreenWindows() override;
    bool isWindowAlive(std::uint32_t number, std::uint64_t life) override;
    void observeDisplays(std::function<void()> observer) override;

private:
    void follow();
    void watchDisplays();
    void wake() const;
    std::set<std::uint32_t> takeEvents();
    void tellLives(WindowList& windows);

    std::mutex m_asking; // held while the server is asked: m_connection, m_lives
    const std::unique_ptr<X11Connection> m_connection;
    X11WindowLives m_lives;
    int m_randrEvent = 0; // number of the first of its notices; 0 where it isn't there
    std::atomic<bool> m_haveDisplaysChanged = false;
    std::mutex m_notifying; // held while the observer is called
    std::function<void()> m_observer;
    const int m_wake; // an event counter that ends the thread's waiting
    std::atomic<bool> m_ending = false;
    std::thread m_thread;
};

} // namespace nomara
