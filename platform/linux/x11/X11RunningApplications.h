#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/RunningApplications.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace nomara {

class X11Connection;

/// The front application as the window manager tells it, followed on a thread of its own.
/// Throws PlatformError when it can't connect. Without a window manager there is no front application.
class X11RunningApplications final : public RunningApplications {
public:
    /// `resolver` and `onConnectionLost` run on the thread that follows the window manager, the latter once; neither
    /// may destroy this object. An empty `display` means $DISPLAY.
    explicit X11RunningApplications(IdentityResolver resolver, std::function<void()> onConnectionLost = {},
                                    const std::string& display = {});
    ~X11RunningApplications() override;
    X11RunningApplications(const X11RunningApplications&) = delete;
    X11RunningApplications& operator=(const X11RunningApplications&) = delete;

    std::optional<FrontmostApp> frontmost() override;
    /// Not to be called by the observer itself.
    void observeActivations(Observer observer) override;

private:
    enum class Change { none, window, activation };

    void follow();
    Change drainEvents();
    bool saysWhoseItIs(std::uint32_t property) const;
    std::optional<FrontmostApp> readFrontmost();
    void watch(std::uint32_t window);
    void publish(std::optional<FrontmostApp> app);

    const IdentityResolver m_resolver;
    const std::unique_ptr<X11Connection> m_connection;
    const int m_wake; // an event counter that ends the thread's waiting
    std::atomic<bool> m_ending = false;
    std::uint32_t m_watched = 0; // the active window; used on the thread, and before it starts
    std::mutex m_notifying;      // held while the observer runs: m_observer
    Observer m_observer;
    std::mutex m_mutex; // m_frontmost
    std::optional<FrontmostApp> m_frontmost;
    std::thread m_thread;
};

} // namespace nomara
