#pragma once

#include "platform/WindowServer.h"

#include <optional>

namespace nomara {

/// Whether what is being typed may be a secret.
enum class SecureInput {
    off,      ///< no program asks that typing be kept from others
    unknown,  ///< programs have no way to ask for that: the focus alone can tell, if anything
    possible, ///< a password field may have the keyboard; the focus tells
    certain,  ///< a password prompter has the keyboard
};

/// What the user's hands are doing. Callable from any thread.
class InputActivity {
public:
    virtual ~InputActivity() = default;

    /// Seconds since the last keyboard or pointer event in the session; absent where that can't be told.
    virtual std::optional<double> secondsSinceLastInput() = 0;
    /// `windows`: what is on the screen now.
    virtual SecureInput secureInput(const WindowList& windows) = 0;
};

} // namespace nomara
