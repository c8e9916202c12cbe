#pragma once

#include "core/base/SerialQueue.h"
#include "platform/VideoCodec.h"
#include "platform/linux/libav/HevcEncoder.h"
#include "platform/linux/libav/PictureChecksums.h"
#include "platform/linux/libav/PictureScaler.h"
#include "platform/linux/libav/SegmentFile.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// One picture at a time is taken, and stored before the next, so that a crash costs one at most. The encoder goes
/// after a while without pictures and comes back with the next one.
class LibavVideoOutput final : public VideoOutput {
public:
    /// Throws VideoError. `openEncoders` counts the encoders that hold memory.
    LibavVideoOutput(const VideoSettings& settings, double idleSeconds, std::atomic<int>& openEncoders);
    ~LibavVideoOutput() override;
    LibavVideoOutput(const LibavVideoOutput&) = delete;
    LibavVideoOutput& operator=(const LibavVideoOutput&) = delete;

    Status status() const override;
    std::string errorText() const override;
    bool waitUntilReady(double seconds) override;
    bool append(const Image& image) override;
    std::int64_t storedFrames() const override;
    void finish() override;
    void cancel() override;

private:
    void openEncoder();
    void closeEncoder();
    void store(const Image& image);
    void encode(const PixelBuffer& image);
    void complete();

    const VideoSettings m_settings;
    const double m_idleSeconds;
    std::atomic<int>& m_openEncoders;
    std::atomic<bool> m_givenUp = false;

    // m_mutex guards the four fields below it.
    mutable std::mutex m_mutex;
    std::condition_variable m_ready;
    Status m_status = Status::writing;
    std::string m_error;
    bool m_busy = false; // with a picture that isn't stored yet
    std::int64_t m_stored = 0;

    // Used on m_queue alone.
    std::unique_ptr<libav::HevcEncoder> m_encoder;
    std::unique_ptr<libav::SegmentFile> m_file;
    std::optional<libav::ChecksumWriter> m_checksums;
    libav::PictureScaler m_scaler;
    std::vector<std::uint8_t> m_description; // of the stream, at the head of the file
    std::chrono::steady_clock::time_point m_encodedAt;
    std::unique_ptr<SerialQueue::Timer> m_idleTimer;

    SerialQueue m_queue; // last, so that it has run all its work before anything that it uses goes
};

} // namespace nomara
