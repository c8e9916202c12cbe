#pragma once

#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/settings/Setting.h"
#include "core/base/Date.h"
#include "core/retention/RetentionPolicy.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// A global hot key: a virtual key code and a mask of modifiers (command 256, shift 512, option 2048, control 4096).
struct HotKeyCombo {
    std::uint32_t keyCode = 49; ///< the space bar
    std::uint32_t carbonModifiers = 768;
    friend bool operator==(const HotKeyCombo&, const HotKeyCombo&) = default;
};

/// Every preference of the user. Loaded once from the store, each written back the moment it changes. Main thread.
class AppSettings {
    // The rows below are built with these two, which therefore come first.
    PreferencesStore& m_defaults;
    std::function<void()> m_announce = [this] {
        if (onChange) onChange();
    };

    template <typename T>
    Setting<T> row(const char* key, T fallback) {
        return {m_defaults, key, std::move(fallback), m_announce};
    }
    template <typename T>
    Setting<T> silentRow(const char* key, T fallback) {
        return {m_defaults, key, std::move(fallback), {}};
    }

public:
    explicit AppSettings(PreferencesStore& defaults);

    /// Called after every change, but for those of `onboardingCompleted` and `pausedUntil`.
    std::function<void()> onChange;

    Setting<CaptureMode> captureMode = row("captureMode", CaptureMode::balanced);
    Setting<bool> captureAllDisplays = row("captureAllDisplays", false);
    Setting<bool> textOnlyMode = row("textOnlyMode", false);
    Setting<bool> ocrOnBattery = row("ocrOnBattery", false);
    Setting<ImageQuality> imageQuality = row("imageQuality", ImageQuality::balanced);
    Setting<std::vector<std::string>> excludedApps = row("excludedApps", AppCatalog::defaultExcludedApps());
    Setting<std::vector<std::string>> excludedSites = row("excludedSites", std::vector<std::string>());
    Setting<bool> skipPrivateWindows = row("skipPrivateWindows", true);
    Setting<std::int64_t> fullImageDays = row("fullImageDays", std::int64_t{7});
    Setting<std::int64_t> keyframeDays = row("keyframeDays", std::int64_t{60}); ///< 0 means forever
    Setting<std::int64_t> textDays = row("textDays", std::int64_t{0});          ///< 0 means forever
    Setting<std::int64_t> diskCapGB = row("diskCapGB", std::int64_t{10});
    Setting<bool> excludeFromBackup = row("excludeFromBackup", true);
    Setting<HotKeyCombo> hotKey = row("hotKey", HotKeyCombo());
    Setting<bool> hotKeyEnabled = row("hotKeyEnabled", true);
    Setting<bool> appLockEnabled = row("appLockEnabled", false);
    Setting<bool> mcpEnabled = row("mcpEnabled", false);
    Setting<bool> dailySummaryEnabled = row("dailySummaryEnabled", true);
    Setting<std::vector<ProjectRule>> projectRules = row("projectRules", std::vector<ProjectRule>());
    Setting<bool> onboardingCompleted = silentRow("onboardingCompleted", false);
    /// Absent when nothing is paused; `distantFuture` for a pause without an end.
    Setting<std::optional<Date>> pausedUntil = silentRow("pausedUntil", std::optional<Date>());

    RecorderConfig recorderConfig() const;
    /// The ages made consistent with each other, whatever is stored. Ends the process for a cap beyond ±2^33 GB.
    RetentionPolicy retentionPolicy() const;

    /// Every row, in the order above.
    std::vector<SettingBase*> rows();
};

/// The end of a pause that has none: the first moment of the year 4001.
constexpr Date distantFuture{64'092'211'200};

} // namespace nomara
