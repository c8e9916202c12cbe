#include "platform/linux/libav/LibavVideoOutput.h"

#include "platform/linux/libav/SegmentCompletion.h"

#include <exception>

namespace nomara {

namespace {

bool holdsPixels(const Image& image) {
    if (!image || image->width <= 0 || image->height <= 0) return false;
    const auto row = static_cast<std::size_t>(image->width) * 4;
    return image->stride >= row &&
           image->bytes.size() >= image->stride * static_cast<std::size_t>(image->height - 1) + row;
}

} // namespace

LibavVideoOutput::LibavVideoOutput(const VideoSettings& settings, double idleSeconds, std::atomic<int>& openEncoders)
    : m_settings(settings), m_idleSeconds(idleSeconds), m_openEncoders(openEncoders),
      m_queue("com.brindlewick.nomara.video.encoder", QueueQuality::utility) {
    m_queue.sync([this] {
        openEncoder();
        try {
            const AVCodecContext& context = m_encoder->context();
            m_description.assign(context.extradata, context.extradata + context.extradata_size);
            m_checksums.emplace(m_description);
            const libav::CodecParameters parameters = libav::parametersOf(context);
            libav::announceChecksums(*parameters);
            m_file = std::make_unique<libav::SegmentFile>(m_settings.file, *parameters);
        } catch (...) {
            closeEncoder();
            throw;
        }
    });
}

LibavVideoOutput::~LibavVideoOutput() {
    m_queue.sync([this] { closeEncoder(); });
}

VideoOutput::Status LibavVideoOutput::status() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

std::string LibavVideoOutput::errorText() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

bool LibavVideoOutput::waitUntilReady(double seconds) {
    std::unique_lock lock(m_mutex);
    return m_ready.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return !m_busy; });
}

bool LibavVideoOutput::append(const Image& image) {
    if (!holdsPixels(image)) return false;
    {
        const std::lock_guard lock(m_mutex);
        if (m_status != Status::writing || m_busy) return false;
        m_busy = true;
    }
    m_queue.async([this, image] { store(image); });
    return true;
}

std::int64_t LibavVideoOutput::storedFrames() const {
    const std::lock_guard lock(m_mutex);
    return m_stored;
}

void LibavVideoOutput::finish() {
    m_queue.sync([this] { complete(); });
}

void LibavVideoOutput::cancel() {
    m_givenUp = true;
    const std::lock_guard lock(m_mutex);
    if (m_status == Status::writing) m_status = Status::cancelled;
}

void LibavVideoOutput::openEncoder() {
    m_encoder = std::make_unique<libav::HevcEncoder>(m_settings.size, m_settings.quality);
    ++m_openEncoders;
    m_idleTimer = m_queue.repeat(m_idleSeconds, m_idleSeconds, m_idleSeconds / 4, [this] {
        const std::chrono::duration<double> idle = std::chrono::steady_clock::now() - m_encodedAt;
        if (idle.count() >= m_idleSeconds) closeEncoder();
    });
}

void LibavVideoOutput::closeEncoder() {
    m_idleTimer.reset();
    if (!m_encoder) return;
    m_encoder.reset();
    --m_openEncoders;
}

// A picture was promised a place when it was taken. Where it doesn't get there, no later one may, and the caller learns
// from `status` and `storedFrames` which places hold nothing.
void LibavVideoOutput::store(const Image& image) {
    std::string error;
    try {
        if (!m_givenUp) encode(*image);
    } catch (const std::exception& failure) {
        error = failure.what();
    }
    if (!error.empty()) {
        closeEncoder();
        m_file.reset();
    }
    {
        const std::lock_guard lock(m_mutex);
        if (!error.empty() && m_status == Status::writing) {
            m_status = Status::failed;
            m_error = error;
        } else if (error.empty() && !m_givenUp) {
            ++m_stored;
        }
        m_busy = false;
    }
    m_ready.notify_all();
}

void LibavVideoOutput::encode(const PixelBuffer& image) {
    if (!m_encoder) {
        openEncoder();
        const AVCodecContext& context = m_encoder->context();
        if (m_description != std::vector(context.extradata, context.extradata + context.extradata_size))
            throw VideoError("The video encoder has changed.");
    }
    const libav::Frame frame = m_scaler.toVideo(image, m_settings.size);
    if (!frame) throw VideoError("There is too little memory for a picture.");
    const std::int64_t index = storedFrames();
    const libav::Packet packet = m_encoder->encode(*frame, index);
    m_checksums->add(*packet, index);
    m_file->append(*packet);
    m_encodedAt = std::chrono::steady_clock::now();
}

void LibavVideoOutput::complete() {
    closeEncoder();
    m_file.reset();
    if (status() != Status::writing) return;
    libav::completeSegment(m_settings.file, storedFrames(), m_givenUp);
    const std::lock_guard lock(m_mutex);
    if (m_status == Status::writing) m_status = Status::completed;
}

} // namespace nomara
