#pragma once

#include "platform/InputActivity.h"

#include <functional>
#include <memory>
#include <string>

namespace nomara {

class X11Connection;

/// Idle time from the screen saver extension. Throws PlatformError when it can't connect.
class X11InputActivity final : public InputActivity {
public:
    /// The display server has no switch for secure input that all programs use, so input may be secure at any time,
    /// and wherever the focus can be asked whether it is, it must be. `mayBeSecure` tells whether it can be asked; it
    /// runs on the thread that asks `secureInput`. Without it the answer is no.
    /// `onConnectionLost` runs once, inside the call that notices. An empty `display` means $DISPLAY.
    explicit X11InputActivity(std::function<bool()> mayBeSecure, std::function<void()> onConnectionLost = {},
                              const std::string& display = {});
    ~X11InputActivity() override;

    double secondsSinceLastInput() override;
    SecureInput secureInput() override;

private:
    const std::function<bool()> m_mayBeSecure;
    const std::unique_ptr<X11Connection> m_connection;
};

} // namespace nomara
