#pragma once

#include "platform/InputActivity.h"

#include <atomic>

namespace nomara {

/// Answers what the test has set. Callable from any thread.
class FakeInputActivity final : public InputActivity {
public:
    double secondsSinceLastInput() override { return m_idleSeconds; }
    SecureInput secureInput(const WindowList& /*windows*/) override { return m_secure; }

    void setSecondsSinceLastInput(double seconds) { m_idleSeconds = seconds; }
    void setSecureInput(SecureInput secure) { m_secure = secure; }

private:
    std::atomic<double> m_idleSeconds = 0;
    std::atomic<SecureInput> m_secure = SecureInput::off;
};

} // namespace nomara
