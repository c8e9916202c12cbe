#include "core/policy/PolicyEngine.h"

#include <algorithm>
#include <array>

namespace nomara {

namespace {

constexpr std::array<std::string_view, 3> modeNames{"saver", "balanced", "quality"};
constexpr std::array<std::string_view, 6> reasonNames{"normal",     "battery", "lowPower",
                                                      "lowBattery", "thermal", "textOnly"};

constexpr double emptyBatteryLevel = 0.15;
constexpr int hotLevel = 2;

CapturePolicy base(CaptureMode mode) {
    CapturePolicy policy;
    switch (mode) {
    case CaptureMode::saver:
        policy.streamInterval = 2;
        policy.minInterval = 4;
        policy.heartbeat = 45;
        break;
    case CaptureMode::balanced:
        break;
    case CaptureMode::quality:
        policy.minInterval = 1.5;
        policy.heartbeat = 8;
        break;
    }
    return policy;
}

void raise(double& value, double floor) {
    value = std::max(value, floor);
}

void textAlone(CapturePolicy& policy, CapturePolicy::Reason reason) {
    policy.captureImages = false;
    policy.ocrNow = false;
    policy.reason = reason;
}

} // namespace

// Each rule sees what the earlier ones left, and the last to apply gives the reason.
CapturePolicy PolicyEngine::evaluate(CaptureMode mode, const PowerSnapshot& power, bool textOnly, bool ocrOnBattery) {
    CapturePolicy policy = base(mode);
    if (power.onBattery) {
        raise(policy.streamInterval, mode == CaptureMode::quality ? 1 : 2);
        raise(policy.minInterval, mode == CaptureMode::saver ? 6 : 3);
        raise(policy.heartbeat, mode == CaptureMode::saver ? 90 : 30);
        policy.ocrNow = ocrOnBattery;
        policy.allowHeavyWork = false;
        policy.reason = CapturePolicy::Reason::battery;
    }
    if (power.onBattery && power.batteryLevel && *power.batteryLevel < emptyBatteryLevel) {
        raise(policy.heartbeat, 60);
        textAlone(policy, CapturePolicy::Reason::lowBattery);
    }
    if (power.lowPowerMode) {
        raise(policy.heartbeat, 60);
        policy.streamInterval = 3;
        policy.allowHeavyWork = false;
        textAlone(policy, CapturePolicy::Reason::lowPower);
    }
    if (power.thermalLevel >= hotLevel) {
        raise(policy.streamInterval, 3);
        raise(policy.heartbeat, 60);
        policy.allowHeavyWork = false;
        textAlone(policy, CapturePolicy::Reason::thermal);
    }
    // The user's own word comes last and leaves heavy work alone: on mains power, maintenance of text still runs.
    if (textOnly) textAlone(policy, CapturePolicy::Reason::textOnly);
    return policy;
}

std::string_view name(CaptureMode mode) {
    return modeNames[static_cast<std::size_t>(mode)];
}

std::optional<CaptureMode> captureModeNamed(std::string_view name) {
    const auto found = std::find(modeNames.begin(), modeNames.end(), name);
    if (found == modeNames.end()) return std::nullopt;
    return static_cast<CaptureMode>(found - modeNames.begin());
}

std::string_view name(CapturePolicy::Reason reason) {
    return reasonNames[static_cast<std::size_t>(reason)];
}

} // namespace nomara
