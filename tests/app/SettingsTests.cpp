#include "Quillshade/settings/AppSettings.h"
#include "platform/fake/FakePreferencesStore.h"

#include <gtest/gtest.h>

namespace nomara {
namespace {

TEST(AppSettings, HoldsItsDefaultsUntilTheUserSaysOtherwise) {
    FakePreferencesStore store;
    AppSettings settings(store);
    EXPECT_EQ(settings.recorderConfig(), RecorderConfig());
    EXPECT_EQ(settings.retentionPolicy(), (RetentionPolicy{7, 60, 0, std::int64_t{10} << 30}));
    EXPECT_TRUE(settings.recorderConfig().excludedApps.contains("org.keepassxc.keepassxc"));
    EXPECT_TRUE(settings.excludeFromBackup() && settings.hotKeyEnabled() && settings.dailySummaryEnabled());
    EXPECT_FALSE(settings.onboardingCompleted() || settings.mcpEnabled() || settings.appLockEnabled());
    EXPECT_EQ(settings.hotKey(), (HotKeyCombo{49, 768}));
    EXPECT_FALSE(settings.pausedUntil());
    for (const SettingBase* row : settings.rows())
        EXPECT_FALSE(store.contains(row->key())) << row->key();
}

TEST(AppSettings, ReadsWhatMakesNoSenseAsTheDefault) {
    FakePreferencesStore store;
    for (const char* key : {"captureMode", "imageQuality", "fullImageDays", "skipPrivateWindows", "textOnlyMode",
                            "hotKey", "projectRules", "pausedUntil", "excludeFromBackup"})
        store.setText(key, "{nonsense");
    store.setText("projectRules", R"([{"id":"1","name":"no keywords"}])");
    AppSettings settings(store);
    EXPECT_EQ(settings.recorderConfig(), RecorderConfig());
    EXPECT_EQ(settings.fullImageDays(), 7);
    EXPECT_TRUE(settings.skipPrivateWindows() && settings.excludeFromBackup());
    EXPECT_FALSE(settings.textOnlyMode());
    EXPECT_EQ(settings.hotKey(), HotKeyCombo());
    EXPECT_TRUE(settings.projectRules().empty());
    EXPECT_FALSE(settings.pausedUntil());
}

TEST(AppSettings, WritesEachChangeAndAnnouncesIt) {
    FakePreferencesStore store;
    int announced = 0;
    {
        AppSettings settings(store);
        settings.onChange = [&] { ++announced; };
        settings.captureMode.set(CaptureMode::quality);
        settings.imageQuality.set(ImageQuality::sharp);
        settings.excludedApps.set({});
        settings.excludedSites.set({"bank.example", "a, b"});
        settings.skipPrivateWindows.set(false);
        settings.textDays.set(90);
        settings.hotKey.set({12, 4096});
        settings.projectRules.set({{"id-1", "Näme", {"one", "two"}}, {"id-2", "", {}}});
        EXPECT_EQ(announced, 8);
        settings.onboardingCompleted.set(true);
        settings.pausedUntil.set(Date{1234.5});
        EXPECT_EQ(announced, 8) << "nobody needs to hear of these";
    }
    AppSettings again(store);
    EXPECT_EQ(again.captureMode(), CaptureMode::quality);
    EXPECT_EQ(again.imageQuality(), ImageQuality::sharp);
    EXPECT_TRUE(again.excludedApps().empty()) << "an empty list isn't an absent one";
    EXPECT_EQ(again.excludedSites(), (std::vector<std::string>{"bank.example", "a, b"}));
    EXPECT_FALSE(again.skipPrivateWindows());
    EXPECT_EQ(again.textDays(), 90);
    EXPECT_EQ(again.hotKey(), (HotKeyCombo{12, 4096}));
    EXPECT_EQ(again.projectRules(), (std::vector<ProjectRule>{{"id-1", "Näme", {"one", "two"}}, {"id-2", "", {}}}));
    EXPECT_TRUE(again.onboardingCompleted());
    EXPECT_EQ(again.pausedUntil(), Date{1234.5});
    again.pausedUntil.set(std::nullopt);
    EXPECT_FALSE(store.contains("pausedUntil"));
}

TEST(AppSettings, KeepsTheAgesOfMemoryInOrder) {
    const struct {
        std::int64_t full, key, text, cap;
        RetentionPolicy policy;
    } rows[] = {
        {7, 60, 0, 10, {7, 60, 0, std::int64_t{10} << 30}},   {7, 3, 0, 10, {7, 7, 0, std::int64_t{10} << 30}},
        {14, 0, 10, 10, {14, 0, 14, std::int64_t{10} << 30}}, {0, 5, 2, 0, {1, 5, 5, std::int64_t{512} << 20}},
        {-3, -4, -5, -6, {1, 1, 1, std::int64_t{512} << 20}},
    };
    for (const auto& row : rows) {
        FakePreferencesStore store;
        AppSettings settings(store);
        settings.fullImageDays.set(row.full);
        settings.keyframeDays.set(row.key);
        settings.textDays.set(row.text);
        settings.diskCapGB.set(row.cap);
        EXPECT_EQ(settings.retentionPolicy(), row.policy) << row.full << " " << row.key << " " << row.text;
    }
}

TEST(AppSettings, TakesValuesAsAPersonWritesThem) {
    const struct {
        const char *key, *text;
        bool accepted;
    } rows[] = {
        {"textOnlyMode", "true", true},
        {"textOnlyMode", "maybe", false},
        {"captureMode", "saver", true},
        {"captureMode", "fast", false},
        {"textDays", "30", true},
        {"textDays", "30 days", false},
        {"excludedSites", "a.b,c.d", true},
        {"hotKey", R"({"keyCode":3,"carbonModifiers":256})", true},
        {"hotKey", "F12", false},
        {"pausedUntil", "", true},
        {"excludedSites", R"(["a.b", "c, d"])", true},
        {"excludedSites", R"(["a.b", 3])", false},
        {"excludedSites", R"("a.b")", false},
        {"excludedSites", "[a.b]", false},
        {"hotKey", R"({"keyCode":-1,"carbonModifiers":256})", false},
        {"hotKey", R"({"keyCode":3.7,"carbonModifiers":256})", false},
        {"pausedUntil", "soon", false},
        {"projectRules", "{}", false},
    };
    for (const auto& row : rows) {
        FakePreferencesStore store;
        AppSettings settings(store);
        for (SettingBase* setting : settings.rows())
            if (setting->key() == row.key) {
                EXPECT_EQ(setting->setFromText(row.text), row.accepted) << row.key << "=" << row.text;
                EXPECT_TRUE(row.accepted || !store.contains(row.key));
            }
    }
}

TEST(AppSettings, ReadsListsAsTheyWereMeant) {
    FakePreferencesStore store;
    AppSettings settings(store);
    for (const char* text : {"org.a, org.b ,", R"(["org.a", "org.b"])", " org.a,,org.b"}) {
        ASSERT_TRUE(settings.excludedApps.setFromText(text)) << text;
        EXPECT_EQ(settings.excludedApps(), (std::vector<std::string>{"org.a", "org.b"})) << text;
    }
    ASSERT_TRUE(settings.excludedApps.setFromText("[]"));
    EXPECT_TRUE(settings.excludedApps().empty());
}

} // namespace
} // namespace nomara
