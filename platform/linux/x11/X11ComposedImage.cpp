#include "platform/linux/x11/X11ComposedImage.h"

#include "platform/linux/x11/X11ScreenImage.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <xcb/composite.h>

namespace nomara {

namespace {

constexpr std::size_t pixelBytes = 4;
// One request for more pixels than needed is cheaper than many for a few each.
constexpr std::size_t maxParts = 16;
constexpr long maxSurplus = 2;

long areaOf(const PixelBox& box) {
    return long(box.right - box.left) * (box.bottom - box.top);
}

/// Both with their colours multiplied by their opacity; what lies below is opaque.
std::uint32_t blend(std::uint32_t above, std::uint32_t below) {
    const std::uint32_t through = 255 - (above >> 24);
    std::uint32_t result = 0;
    for (const int shift : {0, 8, 16}) {
        const std::uint32_t product = ((below >> shift) & 0xFF) * through + 128;
        const std::uint32_t value = ((above >> shift) & 0xFF) + ((product + (product >> 8)) >> 8);
        result |= std::min<std::uint32_t>(value, 255) << shift;
    }
    return result;
}

} // namespace

/// A box of a window that is read at once, and what of it goes into the image.
struct X11ComposedImage::Part {
    PixelBox box;
    X11Region wanted;

    std::size_t bytes() const { return std::size_t(areaOf(box)) * pixelBytes; }
};

X11ComposedImage::X11ComposedImage(const X11Connection& connection) : m_connection(connection), m_memory(connection) {
    if (!connection.hasExtension(xcb_composite_id)) return;
    const X11Reply<xcb_composite_query_version_reply_t> version(xcb_composite_query_version_reply(
        connection.get(), xcb_composite_query_version(connection.get(), 0, 2), nullptr));
    m_isAvailable = version && (version->major_version > 0 || version->minor_version >= 2);
}

void X11ComposedImage::setArea(const PixelBox& area) {
    if (area == m_area) return;
    m_area = area;
    clear();
}

void X11ComposedImage::clear() {
    m_layers.clear();
    m_pixels.clear();
    m_pixels.shrink_to_fit();
}

X11ComposedImage::Result X11ComposedImage::update(std::vector<X11Layer> layers, const X11Region& painted) {
    if (m_pixels.empty()) m_pixels.resize(std::size_t(areaOf(m_area)) * pixelBytes);
    X11Region changed = changedBetween(m_layers, layers);
    changed.add(painted.intersection(m_area));
    const std::size_t stride = std::size_t(m_area.right - m_area.left) * pixelBytes;
    for (const PixelBox& box : changed.boxes())
        for (int y = box.top; y < box.bottom; ++y)
            std::memset(m_pixels.data() + std::size_t(y - m_area.top) * stride +
                            std::size_t(box.left - m_area.left) * pixelBytes,
                        0, std::size_t(box.right - box.left) * pixelBytes);
    for (const X11Layer& layer : layers) {
        const X11Region region = changed.intersection(layer.visible);
        if (region.isEmpty() || draw(layer, region)) continue;
        clear();
        return Result::notRedirected;
    }
    m_layers = std::move(layers);
    return Result::done;
}

Image X11ComposedImage::image(PixelSize size) const {
    if (m_pixels.empty()) return nullptr;
    const PixelSize own{m_area.right - m_area.left, m_area.bottom - m_area.top};
    return opaqueImage(m_pixels.data(), std::size_t(own.width) * pixelBytes, own, size);
}

bool X11ComposedImage::draw(const X11Layer& layer, const X11Region& region) {
    PixelBox whole = region.boxes().front();
    long wanted = 0;
    for (const PixelBox& box : region.boxes()) {
        whole = {std::min(whole.left, box.left), std::min(whole.top, box.top), std::max(whole.right, box.right),
                 std::max(whole.bottom, box.bottom)};
        wanted += areaOf(box);
    }
    std::vector<Part> parts;
    if (region.boxes().size() > maxParts || areaOf(whole) <= maxSurplus * wanted)
        parts.push_back({whole, region});
    else
        for (const PixelBox& box : region.boxes())
            parts.push_back({box, X11Region(box)});
    return drawParts(layer, parts);
}

// The name of a window's memory holds for that memory alone: a new size or a new compositor brings another one. So it
// is asked for each time, and the pixels are read behind it without waiting for an answer in between.
bool X11ComposedImage::drawParts(const X11Layer& layer, const std::vector<Part>& parts) {
    xcb_connection_t* const server = m_connection.get();
    std::size_t bytes = 0;
    for (const Part& part : parts)
        bytes += part.bytes();
    const bool isShared = m_memory.reserve(std::max(bytes, m_pixels.size()));
    const xcb_pixmap_t pixmap = xcb_generate_id(server);
    xcb_composite_name_window_pixmap(server, layer.id, pixmap);
    std::vector<xcb_shm_get_image_cookie_t> shared;
    std::vector<xcb_get_image_cookie_t> sent;
    std::size_t offset = 0;
    for (const Part& part : parts) {
        const auto x = std::int16_t(part.box.left - layer.bounds.left),
                   y = std::int16_t(part.box.top - layer.bounds.top);
        const auto width = std::uint16_t(part.box.right - part.box.left);
        const auto height = std::uint16_t(part.box.bottom - part.box.top);
        if (isShared)
            shared.push_back(xcb_shm_get_image(server, pixmap, x, y, width, height, ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP,
                                               m_memory.segment(), std::uint32_t(offset)));
        else
            sent.push_back(xcb_get_image(server, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, x, y, width, height, ~0U));
        offset += part.bytes();
    }
    xcb_free_pixmap(server, pixmap);
    bool isComplete = true;
    offset = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Part& part = parts[i];
        if (isShared) {
            const X11Reply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(server, shared[i], nullptr));
            if (reply && reply->size >= part.bytes())
                put(layer, part, m_memory.bytes() + offset);
            else
                isComplete = false; // the other answers are still fetched, or they would pile up
        } else {
            const X11Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(server, sent[i], nullptr));
            if (reply && std::size_t(xcb_get_image_data_length(reply.get())) >= part.bytes())
                put(layer, part, xcb_get_image_data(reply.get()));
            else
                isComplete = false;
        }
        offset += part.bytes();
    }
    return isComplete;
}

void X11ComposedImage::put(const X11Layer& layer, const Part& part, const std::uint8_t* pixels) {
    const std::size_t from = std::size_t(part.box.right - part.box.left) * pixelBytes;
    const std::size_t to = std::size_t(m_area.right - m_area.left) * pixelBytes;
    for (const PixelBox& box : part.wanted.boxes()) {
        const auto width = std::size_t(box.right - box.left);
        for (int y = box.top; y < box.bottom; ++y) {
            const std::uint8_t* const source =
                pixels + std::size_t(y - part.box.top) * from + std::size_t(box.left - part.box.left) * pixelBytes;
            std::uint8_t* const target =
                m_pixels.data() + std::size_t(y - m_area.top) * to + std::size_t(box.left - m_area.left) * pixelBytes;
            if (!layer.isBlended) {
                std::memcpy(target, source, width * pixelBytes);
                continue;
            }
            for (std::size_t x = 0; x < width; ++x) {
                std::uint32_t above = 0, below = 0;
                std::memcpy(&above, source + x * pixelBytes, pixelBytes);
                std::memcpy(&below, target + x * pixelBytes, pixelBytes);
                const std::uint32_t pixel = blend(above, below);
                std::memcpy(target + x * pixelBytes, &pixel, pixelBytes);
            }
        }
    }
}

} // namespace nomara
