#pragma once

#include "platform/VideoCodec.h"

#include <atomic>

namespace nomara {

/// HEVC in MP4 by FFmpeg's libraries and x265. Outlives what it has created. Silences FFmpeg's own messages for the
/// process: damaged files are expected, and answered for.
class LibavVideoCodec final : public VideoCodec {
public:
    /// An encoder without pictures for so long is closed within twice that time; it holds some 100 MB.
    explicit LibavVideoCodec(double idleSeconds = 30);

    std::unique_ptr<VideoOutput> create(const VideoSettings& settings) override;
    std::unique_ptr<VideoInput> open(const std::filesystem::path& file) override;
    void removeLeftovers(const std::filesystem::path& file) override;

    /// How many encoders hold memory now.
    int openEncoders() const { return m_openEncoders; }

private:
    const double m_idleSeconds;
    std::atomic<int> m_openEncoders = 0;
};

} // namespace nomara
