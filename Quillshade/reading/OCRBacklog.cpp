#include "Quillshade/reading/OCRBacklog.h"

#include "Quillshade/segments/FrameImageLoader.h"
#include "Quillshade/store/StoreHub.h"
#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/text/LineDeduper.h"
#include "core/text/LineSplitter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <iterator>
#include <utility>

namespace nomara {

namespace {

constexpr std::size_t framesAtOnce = 20;
constexpr std::int64_t framesPerProgress = 25;
constexpr std::size_t maxFailures = 10'000; // that are remembered
constexpr std::size_t mostFresh = 2;        // pictures in memory, 8 to 33 MB each
// A frame just stored may still be changed by those who stored it.
constexpr double youngestSeconds = 20;
constexpr double recentSeconds = 1'800; // as long as lines count as seen
constexpr std::int64_t maxCharacters = 40'000, maxLines = 2'000;

/// The number of a forgotten frame is given to another one.
bool isStillQueued(const std::optional<FrameRecord>& stored, Date timestamp) {
    return stored && stored->timestamp == timestamp && stored->ocrState == OCRState::queued;
}

} // namespace

class OCRBacklog::Pass {
public:
    explicit Pass(OCRBacklog& backlog) : m_backlog(backlog), m_services(backlog.m_services) {}

    void run() {
        double failurePause = m_backlog.m_pauses.afterFailures;
        while (m_backlog.mayGoOn()) {
            readFresh();
            const auto batch = nextBatch();
            if (batch.empty()) return;
            bool anySettled = false;
            for (const FrameRecord& frame : batch) {
                // Without the data that reading needs everything would be taken for an image without text.
                if (!m_backlog.mayGoOn() || !m_services.ocr.unavailableReason().empty()) return;
                readFresh();
                if (settle(frame))
                    anySettled = true;
                else if (m_backlog.mayGoOn())
                    m_backlog.noteFailure(frame);
            }
            if (anySettled) {
                failurePause = m_backlog.m_pauses.afterFailures;
            } else {
                m_backlog.pause(failurePause);
                failurePause = std::min(2 * failurePause, m_backlog.m_pauses.longest);
            }
        }
    }

private:
    /// The oldest that aren't deferred.
    std::vector<FrameRecord> nextBatch() {
        const Date cutoff = m_services.clock.now() - youngestSeconds;
        std::vector<FrameRecord> batch;
        std::optional<FrameRecord> last;
        try {
            while (batch.size() < framesAtOnce && m_backlog.mayGoOn()) {
                auto frames = m_services.hub.read([&](MemoryStore& store) {
                    return store.ocrBacklog(cutoff, static_cast<std::int64_t>(framesAtOnce), last ? &*last : nullptr);
                });
                if (frames.empty()) break;
                last = frames.back();
                std::erase_if(frames, [this](const FrameRecord& frame) { return m_backlog.isDeferred(frame); });
                std::ranges::move(frames, std::back_inserter(batch));
            }
        } catch (const std::exception&) {
            return {}; // the hub has looked at why; the next pass tries again
        }
        return batch;
    }

    /// False where the frame stays queued.
    bool settle(const FrameRecord& frame) {
        try {
            const Image image = picture(frame);
            if (!image) return markFailed(frame);
            const bool isStored = read(frame, image, {frame.contextKey()});
            m_backlog.pause(m_backlog.m_pauses.betweenFrames);
            return isStored;
        } catch (const std::exception& error) {
            Log::error(LogCategory::ocr, std::string("A frame could not be read later: ") + error.what());
            return false;
        }
    }

    /// What somebody has just seen and may look for at once.
    void readFresh() {
        while (m_backlog.mayGoOn()) {
            const auto fresh = m_backlog.takeFresh();
            if (!fresh) return;
            try {
                const auto frame = m_services.hub.read([&](MemoryStore& store) { return store.frame(fresh->frameID); });
                if (isStillQueued(frame, fresh->timestamp)) read(*frame, fresh->image, fresh->lines);
            } catch (const std::exception& error) {
                Log::error(LogCategory::ocr, std::string("A new frame could not be read: ") + error.what());
            }
        }
    }

    bool read(const FrameRecord& frame, const Image& image, const KnownLines& lines) {
        const auto reading = m_services.ocr.recognize(image, {.focus = frame.windowRect,
                                                              .urgency = TextRequest::Urgency::later,
                                                              .shouldStop = [this] { return m_backlog.isCancelled(); },
                                                              .isKnown = lines.isKnown,
                                                              .subject = frame.appBundleID.value_or("")});
        if (reading.failed && !m_services.ocr.unavailableReason().empty()) return false;
        if (!reading.isComplete && m_backlog.isCancelled()) return false;
        const bool isStored = store(frame, lines.context, OCRService::textLines(reading.observations));
        if (isStored && ++m_settledFrames % framesPerProgress == 0) m_backlog.tellProgress();
        return isStored;
    }

    Image picture(const FrameRecord& frame) {
        if (frame.imageState != ImageState::segment || !frame.segmentPath || !frame.segmentIndex) return nullptr;
        try {
            return m_services.images.passingImage(frame, FrameImageLoader::Size::full).result();
        } catch (const DamagedVideo&) {
            return nullptr; // no later look will find it whole
        }
    }

    /// A frame without a picture won't get one, unless its segment was rewritten while it was looked for. Looking and
    /// marking are one piece of work, so that no rewrite comes in between.
    bool markFailed(const FrameRecord& frame) {
        return m_services.hub.write([&](MemoryStore& store) {
            const auto stored = store.frame(frame.id);
            if (!isStillQueued(stored, frame.timestamp)) return true;
            if (stored->segmentPath != frame.segmentPath || stored->segmentIndex != frame.segmentIndex) return false;
            store.setOCRState(frame.id, OCRState::failed);
            return true;
        });
    }

    bool store(const FrameRecord& frame, const std::string& context, const std::vector<std::string>& recognized) {
        // What was on the screen lately counts as seen there; of what is older, only what was read with it does.
        const bool isRecent = std::abs(m_services.clock.now() - frame.timestamp) <= recentSeconds;
        LineDeduper& lines = isRecent ? *m_services.lines : m_olderLines;
        const double at = isRecent ? m_services.clock.uptime() : frame.timestamp.seconds;
        bool isStored = false;
        std::vector<std::string> fresh;
        try {
            const std::string body = m_services.hub.read(
                [&](MemoryStore& store) { return store.frameText(frame.id).value_or(std::string()); });
            const auto known = LineSplitter::lines(body, maxCharacters, maxLines);
            if (frame.textSource.contains(TextSource::ocr()))
                lines.newReadLines(known, context, at);
            else
                lines.newLines(known, context, at);
            fresh = lines.newReadLines(recognized, context, at);
            isStored = write(frame, fresh);
        } catch (const std::exception& error) {
            Log::error(LogCategory::ocr, std::string("Text of an image could not be stored: ") + error.what());
        }
        // Lines that weren't stored mustn't be taken for known ones when they come again.
        if (!isStored) lines.forget(fresh, context);
        return isStored;
    }

    bool write(const FrameRecord& frame, const std::vector<std::string>& fresh) {
        const std::string today = Calendar::dayKey(m_services.clock.now());
        return m_services.hub.write([&](MemoryStore& store) {
            return store.transaction([&] {
                const bool isThere = isStillQueued(store.frame(frame.id), frame.timestamp);
                if (isThere) store.updateFrameText(frame.id, fresh, TextSource::ocr(), OCRState::done);
                store.addStats(today, {.ocrRuns = 1});
                return isThere;
            });
        });
    }

    OCRBacklog& m_backlog;
    const Services& m_services;
    LineDeduper m_olderLines{12, 4'000, recentSeconds};
    std::int64_t m_settledFrames = 0;
};

OCRBacklog::OCRBacklog(Services services, Pauses pauses) : m_services(std::move(services)), m_pauses(pauses) {}

OCRBacklog::~OCRBacklog() {
    setAllowed(false);
    cancel();
}

void OCRBacklog::setOnProgress(std::function<void()> onProgress) {
    *m_onProgress = std::move(onProgress);
}

void OCRBacklog::setAllowed(bool allowed) {
    {
        const std::lock_guard lock(m_lock);
        m_allowed = allowed;
        if (!allowed) m_fresh.clear();
    }
    m_interrupted.notify_all();
}

bool OCRBacklog::kick() {
    {
        const std::lock_guard lock(m_lock);
        if (!m_allowed || m_holders > 0 || m_running) return false;
        m_running = true;
        m_cancelled = false;
    }
    m_queue.async([this] { run(); });
    return true;
}

void OCRBacklog::readSoon(RowID frameID, Date timestamp, Image image, KnownLines lines) {
    {
        const std::lock_guard lock(m_lock);
        if (!m_allowed || m_holders > 0) return;
        m_fresh.push_back({frameID, timestamp, std::move(image), std::move(lines)});
        if (m_fresh.size() > mostFresh) m_fresh.pop_front();
    }
    m_interrupted.notify_all();
    kick();
}

void OCRBacklog::cancel() {
    {
        const std::lock_guard lock(m_lock);
        m_cancelled = true;
        m_fresh.clear();
    }
    m_interrupted.notify_all();
}

void OCRBacklog::suspend(std::function<void()> held) {
    {
        const std::lock_guard lock(m_lock);
        ++m_holders;
    }
    cancel();
    m_queue.async([this, held = std::move(held)] {
        m_failures.clear();
        m_services.mainThread(held);
    });
}

void OCRBacklog::resume() {
    {
        const std::lock_guard lock(m_lock);
        if (m_holders == 0 || --m_holders > 0) return;
    }
    kick();
}

bool OCRBacklog::isRunning() const {
    const std::lock_guard lock(m_lock);
    return m_running;
}

void OCRBacklog::run() {
    try {
        Pass(*this).run();
    } catch (const std::exception& error) {
        Log::error(LogCategory::ocr, std::string("Reading images later failed: ") + error.what());
    }
    bool hasFresh = false;
    {
        const std::lock_guard lock(m_lock);
        m_running = false;
        hasFresh = !m_fresh.empty(); // it came when the pass had already looked
    }
    tellProgress();
    if (hasFresh) kick();
}

bool OCRBacklog::mayGoOn() const {
    const std::lock_guard lock(m_lock);
    return m_allowed && m_holders == 0 && !m_cancelled;
}

bool OCRBacklog::isCancelled() const {
    const std::lock_guard lock(m_lock);
    return m_cancelled;
}

void OCRBacklog::pause(double seconds) {
    std::unique_lock lock(m_lock);
    m_interrupted.wait_for(lock, std::chrono::duration<double>(seconds),
                           [this] { return !m_allowed || m_cancelled || !m_fresh.empty(); });
}

bool OCRBacklog::isDeferred(const FrameRecord& frame) const {
    const auto failure = m_failures.find(frame.id);
    return failure != m_failures.end() && failure->second.timestamp == frame.timestamp &&
           failure->second.notBefore > m_services.clock.uptime();
}

// Frames that fail again and again must not keep all others from being read.
void OCRBacklog::noteFailure(const FrameRecord& frame) {
    if (m_failures.size() >= maxFailures) m_failures.erase(m_failures.begin());
    Failure& failure = m_failures[frame.id];
    if (failure.timestamp != frame.timestamp) failure = {frame.timestamp};
    const double pause = m_pauses.afterFailures * std::exp2(failure.tries++);
    failure.notBefore = m_services.clock.uptime() + std::min(pause, m_pauses.longestOfFrame);
}

std::optional<OCRBacklog::Fresh> OCRBacklog::takeFresh() {
    const std::lock_guard lock(m_lock);
    if (m_fresh.empty()) return std::nullopt;
    auto fresh = std::move(m_fresh.front());
    m_fresh.pop_front();
    return fresh;
}

void OCRBacklog::tellProgress() {
    m_services.mainThread([weak = std::weak_ptr(m_onProgress)] {
        if (const auto onProgress = weak.lock(); onProgress && *onProgress) (*onProgress)();
    });
}

} // namespace nomara
