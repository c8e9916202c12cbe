#pragma once

#include "Quillshade/app/FileWatch.h"
#include "Quillshade/app/UsageMeter.h"
#include "Quillshade/capture/FrontmostTracker.h"
#include "Quillshade/capture/Recorder.h"
#include "Quillshade/reading/OCRBacklog.h"
#include "Quillshade/reading/OCRService.h"
#include "Quillshade/segments/FrameImageLoader.h"
#include "Quillshade/segments/SegmentManager.h"
#include "Quillshade/settings/AppSettings.h"
#include "Quillshade/settings/SettingsCommands.h"
#include "Quillshade/store/StoreHub.h"
#include "platform/Platform.h"

#include <QObject>
#include <QTimer>
#include <optional>
#include <set>
#include <string>
#include <variant>

namespace nomara {

/// How long a pause lasts.
struct PauseMinutes {
    int minutes = 0;
};
struct PauseUntilTomorrowMorning {};
struct PauseUntilResumed {};
using PauseDuration = std::variant<PauseMinutes, PauseUntilTomorrowMorning, PauseUntilResumed>;

/// The one object that joins the services: it wires their callbacks, turns their states into words, and carries out the
/// user's commands that touch several of them. Lives on the main thread, as all its fields do; `changed` tells that one
/// of them did.
class AppModel final : public QObject {
    Q_OBJECT

public:
    /// Who the model works for.
    struct Surroundings {
        Executor mainThread;
        std::optional<std::string> ownBundleID;
        std::optional<Recorder::StartTimer> startTimer = {}; ///< tests hold the recorder's timer in their own hand
    };

    AppModel(StoreHub& hub, AppSettings& settings, const Clock& clock, const Platform& platform,
             const Surroundings& surroundings);
    ~AppModel() override;

    /// Wires everything and starts the services; recording begins once the user has completed the setup. Once.
    void start();
    /// Ends recording in order: open work is finished and statistics are written. Waits.
    void shutdown();
    /// Pushes the settings to every service. Nothing is recorded while they can't be read.
    void applySettings();
    /// Takes over what somebody has written into the settings' file; called by itself when it changes.
    void reloadSettings();
    /// Carries out what a person asks of the settings, all of it or nothing, and acts on it.
    SettingsCommands::Outcome changeSettings(const SettingsCommands& commands);
    /// Holds capture, and reading later, around a deletion: `held` is called once nothing is read or written. Both go
    /// on when each who suspended them has resumed them.
    void suspendCapture(std::function<void()> held);
    void resumeCapture();
    /// Finds out whether the memory still lies in its place; called by itself while recording.
    void checkStore() { m_hub.check(); }

    void pause(const PauseDuration& duration);
    void pauseUntilResumed();
    void resume();

    void refreshPermissions();
    void refreshStats();

    QString statusText() const;
    /// Why nothing is recorded, or why less than usual; absent when there is nothing to say.
    std::optional<QString> detailText() const;
    std::optional<QString> pauseText() const;

    RecorderStatus status() const { return m_status; }
    const SkipReason& skipReason() const { return m_skipReason; }
    const CapturePolicy& policy() const { return m_policy; }
    const std::optional<FrameSummary>& lastSaved() const { return m_lastSaved; }
    const std::optional<DayStats>& today() const { return m_today; }
    const StorageBreakdown& storage() const { return m_storage; }
    bool accessibilityPermission() const { return m_accessibilityPermission; }
    /// Why accessibility is missing, as a sentence; empty while it is there.
    const std::string& accessibilityReason() const { return m_accessibilityReason; }
    /// What the recorder did with the displays, as of the last `refreshPermissions`.
    const CaptureReport& captureReport() const { return m_captureReport; }
    /// Frames whose picture waits to be read, as of the last `refreshStats`.
    std::int64_t pendingOCR() const { return m_pendingOCR; }
    bool isReadingPictures() const { return m_backlog.isRunning(); }
    const OCRService& ocr() const { return m_ocr; }
    /// What keeps text in images from being read, or from being read in the user's languages; absent where nothing
    /// does.
    std::optional<QString> readingProblem() const;
    bool databaseDamaged() const { return m_databaseDamaged; }
    const AppSettings& settings() const { return m_settings; }
    const StoreTrouble& storeTrouble() const { return m_storeTrouble; }
    /// When a new memory was begun since the start, as the one before had gone from its place.
    std::optional<Date> memoryBegunAt() const { return m_memoryBegunAt; }
    std::optional<FrontmostApp> frontmost() const { return m_tracker.current(); }
    Recorder& recorder() { return m_recorder; }
    FrameImageLoader& images() { return m_images; }

Q_SIGNALS:
    void changed();
    /// What a crash may have left has been put right, and recording begins where it may.
    void launched();
    /// `refreshPermissions` has its answer.
    void permissionsRefreshed();

private:
    struct Courses;

    void schedulePauseTimer();
    void holdForSettings();
    void takeOverSettings(const std::optional<Date>& pausedBefore);
    void storeTroubleChanged(const StoreTrouble& trouble);
    void updateStoreTimer();
    void frameSaved(const FrameSummary& frame);
    void readPicturesIfAllowed();

    AppSettings& m_settings;
    StoreHub& m_hub;
    const Clock& m_clock;
    FrontmostTracker m_tracker;
    SegmentManager m_segments;
    FrameImageLoader m_images;
    OCRService m_ocr;
    const std::shared_ptr<LineDeduper> m_lines = Recorder::makeLineMemory();
    OCRBacklog m_backlog;    ///< the recorder hands it pictures
    UsageMeter m_usageMeter; ///< used on the recorder's queue
    Recorder m_recorder;

    QTimer m_pauseTimer;
    QTimer m_statsTimer;
    QTimer m_savedTimer; ///< runs from a saved frame to the statistics that tell of it
    QTimer m_storeTimer;
    FileWatch m_settingsWatch;
    std::optional<bool> m_lastMCPFlag;
    std::vector<std::string> m_settingsProblems; ///< as they were last logged
    bool m_isLaunched = false;
    bool m_isReplacingMemory = false;
    std::set<std::string> m_loggedTroubles; ///< since a frame was last saved

    RecorderStatus m_status;
    SkipReason m_skipReason;
    CapturePolicy m_policy;
    PowerSnapshot m_powerSnapshot;
    std::optional<FrameSummary> m_lastSaved;
    std::optional<DayStats> m_today;
    StorageBreakdown m_storage;
    bool m_accessibilityPermission = false;
    std::string m_accessibilityReason;
    CaptureReport m_captureReport;
    std::int64_t m_pendingOCR = 0;
    bool m_databaseDamaged = false;
    StoreTrouble m_storeTrouble;
    std::optional<Date> m_memoryBegunAt;
};

} // namespace nomara
