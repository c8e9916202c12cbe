#pragma once

namespace nomara {

/// What the user's hands are doing. Callable from any thread.
class InputActivity {
public:
    virtual ~InputActivity() = default;

    /// Seconds since the last keyboard or pointer event in the session; 0 where that can't be told.
    virtual double secondsSinceLastInput() = 0;
    /// Whether some program has asked that typing be kept from others, as password prompters do.
    virtual bool secureInputEnabled() = 0;
};

} // namespace nomara
