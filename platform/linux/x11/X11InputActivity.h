#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/InputActivity.h"

#include <functional>
#include <memory>
#include <string>

namespace nomara {

class X11Connection;

/// Idle time from the screen saver extension; secure input from what is on the screen. Throws PlatformError when it
/// can't connect.
class X11InputActivity final : public InputActivity {
public:
    /// Whether a window belongs to a program that does nothing but ask for passwords. Runs on the thread that asks
    /// `secureInput`; an empty one answers no.
    using IsPasswordPrompter = std::function<bool(const WindowOwner&)>;

    /// `onConnectionLost` runs once, inside the call that notices. An empty `display` means $DISPLAY.
    explicit X11InputActivity(IsPasswordPrompter isPasswordPrompter, std::function<void()> onConnectionLost = {},
                              const std::string& display = {});
    ~X11InputActivity() override;

    std::optional<double> secondsSinceLastInput() override;
    /// Certain also after the connection is lost, else unknown: the display server has no switch for secure input that
    /// all programs use.
    SecureInput secureInput(const WindowList& windows) override;

private:
    const IsPasswordPrompter m_isPasswordPrompter;
    const std::unique_ptr<X11Connection> m_connection;
};

} // namespace nomara
