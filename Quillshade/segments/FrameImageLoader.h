#pragma once

#include "Quillshade/segments/ImageCache.h"
#include "core/base/SerialQueue.h"
#include "core/records/Frames.h"
#include "platform/VideoCodec.h"

#include <QFuture>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace nomara {

/// Gets stored frames' pictures out of their segments, one at a time on a queue of its own. Keeps the segments in use
/// open and finished pictures in memory. Callable from any thread.
class FrameImageLoader {
public:
    enum class Size {
        thumbnail, ///< 520 pixels at most
        preview,   ///< 1800 pixels at most
        full,
    };

    static constexpr std::int64_t defaultCacheBytes = 272'629'760; // 260 MiB

    /// `codec` outlives the loader.
    explicit FrameImageLoader(VideoCodec& codec, std::int64_t cacheBytes = defaultCacheBytes);
    ~FrameImageLoader();
    FrameImageLoader(const FrameImageLoader&) = delete;
    FrameImageLoader& operator=(const FrameImageLoader&) = delete;

    /// The frame's picture; absent where it has none or none can be read. Where it is damaged, `result` throws
    /// DamagedVideo, and the first such picture of a segment is logged. One that is in memory is there at once. A
    /// future that is cancelled before its turn costs nothing.
    QFuture<Image> image(const FrameSummary& frame, Size size);
    QFuture<Image> image(const FrameRecord& frame, Size size);
    /// The same for whoever goes through many frames once: the picture isn't kept in memory.
    QFuture<Image> passingImage(const FrameRecord& frame, Size size);

    /// Forgets what belongs to these segments, before any picture that is asked for afterwards: an index may mean
    /// another picture now.
    void invalidate(const std::vector<std::string>& paths);
    void invalidateAll();

private:
    struct Request {
        RowID frameID = 0;
        std::string path;
        std::int64_t index = 0;
        Size size = Size::full;
        bool isKept = true;
    };
    using Generator = std::shared_ptr<VideoInput>;
    using Order = std::list<std::pair<std::string, Generator>>; // generators and their keys, the last used first

    QFuture<Image> image(RowID frameID, const std::optional<std::string>& path, std::optional<std::int64_t> index,
                         Size size, bool isKept);
    Image load(const Request& request);
    void logDamage(const std::string& path, const DamagedVideo& damage);
    Image loadThumbnail(const Request& request, VideoInput& input);
    Generator generator(const Request& request);
    Generator openedForAnySize(const std::string& path) const;
    void forget(const std::string& path);
    void closeGenerators(const std::string& path);

    VideoCodec& m_codec;
    ImageCache m_cache;
    // Used on m_queue alone.
    Order m_order;
    std::unordered_map<std::string, Order::iterator> m_generators;
    std::set<std::string> m_damaged; // segments whose damage was logged

    SerialQueue m_queue; // last, so that it has run all its work before anything that it uses goes
};

} // namespace nomara
