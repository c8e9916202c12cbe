#pragma once

#include "platform/InputActivity.h"

#include <atomic>

namespace nomara {

/// Answers what the test has set. Callable from any thread.
class FakeInputActivity final : public InputActivity {
public:
    std::optional<double> secondsSinceLastInput() override {
        const double seconds = m_idleSeconds;
        return seconds < 0 ? std::nullopt : std::optional(seconds);
    }
    SecureInput secureInput(const WindowList& /*windows*/) override { return m_secure; }

    void setSecondsSinceLastInput(std::optional<double> seconds) { m_idleSeconds = seconds.value_or(-1); }
    void setSecureInput(SecureInput secure) { m_secure = secure; }

private:
    std::atomic<double> m_idleSeconds = 0;
    std::atomic<SecureInput> m_secure = SecureInput::off;
};

} // namespace nomara
