#pragma once

#include "core/base/Date.h"

namespace nomara {

/// The two clocks of the system. Every service is given one, so that tests can advance time by hand.
/// Implementations may be called from any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// Monotonic seconds while the machine is awake; for distances in time only.
    virtual double uptime() const = 0;
    /// The wall clock; for stored timestamps.
    virtual Date now() const = 0;
};

class SystemClock final : public Clock {
public:
    double uptime() const override;
    Date now() const override;
};

} // namespace nomara
