#include "Quillshade/settings/AppSettings.h"

#include "Quillshade/settings/Spelling.h"
#include "platform/PreferenceText.h"

#include <algorithm>
#include <set>

namespace nomara {

namespace {

constexpr std::size_t maxUnknownTold = 20; // a file of something else has thousands

} // namespace

AppSettings::AppSettings(PreferencesStore& defaults, KnownApplications* applications)
    : m_defaults(defaults), m_applications(applications) {}

RecorderConfig AppSettings::recorderConfig() const {
    RecorderConfig config;
    config.excludedApps.clear();
    config.mode = captureMode();
    config.allDisplays = captureAllDisplays();
    config.textOnly = textOnlyMode();
    config.ocrOnBattery = ocrOnBattery();
    if (m_applications != nullptr) m_applications->refresh();
    for (const std::string& entry : excludedApps()) {
        config.excludedApps.insert(entry);
        if (m_applications != nullptr)
            for (std::string& id : m_applications->identifiers(entry))
                config.excludedApps.insert(std::move(id));
    }
    config.excludedSites = excludedSites();
    config.skipPrivateWindows = skipPrivateWindows();
    config.projectRules = projectRules();
    config.imageQuality = imageQuality();
    return config;
}

RetentionPolicy AppSettings::retentionPolicy() const {
    constexpr std::int64_t smallestCapBytes = std::int64_t{512} << 20;
    RetentionPolicy policy;
    policy.fullImageDays = std::max<std::int64_t>(fullImageDays(), 1);
    policy.keyframeDays = keyframeDays() == 0 ? 0 : std::max(policy.fullImageDays, keyframeDays());
    policy.textDays = textDays() == 0 ? 0 : std::max({textDays(), policy.fullImageDays, policy.keyframeDays});
    const std::int64_t capGB = std::clamp(diskCapGB(), std::int64_t{0}, SettingText::maxGigabytes);
    policy.diskCapBytes = std::max(capGB * (std::int64_t{1} << 30), smallestCapBytes);
    return policy;
}

bool AppSettings::reload() {
    bool isOther = m_defaults.reload();
    for (SettingBase* const row : rows())
        if (row->reload()) isOther = true;
    return isOther;
}

void AppSettings::change(const PreferencesStore::Changes& changes) {
    m_defaults.change(changes);
    for (SettingBase* const row : rows())
        row->reload();
}

AppSettings::Texts AppSettings::problems() const {
    Texts sentences;
    if (const std::string problem = m_defaults.problem(); !problem.empty()) sentences.push_back(problem);
    const std::string place = m_defaults.place().empty() ? "" : " in " + m_defaults.place();
    for (const SettingBase* const row : rows())
        if (!row->problem().empty())
            sentences.push_back("The setting " + row->key() + place + " can't be read: " + row->problem() + "." +
                                (row->holdsRecording() ? "" : " Its default counts."));
    const std::vector<UnknownKey> unknown = unknownKeys();
    for (std::size_t i = 0; i < std::min(unknown.size(), maxUnknownTold); ++i)
        sentences.push_back("There is no setting " + SettingText::inQuotes(unknown[i].key) + ", which stands" +
                            (place.empty() ? " in the settings" : place) + "." +
                            (unknown[i].meant == nullptr ? "" : " Did you mean " + unknown[i].meant->key() + "?"));
    if (unknown.size() > maxUnknownTold)
        sentences.push_back("There are no settings of " + std::to_string(unknown.size() - maxUnknownTold) +
                            " more names" + place + ".");
    return sentences;
}

bool AppSettings::mustWait() const {
    const auto isHeld = [](const SettingBase* row) { return !row->problem().empty() && row->holdsRecording(); };
    const auto meansHeld = [](const UnknownKey& key) { return key.meant != nullptr && key.meant->holdsRecording(); };
    return !m_defaults.problem().empty() || std::ranges::any_of(rows(), isHeld) ||
           std::ranges::any_of(unknownKeys(), meansHeld);
}

AppSettings::Texts AppSettings::unknownApplications() const {
    Texts unknown;
    if (m_applications == nullptr) return unknown;
    for (const std::string& entry : excludedApps())
        if (m_applications->identifiers(entry).empty()) unknown.push_back(entry);
    return unknown;
}

std::vector<AppSettings::UnknownKey> AppSettings::unknownKeys() const {
    std::vector<UnknownKey> unknown;
    std::set<std::string> seen;
    for (const std::string& key : m_defaults.keys()) {
        if (!seen.insert(key).second) continue;
        const SettingBase* const near = rowNear(key);
        if (near == nullptr || PreferenceText::foldedKey(near->key()) != PreferenceText::foldedKey(key))
            unknown.push_back({key, near});
    }
    return unknown;
}

SettingBase* AppSettings::rowNamed(std::string_view key) {
    const std::string wanted = PreferenceText::foldedKey(key);
    for (SettingBase* const row : rows())
        if (PreferenceText::foldedKey(row->key()) == wanted) return row;
    return nullptr;
}

const SettingBase* AppSettings::rowNear(std::string_view key) const {
    const std::string wanted = PreferenceText::foldedKey(key);
    const SettingBase* near = nullptr;
    for (const SettingBase* const row : rows()) {
        const std::string name = PreferenceText::foldedKey(row->key());
        if (name == wanted) return row;
        if (Spelling::isClose(wanted, name)) near = row;
    }
    return near;
}

template <typename Base, typename Self>
std::vector<Base*> AppSettings::rowsOf(Self& self) {
    return {&self.captureMode,       &self.captureAllDisplays,
            &self.textOnlyMode,      &self.ocrOnBattery,
            &self.imageQuality,      &self.excludedApps,
            &self.excludedSites,     &self.skipPrivateWindows,
            &self.fullImageDays,     &self.keyframeDays,
            &self.textDays,          &self.diskCapGB,
            &self.excludeFromBackup, &self.hotKey,
            &self.hotKeyEnabled,     &self.appLockEnabled,
            &self.mcpEnabled,        &self.dailySummaryEnabled,
            &self.projectRules,      &self.onboardingCompleted,
            &self.pausedUntil};
}

std::vector<SettingBase*> AppSettings::rows() {
    return rowsOf<SettingBase>(*this);
}

std::vector<const SettingBase*> AppSettings::rows() const {
    return rowsOf<const SettingBase>(*this);
}

} // namespace nomara
