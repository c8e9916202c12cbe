#pragma once

#include <optional>
#include <string_view>

namespace nomara {

/// How much the user wants recorded; stored by its name.
enum class CaptureMode { saver, balanced, quality };

/// The state of the machine's power and heat.
struct PowerSnapshot {
    bool onBattery = false;
    std::optional<double> batteryLevel; ///< 0…1
    bool lowPowerMode = false;
    int thermalLevel = 0; ///< 0 nominal, 1 fair, 2 serious, 3 critical
    friend bool operator==(const PowerSnapshot&, const PowerSnapshot&) = default;
};

/// How often to look, and what may be done with what is seen. Times in seconds.
struct CapturePolicy {
    /// Which rule had the last word.
    enum class Reason { normal, battery, lowPower, lowBattery, thermal, textOnly };

    double streamInterval = 1; ///< a display stream delivers at most one image in this time
    double minInterval = 2;    ///< shortest time between two captures of a display
    double heartbeat = 15;     ///< after this a changed screen is captured even during activity
    bool captureImages = true;
    bool ocrNow = true;
    bool allowHeavyWork = true;
    Reason reason = Reason::normal;
    friend bool operator==(const CapturePolicy&, const CapturePolicy&) = default;
};

/// Turns the user's choice and the machine's state into a policy. Pure.
namespace PolicyEngine {

CapturePolicy evaluate(CaptureMode mode, const PowerSnapshot& power, bool textOnly, bool ocrOnBattery);

} // namespace PolicyEngine

std::string_view name(CaptureMode mode);
std::optional<CaptureMode> captureModeNamed(std::string_view name);
std::string_view name(CapturePolicy::Reason reason);

} // namespace nomara
