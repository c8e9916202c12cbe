#include "Quillshade/segments/SegmentWriter.h"

#include "core/base/Log.h"

#include <cmath>
#include <system_error>

namespace nomara {

namespace fs = std::filesystem;

namespace {

constexpr double spinSeconds = 0.005;

} // namespace

SegmentWriter::SegmentWriter(VideoCodec& codec, const fs::path& url, PixelSize sourceSize, int maxWidth, double quality,
                             Date startedAt)
    : m_url(url), m_sourceSize(sourceSize), m_outputSize(outputSize(maxWidth, sourceSize)), m_startedAt(startedAt),
      m_lastFrameAt(startedAt), m_output(codec.create({url, m_outputSize, quality})) {}

PixelSize SegmentWriter::outputSize(int maxWidth, PixelSize sourceSize) {
    auto [width, height] = sourceSize;
    if (maxWidth < width) {
        height = static_cast<int>(std::lround(static_cast<double>(height) * maxWidth / width));
        width = maxWidth;
    }
    return {width & ~1, height & ~1};
}

std::optional<std::int64_t> SegmentWriter::append(const Image& image, Date date, int spins,
                                                  const std::function<bool()>& isInterrupted) {
    if (!isWriting()) return std::nullopt;
    bool isReady = m_output->waitUntilReady(0);
    for (int spin = 0; !isReady && spin < spins && !(isInterrupted && isInterrupted()); ++spin)
        isReady = m_output->waitUntilReady(spinSeconds);
    if (!isReady) {
        Log::error(LogCategory::capture, "Encoder busy, frame dropped");
        return std::nullopt;
    }
    if (!m_output->append(image)) {
        Log::error(LogCategory::capture, "Append failed: " + m_output->errorText());
        return std::nullopt;
    }
    m_lastFrameAt = date;
    return m_frameCount++;
}

std::int64_t SegmentWriter::finish() {
    if (m_frameCount == 0) {
        m_output->cancel();
        removeFile();
        return 0;
    }
    if (isWriting()) m_output->finish();
    std::error_code error;
    const auto bytes = fs::file_size(m_url, error);
    return error ? 0 : static_cast<std::int64_t>(bytes);
}

std::optional<std::string> SegmentWriter::finishFailure() const {
    if (m_frameCount == 0 || m_output->status() == VideoOutput::Status::completed) return std::nullopt;
    return m_output->errorText();
}

void SegmentWriter::removeFile() const {
    std::error_code ignored; // an empty file that stays is found again by the sweep for files nobody knows
    fs::remove(m_url, ignored);
}

} // namespace nomara
