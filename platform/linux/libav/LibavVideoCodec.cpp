#include "platform/linux/libav/LibavVideoCodec.h"

#include "platform/linux/libav/LibavVideoInput.h"
#include "platform/linux/libav/LibavVideoOutput.h"
#include "platform/linux/libav/SegmentCompletion.h"

#include <system_error>

extern "C" {
#include <libavutil/log.h>
}

namespace nomara {

LibavVideoCodec::LibavVideoCodec(double idleSeconds) : m_idleSeconds(idleSeconds) {
    av_log_set_level(AV_LOG_QUIET);
}

std::unique_ptr<VideoOutput> LibavVideoCodec::create(const VideoSettings& settings) {
    return std::make_unique<LibavVideoOutput>(settings, m_idleSeconds, m_openEncoders);
}

std::unique_ptr<VideoInput> LibavVideoCodec::open(const std::filesystem::path& file) {
    return std::make_unique<LibavVideoInput>(file);
}

void LibavVideoCodec::removeLeftovers(const std::filesystem::path& file) {
    std::error_code ignored; // what can't be removed is found again by the sweep for files nobody knows
    std::filesystem::remove(libav::unfinishedCompletion(file), ignored);
}

} // namespace nomara
