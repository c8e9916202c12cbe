#pragma once

#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/settings/Setting.h"
#include "core/base/Date.h"
#include "core/retention/RetentionPolicy.h"
#include "platform/KnownApplications.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// A global hot key: a virtual key code and a mask of modifiers (command 256, shift 512, option 2048, control 4096).
struct HotKeyCombo {
    std::uint32_t keyCode = 49; ///< the space bar
    std::uint32_t carbonModifiers = 768;
    friend bool operator==(const HotKeyCombo&, const HotKeyCombo&) = default;
};

/// Every preference of the user. Each is written back the moment it changes; what somebody writes into the store counts
/// from the next `reload` on. What can't be read is told, and where it may have asked for less to be recorded, nothing
/// is until it is mended. Main thread.
class AppSettings {
    // The rows below are built with these two, which therefore come first.
    PreferencesStore& m_defaults;
    std::function<void()> m_announce = [this] {
        if (onChange) onChange();
    };

    template <typename T, typename Codec = PreferenceCodec<T>>
    Setting<T, Codec> row(const char* key, T fallback, Unreadable unreadable = Unreadable::countsAsDefault) {
        return {m_defaults, key, std::move(fallback), unreadable, m_announce};
    }
    template <typename T>
    Setting<T> silentRow(const char* key, T fallback, Unreadable unreadable = Unreadable::countsAsDefault) {
        return {m_defaults, key, std::move(fallback), unreadable, {}};
    }

public:
    using Texts = std::vector<std::string>;

    /// Both outlive the settings. Without `applications` an entry of `excludedApps` counts as it stands.
    explicit AppSettings(PreferencesStore& defaults, KnownApplications* applications = nullptr);

    /// Called after every change, but for those of `onboardingCompleted` and `pausedUntil`.
    std::function<void()> onChange;

    Setting<CaptureMode> captureMode = row("captureMode", CaptureMode::balanced);
    Setting<bool> captureAllDisplays = row("captureAllDisplays", false);
    Setting<bool> textOnlyMode = row("textOnlyMode", false, Unreadable::holdsRecording);
    Setting<bool> ocrOnBattery = row("ocrOnBattery", false);
    Setting<ImageQuality> imageQuality = row("imageQuality", ImageQuality::balanced);
    Setting<Texts, ApplicationListCodec> excludedApps =
        row<Texts, ApplicationListCodec>("excludedApps", AppCatalog::defaultExcludedApps(), Unreadable::holdsRecording);
    Setting<Texts, SiteListCodec> excludedSites =
        row<Texts, SiteListCodec>("excludedSites", {}, Unreadable::holdsRecording);
    Setting<bool> skipPrivateWindows = row("skipPrivateWindows", true);
    Setting<std::int64_t, DaysCodec> fullImageDays = row<std::int64_t, DaysCodec>("fullImageDays", 7);
    Setting<std::int64_t, DaysCodec> keyframeDays = row<std::int64_t, DaysCodec>("keyframeDays", 60); ///< 0: forever
    Setting<std::int64_t, DaysCodec> textDays = row<std::int64_t, DaysCodec>("textDays", 0);          ///< 0: forever
    Setting<std::int64_t, GigabytesCodec> diskCapGB = row<std::int64_t, GigabytesCodec>("diskCapGB", 10);
    Setting<bool> excludeFromBackup = row("excludeFromBackup", true);
    Setting<HotKeyCombo> hotKey = row("hotKey", HotKeyCombo());
    Setting<bool> hotKeyEnabled = row("hotKeyEnabled", true);
    Setting<bool> appLockEnabled = row("appLockEnabled", false);
    Setting<bool> mcpEnabled = row("mcpEnabled", false);
    Setting<bool> dailySummaryEnabled = row("dailySummaryEnabled", true);
    Setting<std::vector<ProjectRule>> projectRules = row("projectRules", std::vector<ProjectRule>());
    Setting<bool> onboardingCompleted = silentRow("onboardingCompleted", false);
    /// Absent when nothing is paused; `distantFuture` for a pause without an end.
    Setting<std::optional<Date>> pausedUntil =
        silentRow("pausedUntil", std::optional<Date>(), Unreadable::holdsRecording);

    RecorderConfig recorderConfig() const;
    /// The ages made consistent with each other, whatever is stored.
    RetentionPolicy retentionPolicy() const;

    /// Takes over what somebody has written into the store. True if anything is another now; the caller then acts on
    /// it, as `onChange` isn't called.
    bool reload();
    /// Stores these texts at once and takes them over; announces nothing, like `reload`.
    void change(const PreferencesStore::Changes& changes);
    /// What can't be read, each as a sentence.
    Texts problems() const;
    /// Whether one of the problems holds the recording up.
    bool mustWait() const;
    /// Entries of `excludedApps` that no application goes by.
    Texts unknownApplications() const;

    /// Every row, in the order above.
    std::vector<SettingBase*> rows();
    std::vector<const SettingBase*> rows() const;
    /// The row that a person means by this key; none, where there is no such.
    SettingBase* rowNamed(std::string_view key);
    /// The one whose key is spelled almost like that.
    const SettingBase* rowNear(std::string_view key) const;
    const PreferencesStore& store() const { return m_defaults; }
    KnownApplications* applications() const { return m_applications; }

private:
    /// A key that is no setting's, and the one that was probably meant.
    struct UnknownKey {
        std::string key;
        const SettingBase* meant = nullptr;
    };
    std::vector<UnknownKey> unknownKeys() const;
    template <typename Base, typename Self>
    static std::vector<Base*> rowsOf(Self& self);

    KnownApplications* const m_applications;
};

/// The end of a pause that has none: the first moment of the year 4001.
constexpr Date distantFuture{64'092'211'200};

} // namespace nomara
