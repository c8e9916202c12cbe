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
    /// What others know. Both run on the thread that asks `secureInput`; an empty one answers no.
    struct Questions {
        /// The display server has no switch for secure input that all programs use, so input may be secure at any time,
        /// and wherever the focus can be asked whether it is, it must be. This tells whether it can be asked.
        std::function<bool()> mayBeSecure;
        /// Whether a window belongs to a program that does nothing but ask for passwords.
        std::function<bool(const WindowOwner&)> isPasswordPrompter;
    };

    /// `onConnectionLost` runs once, inside the call that notices. An empty `display` means $DISPLAY.
    explicit X11InputActivity(Questions questions, std::function<void()> onConnectionLost = {},
                              const std::string& display = {});
    ~X11InputActivity() override;

    double secondsSinceLastInput() override;
    /// Certain also after the connection is lost.
    SecureInput secureInput(const WindowList& windows) override;

private:
    const Questions m_questions;
    const std::unique_ptr<X11Connection> m_connection;
};

} // namespace nomara
