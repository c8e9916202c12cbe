#include "Quillshade/segments/FrameImageLoader.h"

#include "core/base/Log.h"
#include "core/base/Paths.h"

#include <QPromise>
#include <array>
#include <exception>
#include <functional>

namespace nomara {

namespace {

using Size = FrameImageLoader::Size;

// Scrubbing a timeline asks for many frames of a few segments.
constexpr std::size_t mostGenerators = 10;
constexpr std::array<Size, 3> allSizes = {Size::thumbnail, Size::preview, Size::full};

std::string_view name(Size size) {
    constexpr std::array<std::string_view, 3> names = {"thumbnail", "preview", "full"};
    return names[static_cast<std::size_t>(size)];
}

int largestSide(Size size) {
    constexpr std::array<int, 3> sides = {520, 1800, 0};
    return sides[static_cast<std::size_t>(size)];
}

std::string generatorKey(const std::string& path, Size size) {
    return path + "|" + std::string(name(size));
}

std::string cacheKey(RowID frameID, const std::string& path, Size size) {
    return std::to_string(frameID) + "-" + std::string(name(size)) + "-" +
           std::to_string(std::hash<std::string>{}(path));
}

// Thumbnails decoded on the way to another: whose frames they are isn't known yet.
std::string passedKey(const std::string& path, std::int64_t index) {
    return path + "|" + std::to_string(index);
}

void answer(QPromise<Image>& promise, const Image& image) {
    promise.addResult(image);
    promise.finish();
}

} // namespace

FrameImageLoader::FrameImageLoader(VideoCodec& codec, std::int64_t cacheBytes)
    : m_codec(codec), m_cache(cacheBytes), m_queue("com.brindlewick.nomara.images", QueueQuality::userInitiated) {}

FrameImageLoader::~FrameImageLoader() = default;

QFuture<Image> FrameImageLoader::image(const FrameSummary& frame, Size size) {
    return image(frame.id, frame.segmentPath, frame.segmentIndex, size, true);
}

QFuture<Image> FrameImageLoader::image(const FrameRecord& frame, Size size) {
    return image(frame.id, frame.segmentPath, frame.segmentIndex, size, true);
}

QFuture<Image> FrameImageLoader::passingImage(const FrameRecord& frame, Size size) {
    return image(frame.id, frame.segmentPath, frame.segmentIndex, size, false);
}

void FrameImageLoader::invalidate(const std::vector<std::string>& paths) {
    // At once for pictures that are found in memory, and again once a picture under way has come in.
    for (const std::string& path : paths)
        m_cache.removePath(path);
    m_queue.async([this, paths] {
        for (const std::string& path : paths)
            forget(path);
    });
}

void FrameImageLoader::invalidateAll() {
    m_cache.clear();
    m_queue.async([this] {
        m_generators.clear();
        m_order.clear();
        m_cache.clear();
        m_damaged.clear();
    });
}

QFuture<Image> FrameImageLoader::image(RowID frameID, const std::optional<std::string>& path,
                                       std::optional<std::int64_t> index, Size size, bool isKept) {
    const auto promise = std::make_shared<QPromise<Image>>();
    promise->start();
    auto future = promise->future();
    if (!path || !index) {
        answer(*promise, nullptr);
    } else if (const Image known = m_cache.find(cacheKey(frameID, *path, size))) {
        answer(*promise, known);
    } else {
        m_queue.async([this, promise, request = Request{frameID, *path, *index, size, isKept}] {
            if (promise->isCanceled()) {
                promise->finish();
                return;
            }
            try {
                answer(*promise, load(request));
            } catch (const DamagedVideo&) {
                promise->setException(std::current_exception());
                promise->finish();
            }
        });
    }
    return future;
}

Image FrameImageLoader::load(const Request& request) {
    const std::string key = cacheKey(request.frameID, request.path, request.size);
    Image image = m_cache.find(key);
    if (image) return image;
    if (request.size == Size::thumbnail) image = m_cache.find(passedKey(request.path, request.index));
    try {
        if (!image) {
            const Generator input = generator(request);
            image = request.size == Size::thumbnail ? loadThumbnail(request, *input)
                                                    : input->frame(request.index, largestSide(request.size));
        }
    } catch (const DamagedVideo& damage) {
        logDamage(request.path, damage);
        throw;
    } catch (const VideoError&) {
        return nullptr; // the screens show their placeholder
    }
    if (image && request.isKept) m_cache.insert(key, request.path, image);
    return image;
}

void FrameImageLoader::logDamage(const std::string& path, const DamagedVideo& damage) {
    if (m_damaged.insert(path).second) Log::error(LogCategory::storage, path + " is damaged: " + damage.what());
}

// Pictures before this one in its group have to be decoded anyway, and are likely to be asked for next.
Image FrameImageLoader::loadThumbnail(const Request& request, VideoInput& input) {
    const int side = largestSide(Size::thumbnail);
    std::int64_t next = request.index;
    for (const std::int64_t start = input.groupStart(request.index); next > start; --next)
        if (m_cache.find(passedKey(request.path, next - 1))) break;
    try {
        for (; next < request.index; ++next)
            if (const Image passed = input.frame(next, side))
                m_cache.insert(passedKey(request.path, next), request.path, passed);
    } catch (const DamagedVideo&) {
        // Whether that spoils the picture that is asked for shows when it is read.
    }
    return input.frame(request.index, side);
}

FrameImageLoader::Generator FrameImageLoader::generator(const Request& request) {
    const std::string key = generatorKey(request.path, request.size);
    if (const auto found = m_generators.find(key); found != m_generators.end()) {
        m_order.splice(m_order.begin(), m_order, found->second);
        if (request.index < found->second->second->frameCount()) return found->second->second;
        closeGenerators(request.path); // a segment that was being written when it was opened has grown
    }
    Generator input = openedForAnySize(request.path);
    if (!input || request.index >= input->frameCount()) input = m_codec.open(NomaraPaths::framesFile(request.path));
    m_order.emplace_front(key, input);
    m_generators[key] = m_order.begin();
    while (m_order.size() > mostGenerators) {
        m_generators.erase(m_order.back().first);
        m_order.pop_back();
    }
    return input;
}

// One decoder serves all sizes of a segment: a picture that is on show is asked for larger next.
FrameImageLoader::Generator FrameImageLoader::openedForAnySize(const std::string& path) const {
    for (const Size size : allSizes)
        if (const auto found = m_generators.find(generatorKey(path, size)); found != m_generators.end())
            return found->second->second;
    return nullptr;
}

void FrameImageLoader::forget(const std::string& path) {
    closeGenerators(path);
    m_cache.removePath(path);
    m_damaged.erase(path);
}

void FrameImageLoader::closeGenerators(const std::string& path) {
    for (const Size size : allSizes) {
        const auto found = m_generators.find(generatorKey(path, size));
        if (found == m_generators.end()) continue;
        m_order.erase(found->second);
        m_generators.erase(found);
    }
}

} // namespace nomara
