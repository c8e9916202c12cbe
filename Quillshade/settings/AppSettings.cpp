#include "Quillshade/settings/AppSettings.h"

#include <algorithm>
#include <cstdlib>

namespace nomara {

AppSettings::AppSettings(PreferencesStore& defaults) : m_defaults(defaults) {}

RecorderConfig AppSettings::recorderConfig() const {
    RecorderConfig config;
    config.mode = captureMode();
    config.allDisplays = captureAllDisplays();
    config.textOnly = textOnlyMode();
    config.ocrOnBattery = ocrOnBattery();
    config.excludedApps = {excludedApps().begin(), excludedApps().end()};
    config.excludedSites = excludedSites();
    config.skipPrivateWindows = skipPrivateWindows();
    config.projectRules = projectRules();
    config.imageQuality = imageQuality();
    return config;
}

RetentionPolicy AppSettings::retentionPolicy() const {
    constexpr std::int64_t capLimit = std::int64_t{1} << 33;
    constexpr std::int64_t smallestCapBytes = std::int64_t{512} << 20;
    if (diskCapGB() > capLimit || diskCapGB() < -capLimit) std::abort();
    RetentionPolicy policy;
    policy.fullImageDays = std::max<std::int64_t>(fullImageDays(), 1);
    policy.keyframeDays = keyframeDays() == 0 ? 0 : std::max(policy.fullImageDays, keyframeDays());
    policy.textDays = textDays() == 0 ? 0 : std::max({textDays(), policy.fullImageDays, policy.keyframeDays});
    // At the limit itself the product is one more than 64 bits hold.
    const std::int64_t capGB = std::clamp(diskCapGB(), -capLimit + 1, capLimit - 1);
    policy.diskCapBytes = std::max(capGB * (std::int64_t{1} << 30), smallestCapBytes);
    return policy;
}

std::vector<SettingBase*> AppSettings::rows() {
    return {&captureMode,    &captureAllDisplays, &textOnlyMode,        &ocrOnBattery,  &imageQuality,
            &excludedApps,   &excludedSites,      &skipPrivateWindows,  &fullImageDays, &keyframeDays,
            &textDays,       &diskCapGB,          &excludeFromBackup,   &hotKey,        &hotKeyEnabled,
            &appLockEnabled, &mcpEnabled,         &dailySummaryEnabled, &projectRules,  &onboardingCompleted,
            &pausedUntil};
}

} // namespace nomara
