#include "Quillshade/app/AppModel.h"

#include "Quillshade/app/Texts.h"
#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/base/Paths.h"

#include <QCoroFuture>
#include <QCoroTask>
#include <QPointer>
#include <QPromise>
#include <QStringList>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

namespace nomara {

namespace {

using namespace std::chrono_literals;

constexpr auto statsInterval = 60s, savedFrameDelay = 8s, storeInterval = 5s;
// On battery fewer threads are the gentler ones, though reading takes longer.
constexpr int mainsWorkers = 2, batteryWorkers = 1;
constexpr double morningSeconds = 28'800;
// A look at the screen may take longer, while its images are read; whoever asks for the status doesn't wait for that.
constexpr std::chrono::milliseconds reportPatience{100};
// A timer holds at most the milliseconds of an int, some 24 days; a longer pause is looked at again on the way.
constexpr double longestTimerSeconds = 86'400;

} // namespace

/// What waits for the store between its steps. Each looks after every wait whether the model is still there.
struct AppModel::Courses {
    /// The answer of a read, or nothing when it failed; the hub has then already looked at why.
    template <typename Answer>
    static QCoro::Task<std::optional<Answer>> attempt(QFuture<Answer> answer) {
        try {
            co_return co_await answer;
        } catch (const std::exception&) {
            co_return std::nullopt;
        }
    }

    // Each read stands in a variable of its own: GCC 12 destroys a closure that is made inside an awaited expression
    // twice.
    static QCoro::Task<> refreshStats(QPointer<AppModel> model) {
        StoreHub& hub = model->m_hub;
        const std::string day = Calendar::dayKey(model->m_clock.now());
        const auto readDay = [day](MemoryStore& store) { return store.stats(day, day); };
        const auto daysRead = hub.readAsync(readDay);
        const auto days = co_await attempt(daysRead);
        if (model.isNull()) co_return;
        const auto storageRead = hub.readAsync([](MemoryStore& store) { return store.storageBreakdown(); });
        const auto storage = co_await attempt(storageRead);
        if (model.isNull()) co_return;
        const auto pendingRead = hub.readAsync([](MemoryStore& store) { return store.queuedOCRCount(); });
        const auto pending = co_await attempt(pendingRead);
        if (model.isNull()) co_return;
        model->m_today = days && !days->empty() ? std::optional(days->front()) : std::nullopt;
        if (storage) model->m_storage = *storage;
        model->m_pendingOCR = pending.value_or(0);
        Q_EMIT model->changed();
    }

    /// What a crash has left is put right before anything is recorded anew.
    static QCoro::Task<> launch(QPointer<AppModel> model) {
        const auto recovered = model->m_segments.recoverOpenSegments();
        co_await recovered;
        if (model.isNull()) co_return;
        model->m_isLaunched = true;
        // Whoever hasn't been through the setup is never recorded.
        if (model->m_settings.onboardingCompleted()) {
            model->refreshPermissions();
            model->m_recorder.setBlock(Recorder::Block::stopped, false);
        }
        model->refreshStats();
        Q_EMIT model->launched();
    }

    /// The memory was removed, or another one was put in its place: nothing of the old one may get into what comes now.
    static QCoro::Task<> replaceMemory(QPointer<AppModel> model) {
        if (std::exchange(model->m_isReplacingMemory, true)) co_return;
        model->m_recorder.setBlock(Recorder::Block::storage, true);
        const auto held = std::make_shared<QPromise<void>>();
        held->start();
        model->suspendCapture([held] { held->finish(); });
        const QFuture<void> isHeld = held->future();
        co_await isHeld;
        if (model.isNull()) co_return;
        const QFuture<void> reopened = model->m_hub.reopen();
        bool isReopened = true;
        try {
            co_await reopened;
        } catch (const std::exception&) {
            isReopened = false; // the hub has told why, and it is tried again
        }
        if (model.isNull()) co_return;
        model->m_isReplacingMemory = false;
        model->m_images.invalidateAll();
        model->resumeCapture();
        if (isReopened) {
            Log::notice(LogCategory::storage, "The memory was opened anew in " + NomaraPaths::dataDirectory().string());
            model->m_memoryBegunAt = model->m_clock.now();
            model->m_lastSaved.reset();
            model->m_lastMCPFlag.reset();
            model->m_databaseDamaged = false;
            model->applySettings();
            model->m_recorder.setBlock(Recorder::Block::storage, false);
        }
        model->refreshStats();
        Q_EMIT model->changed();
    }
};

AppModel::AppModel(StoreHub& hub, AppSettings& settings, const Clock& clock, const Platform& platform,
                   const Surroundings& surroundings)
    : m_settings(settings), m_hub(hub), m_clock(clock), m_tracker(platform.applications, surroundings.mainThread),
      m_segments(hub, platform.codec, platform.volume, clock), m_images(platform.codec),
      m_ocr(platform.recognizer, platform.preferredLanguages),
      m_backlog({hub, m_ocr, m_images, clock, surroundings.mainThread, m_lines}), m_usageMeter(platform.usage),
      m_recorder([&] {
          Recorder::Services services{hub,
                                      platform.accessibility,
                                      platform.windowServer,
                                      platform.input,
                                      platform.streams,
                                      m_segments,
                                      m_ocr,
                                      [this](RowID id, Date timestamp, Image image, KnownLines lines) {
                                          m_backlog.readSoon(id, timestamp, std::move(image), std::move(lines));
                                      },
                                      m_tracker,
                                      clock,
                                      surroundings.mainThread,
                                      platform.identify,
                                      surroundings.ownBundleID};
          services.lines = m_lines;
          if (surroundings.startTimer) services.startTimer = *surroundings.startTimer;
          services.takeUsage = [this] { return m_usageMeter.take(); };
          return services;
      }()),
      m_settingsWatch(QString::fromStdString(settings.store().place())), m_policy(m_recorder.policy()) {
    m_storeTimer.setTimerType(Qt::VeryCoarseTimer);
    connect(&m_storeTimer, &QTimer::timeout, this, &AppModel::checkStore);
    connect(&m_settingsWatch, &FileWatch::changed, this, &AppModel::reloadSettings);
    m_pauseTimer.setSingleShot(true);
    connect(&m_pauseTimer, &QTimer::timeout, this, [this] {
        if (m_settings.pausedUntil() && *m_settings.pausedUntil() > m_clock.now())
            schedulePauseTimer();
        else
            resume();
    });
    m_savedTimer.setSingleShot(true);
    connect(&m_savedTimer, &QTimer::timeout, this, &AppModel::refreshStats);
    m_statsTimer.setTimerType(Qt::VeryCoarseTimer);
    connect(&m_statsTimer, &QTimer::timeout, this, [this] {
        refreshStats();
        reloadSettings(); // on a network disk nobody tells of changes
        // What isn't known may have been installed meanwhile.
        if (!m_settings.unknownApplications().empty()) applySettings();
        m_backlog.kick();
    });
}

AppModel::~AppModel() {
    m_settings.onChange = nullptr;
    m_hub.setOnDamage(nullptr);
    m_hub.setOnTrouble(nullptr);
}

void AppModel::start() {
    const QPointer<AppModel> weak(this);
    Recorder::Events events;
    events.status = [weak](RecorderStatus status) {
        if (weak.isNull()) return;
        weak->m_status = status;
        weak->updateStoreTimer();
        if (status.kind == RecorderStatus::Kind::needsPermission) weak->refreshPermissions();
        Q_EMIT weak->changed();
    };
    events.skip = [weak](const SkipReason& reason) {
        if (weak.isNull()) return;
        weak->m_skipReason = reason;
        Q_EMIT weak->changed();
    };
    events.saved = [weak](const FrameSummary& frame, const std::optional<std::string>&) {
        if (!weak.isNull()) weak->frameSaved(frame);
    };
    events.policy = [weak](const CapturePolicy& policy) {
        if (weak.isNull()) return;
        weak->m_policy = policy;
        weak->readPicturesIfAllowed();
        Q_EMIT weak->changed();
    };
    events.userStopped = [weak] {
        if (!weak.isNull()) weak->pauseUntilResumed();
    };
    m_recorder.setEvents(std::move(events));
    m_tracker.start();
    m_recorder.setPower(m_powerSnapshot);
    m_ocr.setWorkers(m_powerSnapshot.onBattery ? batteryWorkers : mainsWorkers);
    // The policy of these settings, before anything acts on that of others.
    holdForSettings();
    m_recorder.setConfig(m_settings.recorderConfig());
    m_policy = m_recorder.policy();
    m_hub.setOnDamage([weak] {
        if (weak.isNull()) return;
        weak->m_databaseDamaged = true;
        Q_EMIT weak->changed();
    });
    m_hub.setOnTrouble([weak](const StoreTrouble& trouble) {
        if (!weak.isNull()) weak->storeTroubleChanged(trouble);
    });
    m_backlog.setOnProgress([weak] {
        if (!weak.isNull()) weak->refreshStats();
    });
    m_settings.onChange = [weak] {
        if (!weak.isNull()) weak->applySettings();
    };
    applySettings();
    if (const auto until = m_settings.pausedUntil()) {
        if (*until > m_clock.now()) {
            m_recorder.setBlock(Recorder::Block::paused, true);
            schedulePauseTimer();
        } else {
            m_settings.pausedUntil.set(std::nullopt);
        }
    }
    m_statsTimer.start(statsInterval);
    Courses::launch(this);
}

void AppModel::shutdown() {
    m_statsTimer.stop();
    m_storeTimer.stop();
    m_pauseTimer.stop();
    m_backlog.setAllowed(false);
    m_backlog.cancel();
    m_recorder.shutdown();
}

void AppModel::applySettings() {
    // Before settings that can't be read whole take the place of those that could; after those that can.
    if (m_settings.mustWait()) holdForSettings();
    m_recorder.setConfig(m_settings.recorderConfig());
    holdForSettings();
    if (m_lastMCPFlag != m_settings.mcpEnabled()) {
        m_lastMCPFlag = m_settings.mcpEnabled();
        m_hub.writeAsync([enabled = m_settings.mcpEnabled()](MemoryStore& store) {
            store.setMeta("mcp_enabled", enabled ? "1" : "0");
        });
    }
    readPicturesIfAllowed();
}

void AppModel::holdForSettings() {
    m_recorder.setBlock(Recorder::Block::settings, m_settings.mustWait());
    const std::vector<std::string> problems = m_settings.problems();
    if (std::exchange(m_settingsProblems, problems) == problems) return;
    for (const std::string& problem : problems)
        Log::error(LogCategory::app, problem);
    if (m_settings.mustWait())
        Log::error(LogCategory::app, "Nothing is recorded until the settings can be read.");
    else if (problems.empty())
        Log::notice(LogCategory::app, "The settings can be read again.");
    Q_EMIT changed();
}

void AppModel::reloadSettings() {
    const auto pausedBefore = m_settings.pausedUntil();
    if (m_settings.reload()) takeOverSettings(pausedBefore);
}

SettingsCommands::Outcome AppModel::changeSettings(const SettingsCommands& commands) {
    const auto pausedBefore = m_settings.pausedUntil();
    SettingsCommands::Outcome outcome = commands.apply(m_settings);
    if (outcome.problem.empty()) takeOverSettings(pausedBefore);
    return outcome;
}

void AppModel::takeOverSettings(const std::optional<Date>& pausedBefore) {
    applySettings();
    if (m_isLaunched) m_recorder.setBlock(Recorder::Block::stopped, !m_settings.onboardingCompleted());
    if (const auto until = m_settings.pausedUntil(); until != pausedBefore) {
        m_recorder.setBlock(Recorder::Block::paused, until && *until > m_clock.now());
        schedulePauseTimer();
    }
    Q_EMIT changed();
}

void AppModel::storeTroubleChanged(const StoreTrouble& trouble) {
    using Kind = StoreTrouble::Kind;
    const StoreTrouble before = std::exchange(m_storeTrouble, trouble);
    if (trouble.kind != Kind::none && m_loggedTroubles.insert(trouble.sentence).second)
        Log::error(LogCategory::storage, trouble.sentence);
    if (trouble.kind == Kind::removed || trouble.kind == Kind::replaced)
        Courses::replaceMemory(this);
    else if (!m_isReplacingMemory)
        m_recorder.setBlock(Recorder::Block::storage, trouble.holdsRecording());
    readPicturesIfAllowed();
    updateStoreTimer();
    Q_EMIT changed();
}

// Who isn't recording stores nothing.
void AppModel::updateStoreTimer() {
    if (!m_status.isRecording() && m_storeTrouble.kind == StoreTrouble::Kind::none)
        m_storeTimer.stop();
    else if (!m_storeTimer.isActive())
        m_storeTimer.start(storeInterval);
}

void AppModel::pause(const PauseDuration& duration) {
    const Date now = m_clock.now();
    Date until = distantFuture;
    if (const auto* limited = std::get_if<PauseMinutes>(&duration))
        until = std::min(until, now + limited->minutes * 60.0); // no longer than the setting can tell
    // Eight elapsed hours after midnight, on purpose not a reading of the clock.
    if (std::holds_alternative<PauseUntilTomorrowMorning>(duration))
        until = Calendar::addingDays(Calendar::startOfDay(now), 1) + morningSeconds;
    m_settings.pausedUntil.set(until);
    m_recorder.setBlock(Recorder::Block::paused, true);
    schedulePauseTimer();
    Q_EMIT changed();
}

void AppModel::pauseUntilResumed() {
    pause(PauseUntilResumed());
}

void AppModel::resume() {
    m_settings.pausedUntil.set(std::nullopt);
    m_pauseTimer.stop();
    m_recorder.setBlock(Recorder::Block::paused, false);
    Q_EMIT changed();
}

void AppModel::suspendCapture(std::function<void()> held) {
    // The recorder first: it hands the backlog pictures.
    m_recorder.suspendCapture([weak = QPointer<AppModel>(this), held = std::move(held)] {
        if (!weak.isNull()) weak->m_backlog.suspend(held);
    });
}

void AppModel::resumeCapture() {
    m_backlog.resume();
    m_recorder.resumeCapture();
}

void AppModel::refreshPermissions() {
    const auto take = [weak = QPointer<AppModel>(this),
                       isAnswered = std::make_shared<bool>(false)](const CaptureReport& report) {
        if (weak.isNull() || std::exchange(*isAnswered, true)) return;
        weak->m_captureReport = report;
        if (weak->m_accessibilityPermission != report.accessibilityTrusted ||
            weak->m_accessibilityReason != report.accessibilityReason) {
            weak->m_accessibilityPermission = report.accessibilityTrusted;
            weak->m_accessibilityReason = report.accessibilityReason;
            Q_EMIT weak->changed();
        }
        Q_EMIT weak->permissionsRefreshed();
    };
    m_recorder.askReport(take);
    QTimer::singleShot(reportPatience, this, [this, take] {
        if (const auto report = m_recorder.reportOfLongLook()) take(*report);
    });
}

void AppModel::refreshStats() {
    Courses::refreshStats(this);
}

QString AppModel::statusText() const {
    switch (m_status.kind) {
    case RecorderStatus::Kind::recording:
        return m_status.textOnly ? localized("Recording text only") : localized("Recording");
    case RecorderStatus::Kind::stopped:
        return m_settings.onboardingCompleted() ? localized("Starting…") : localized("Setup needed");
    case RecorderStatus::Kind::paused:
        return localized("Paused");
    case RecorderStatus::Kind::locked:
        return localized("Waiting (screen locked)");
    case RecorderStatus::Kind::asleep:
        return localized("Waiting (display asleep)");
    case RecorderStatus::Kind::needsPermission:
        return localized("Screen Recording permission needed");
    case RecorderStatus::Kind::waiting:
        return m_settings.mustWait() ? localized("Waiting (settings can't be read)")
                                     : localized("Waiting (nothing can be stored)");
    }
    return {};
}

std::optional<QString> AppModel::detailText() const {
    if (auto pause = pauseText()) return pause;
    if (m_status.kind == RecorderStatus::Kind::waiting) {
        const std::vector<std::string> problems =
            m_settings.mustWait() ? m_settings.problems() : std::vector{m_storeTrouble.sentence};
        if (!problems.empty()) return QString::fromStdString(problems.front());
    }
    switch (m_skipReason.kind) {
    case SkipReason::Kind::ownApp:
        return std::nullopt;
    case SkipReason::Kind::secureInput:
        return localized("Not recording while a password is being typed");
    case SkipReason::Kind::unknownFocus:
        return localized("Recording titles only: couldn't check whether a password is being typed");
    case SkipReason::Kind::privateWindow:
        return localized("Not recording private browser windows");
    case SkipReason::Kind::excludedSite:
        return localized("Not recording an excluded website");
    case SkipReason::Kind::unverifiedBrowser:
        return m_accessibilityPermission
                   ? localized("Not recording this browser window: couldn't check whether it's private")
                   : localized(
                         "Not recording browser windows: allow Accessibility so private windows can be recognized");
    case SkipReason::Kind::excludedApp:
        return localized("Not recording: %1 is excluded").arg(QString::fromStdString(m_skipReason.name));
    case SkipReason::Kind::none:
        break;
    }
    if (m_status.isRecording() && m_status.textOnly) {
        if (m_policy.reason == CapturePolicy::Reason::thermal) return localized("Mac is hot: saving text only");
        if (m_policy.reason == CapturePolicy::Reason::lowBattery) return localized("Battery low: saving text only");
        if (m_policy.reason == CapturePolicy::Reason::lowPower) return localized("Low Power Mode: saving text only");
    }
    if (m_status.isRecording() && m_powerSnapshot.onBattery && !m_policy.ocrNow)
        return localized("On battery: reading text from images later");
    return std::nullopt;
}

std::optional<QString> AppModel::pauseText() const {
    const auto until = m_settings.pausedUntil();
    if (!until || *until <= m_clock.now()) return std::nullopt;
    if (*until == distantFuture) return localized("Paused until you resume");
    return localized("Paused until %1").arg(momentLabel(*until, m_clock.now()));
}

std::optional<QString> AppModel::readingProblem() const {
    if (const std::string reason = m_ocr.unavailableReason(); !reason.empty()) return QString::fromStdString(reason);
    QStringList languages;
    for (const std::string& code : m_ocr.missingLanguages())
        if (const QString name = languageName(code); !languages.contains(name)) languages.append(name);
    if (languages.isEmpty()) return std::nullopt;
    return localized("Text in images isn't read in these languages, whose data isn't installed: %1")
        .arg(languages.join(QStringLiteral(", ")));
}

void AppModel::schedulePauseTimer() {
    m_pauseTimer.stop();
    const auto until = m_settings.pausedUntil();
    if (!until || *until == distantFuture) return;
    const double seconds = std::clamp(*until - m_clock.now(), 0.0, longestTimerSeconds);
    m_pauseTimer.start(std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000) + 1));
}

void AppModel::readPicturesIfAllowed() {
    m_backlog.setAllowed(m_policy.ocrNow && !m_storeTrouble.holdsRecording());
    m_backlog.kick();
}

void AppModel::frameSaved(const FrameSummary& frame) {
    m_lastSaved = frame;
    m_loggedTroubles.clear();
    Q_EMIT changed();
    if (!m_savedTimer.isActive()) m_savedTimer.start(savedFrameDelay);
}

} // namespace nomara
