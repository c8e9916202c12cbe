#include "Quillshade/segments/SegmentManager.h"

#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/base/Paths.h"

#include <QPromise>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <filesystem>
#include <future>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace nomara {

namespace fs = std::filesystem;

namespace {

constexpr double longestSegmentSeconds = 1800;
constexpr std::int64_t mostFrames = 300;
constexpr std::int64_t leastFreeBytes = 2'147'483'648;
constexpr double diskCheckSeconds = 60;
constexpr int encoderSpins = 60;
constexpr std::chrono::milliseconds spinTime{5};
constexpr int probeSide = 64; // pixels; enough to see whether a picture can be read

struct Encoding {
    int maxWidth;
    double quality;
};

Encoding encoding(ImageQuality quality) {
    switch (quality) {
    case ImageQuality::compact:
        return {1440, 0.42};
    case ImageQuality::balanced:
        return {1920, 0.5};
    case ImageQuality::sharp:
        return {2560, 0.6};
    }
    return {1920, 0.5};
}

// The folder is for the owner alone, as all others below the data folder are.
void makeDayFolder(const fs::path& folder) {
    fs::create_directories(folder.parent_path());
    if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throw fs::filesystem_error("The folder can't be created", folder,
                                   std::error_code(errno, std::generic_category()));
}

void removeFile(const fs::path& file) {
    std::error_code ignored; // what can't be removed is found again by the sweep for files nobody knows
    fs::remove(file, ignored);
}

std::int64_t sizeOf(const fs::path& file) {
    std::error_code error;
    const auto bytes = fs::file_size(file, error);
    return error ? 0 : static_cast<std::int64_t>(bytes);
}

// A new file has another name each time; its folder tells as much, and that the failure is the same.
std::string namingTheFolder(std::string message, const fs::path& file) {
    const std::string path = file.string();
    if (const auto at = message.find(path); at != std::string::npos)
        message.replace(at, path.size(), file.parent_path().string());
    return message;
}

bool canBeRead(VideoInput& input, std::int64_t index) {
    try {
        return input.frame(index, probeSide) != nullptr;
    } catch (const DamagedVideo&) {
        return false;
    }
}

// A file that was cut short may announce more than can be read: from the end back to the first picture that is there.
// Throws VideoError where that can't be found out now.
std::int64_t readableFrames(VideoCodec& codec, const fs::path& file) {
    if (!fs::exists(file)) return 0;
    try {
        const auto input = codec.open(file);
        std::int64_t count = input->frameCount();
        while (count > 0 && !canBeRead(*input, count - 1))
            --count;
        return count;
    } catch (const DamagedVideo&) {
        return 0;
    }
}

} // namespace

SegmentManager::SegmentManager(StoreHub& hub, VideoCodec& codec, Volume& volume, const Clock& clock,
                               double finishLimitSeconds)
    : m_hub(hub), m_codec(codec), m_volume(volume), m_clock(clock), m_finishLimitSeconds(finishLimitSeconds),
      m_finishing("com.brindlewick.nomara.segments.finish", QueueQuality::utility) {}

SegmentManager::~SegmentManager() = default;

std::optional<SegmentManager::Place> SegmentManager::append(const Image& image, DisplayID displayID, Date date,
                                                            ImageQuality quality,
                                                            const std::function<bool()>& isInterrupted) {
    if (!image) return std::nullopt;
    const PixelSize size{image->width, image->height};
    auto entry = m_open.find(displayID);
    if (entry != m_open.end() && mustRollOver(*entry->second, size, date, quality)) {
        // A full disk is the likeliest reason for a failure: no new segment before that is known.
        if (!entry->second->writer->isWriting()) m_diskCheckedAt.reset();
        close(displayID);
        entry = m_open.end();
    }
    if (entry == m_open.end()) {
        if (isDiskLow()) return std::nullopt;
        if (!waitUntilStored(displayID, isInterrupted)) {
            Log::error(LogCategory::capture, "Encoder busy, frame dropped");
            return std::nullopt;
        }
        try {
            entry = m_open.emplace(displayID, openSegment(displayID, size, quality, date)).first;
        } catch (const std::exception& error) {
            m_failures.tell(displayID, std::string("Could not open segment: ") + error.what());
            return std::nullopt;
        }
    }
    // What an earlier segment failed with is told only when it has been finished.
    const auto closing = m_closing[displayID].lock();
    if (entry->second->writer->isWriting() && entry->second->writer->storedFrames() > 0 &&
        (!closing || closing->isFinished))
        m_failures.recovered(displayID);
    const auto index = entry->second->writer->append(image, date, encoderSpins, isInterrupted);
    if (!index) return std::nullopt;
    entry->second->lastPictureAt = m_clock.uptime();
    return Place{entry->second->id, *index};
}

// A crash costs a display one picture: as long as the last one of the segment before isn't on the disk, no new segment
// takes one.
bool SegmentManager::waitUntilStored(DisplayID displayID, const std::function<bool()>& isInterrupted) {
    const auto entry = m_closing[displayID].lock();
    if (!entry) return true;
    const SegmentWriter& writer = *entry->writer;
    for (int spin = 0; writer.isWriting() && writer.storedFrames() < writer.frameCount(); ++spin) {
        if (spin == encoderSpins || (isInterrupted && isInterrupted())) return false;
        std::this_thread::sleep_for(spinTime);
    }
    return true;
}

void SegmentManager::closeIdle(double limitSeconds) {
    const double now = m_clock.uptime();
    std::vector<DisplayID> idle;
    for (const auto& [displayID, entry] : m_open)
        if (now - entry->lastPictureAt >= limitSeconds) idle.push_back(displayID);
    for (const DisplayID displayID : idle)
        close(displayID);
}

void SegmentManager::close(DisplayID displayID) {
    auto entry = m_open.extract(displayID);
    if (!entry) return;
    m_closing[displayID] = entry.mapped();
    finishInBackground(std::move(entry.mapped()));
}

void SegmentManager::closeAll() {
    m_failures.clear();
    while (!m_open.empty())
        close(m_open.begin()->first);
}

void SegmentManager::closeAllAndWait() {
    const std::chrono::duration<double> limit(m_finishLimitSeconds);
    for (auto& [displayID, entry] : std::exchange(m_open, {})) {
        const auto work =
            std::make_shared<std::packaged_task<std::int64_t()>>([this, entry = entry] { return finish(*entry); });
        auto bytes = work->get_future();
        m_finishing.async([work] { (*work)(); });
        const bool finished = bytes.wait_for(limit) == std::future_status::ready;
        // What is deleted next must not come back by a late hand.
        if (!finished) entry->writer->abandon();
        recordClose(*entry, finished ? bytes.get() : 0);
    }
    const auto others = std::make_shared<std::promise<void>>();
    auto done = others->get_future();
    m_finishing.async([others] { others->set_value(); });
    done.wait_for(limit);
    m_failures.clear(); // last: what was closed before may have failed only now, as the others did
}

std::set<std::string> SegmentManager::openPaths() const {
    std::set<std::string> paths;
    for (const auto& [displayID, entry] : m_open)
        paths.insert(entry->path);
    return paths;
}

QFuture<void> SegmentManager::recoverOpenSegments() {
    const auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    m_finishing.async([this, promise] {
        std::vector<SegmentRecord> segments;
        try {
            segments = m_hub.read([](MemoryStore& store) { return store.openSegments(); });
        } catch (const std::exception& error) {
            Log::error(LogCategory::storage, std::string("Segments left open could not be listed: ") + error.what());
        }
        for (const SegmentRecord& segment : segments)
            recover(segment);
        promise->finish();
    });
    return promise->future();
}

// All frames of a file have one size and one quality. Its time is told by both clocks: one stands still while the
// machine sleeps, the other may be set, and none of a segment's frames may lie before its start.
bool SegmentManager::mustRollOver(const Open& entry, PixelSize size, Date date, ImageQuality quality) const {
    const SegmentWriter& writer = *entry.writer;
    const double age = date - writer.startedAt();
    return age < 0 || std::max(age, m_clock.uptime() - entry.openedAt) >= longestSegmentSeconds ||
           writer.frameCount() >= mostFrames || !writer.isWriting() || writer.sourceSize() != size ||
           entry.quality != quality;
}

bool SegmentManager::isDiskLow() {
    const double now = m_clock.uptime();
    if (m_diskCheckedAt && now - *m_diskCheckedAt < diskCheckSeconds) return m_diskLow;
    m_diskCheckedAt = now;
    const auto available = m_volume.availableBytes(NomaraPaths::dataDirectory());
    if (!available) return m_diskLow;
    const bool low = *available < leastFreeBytes;
    if (low != m_diskLow)
        Log::error(LogCategory::storage,
                   "Free disk space " + std::to_string(*available) + " bytes: images " + (low ? "paused" : "resumed"));
    return m_diskLow = low;
}

SegmentManager::Entry SegmentManager::openSegment(DisplayID displayID, PixelSize size, ImageQuality quality,
                                                  Date date) {
    const std::string day = Calendar::dayKey(date);
    const auto milliseconds = static_cast<std::int64_t>(date.seconds * 1000);
    auto entry = std::make_shared<Open>();
    entry->displayID = displayID;
    entry->path = "segments/" + day + "/" + std::to_string(displayID) + "-" + std::to_string(milliseconds) + ".mp4";
    entry->quality = quality;
    entry->openedAt = entry->lastPictureAt = m_clock.uptime();
    const fs::path file = NomaraPaths::framesFile(entry->path);
    makeDayFolder(file.parent_path());
    const auto [maxWidth, encoderQuality] = encoding(quality);
    try {
        entry->writer = std::make_unique<SegmentWriter>(m_codec, file, size, maxWidth, encoderQuality, date);
    } catch (const VideoError& error) {
        throw VideoError(namingTheFolder(error.what(), file));
    }
    try {
        const PixelSize video = entry->writer->outputSize();
        entry->id = m_hub.write([&](MemoryStore& store) {
            return store.insertOpenSegment(entry->path, displayID, date, video.width, video.height);
        });
    } catch (...) {
        entry->writer->finish(); // removes the file, which no row will ever point at
        throw;
    }
    return entry;
}

std::int64_t SegmentManager::finish(Open& entry) {
    const std::int64_t bytes = entry.writer->finish();
    if (const auto failure = entry.writer->finishFailure())
        m_failures.tell(entry.displayID, "Segment finish failed: " + *failure);
    entry.isFinished = true;
    return bytes;
}

void SegmentManager::finishInBackground(Entry entry) {
    m_finishing.async([this, entry = std::move(entry)] { recordClose(*entry, finish(*entry)); });
}

// Pictures were given their places before they were in the file; those that never got there are told to the store here.
void SegmentManager::recordClose(const Open& entry, std::int64_t bytes) {
    const SegmentWriter& writer = *entry.writer;
    const std::int64_t stored = std::min(writer.storedFrames(), writer.frameCount());
    const bool lost = stored < writer.frameCount();
    try {
        m_hub.write([&](MemoryStore& store) {
            store.transaction([&] {
                // Where the memory was emptied meanwhile, the id may be another segment's by now.
                const auto row = store.segment(entry.id);
                if (!row || row->path != entry.path) return;
                if (lost) store.dropFrameImages(entry.id, stored);
                if (stored > 0) {
                    const Date end =
                        lost ? store.lastFrameTime(entry.id).value_or(writer.startedAt()) : writer.lastFrameAt();
                    store.closeSegment(entry.id, end, stored, bytes);
                } else {
                    store.deleteSegmentRow(entry.id);
                }
            });
        });
        if (stored == 0) removeFile(writer.url());
    } catch (const std::exception& error) {
        Log::error(LogCategory::storage, std::string("Segment close record failed: ") + error.what());
    }
}

void SegmentManager::recover(const SegmentRecord& segment) {
    const fs::path file = NomaraPaths::framesFile(segment.path);
    try {
        m_codec.removeLeftovers(file);
        const std::int64_t count = readableFrames(m_codec, file);
        m_hub.write([&](MemoryStore& store) {
            store.transaction([&] {
                store.dropFrameImages(segment.id, count);
                if (count > 0)
                    store.closeSegment(segment.id, store.lastFrameTime(segment.id).value_or(segment.start), count,
                                       sizeOf(file));
                else
                    store.deleteSegmentRow(segment.id);
            });
        });
        if (count == 0) removeFile(file);
    } catch (const std::exception& error) {
        // It stays open, with its file, and the next start looks at it again.
        Log::error(LogCategory::storage, segment.path + " could not be recovered: " + error.what());
    }
}

} // namespace nomara
