#pragma once

#include "core/base/Date.h"
#include "platform/VideoCodec.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace nomara {

/// One segment's file while it is written. Gives each picture an index without gaps, which is also its second in the
/// video. `append` belongs to the recorder's queue, `finish` to whoever has taken the writer over from it.
class SegmentWriter {
public:
    /// Makes the file ready, in the place of one that may be there. Throws VideoError.
    SegmentWriter(VideoCodec& codec, const std::filesystem::path& url, PixelSize sourceSize, int maxWidth,
                  double quality, Date startedAt);

    /// The video's size for pictures of that size: at most so wide, and even.
    static PixelSize outputSize(int maxWidth, PixelSize sourceSize);

    /// Gives the picture's index, or nothing where it can't be taken; the index is then the next picture's. Waits for a
    /// busy encoder at most `spins` times 5 milliseconds, and no longer once `isInterrupted`. The picture reaches the
    /// file a little later, if at all: `storedFrames` tells.
    std::optional<std::int64_t> append(const Image& image, Date date, int spins,
                                       const std::function<bool()>& isInterrupted = {});
    /// Completes the file and gives its size in bytes. A file without pictures is removed and gives 0.
    std::int64_t finish();
    /// After `finish`: why the file isn't complete; absent where it is. What is stored can be read all the same.
    std::optional<std::string> finishFailure() const;
    /// Nothing is written any more, not even by a `finish` under way. Callable from any thread.
    void abandon() { m_output->cancel(); }

    bool isWriting() const { return m_output->status() == VideoOutput::Status::writing; }
    /// Pictures that can be read whatever happens: of indices below this.
    std::int64_t storedFrames() const { return m_output->storedFrames(); }

    const std::filesystem::path& url() const { return m_url; }
    PixelSize sourceSize() const { return m_sourceSize; }
    PixelSize outputSize() const { return m_outputSize; }
    Date startedAt() const { return m_startedAt; }
    std::int64_t frameCount() const { return m_frameCount; } ///< pictures taken, and the next index
    Date lastFrameAt() const { return m_lastFrameAt; }       ///< `startedAt` before the first

private:
    void removeFile() const;

    const std::filesystem::path m_url;
    const PixelSize m_sourceSize;
    const PixelSize m_outputSize;
    const Date m_startedAt;
    std::int64_t m_frameCount = 0;
    Date m_lastFrameAt;
    std::unique_ptr<VideoOutput> m_output;
};

} // namespace nomara
