#include "platform/linux/x11/X11ScreenImage.h"

#include "core/imaging/ImageScaler.h"
#include "platform/PlatformError.h"

#include <bit>
#include <cstring>

namespace nomara {

namespace {

constexpr std::uint64_t twoOpaque = 0xFF000000FF000000;
constexpr std::size_t pixelBytes = 4;

const xcb_screen_t* screenOf(const X11Connection& connection) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (; screens.rem > 0; xcb_screen_next(&screens))
        if (screens.data->root == connection.root()) return screens.data;
    return nullptr;
}

bool hasFormat(const xcb_setup_t& setup, std::uint8_t depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0; xcb_format_next(&format))
        if (format.data->depth == depth && format.data->bits_per_pixel == 32) return true;
    return false;
}

// The server leaves the fourth byte as it is. Two pixels at a time; widths are even.
void makeOpaque(std::uint8_t* row, std::size_t bytes) {
    for (std::size_t at = 0; at < bytes; at += sizeof twoOpaque) {
        std::uint64_t pixels = 0;
        std::memcpy(&pixels, row + at, sizeof pixels);
        pixels |= twoOpaque;
        std::memcpy(row + at, &pixels, sizeof pixels);
    }
}

// Row by row, so that each is in the processor's cache still, and without filling the memory with zeros first.
Image opaqueCopy(const std::uint8_t* pixels, std::size_t stride, PixelSize size) {
    auto copy = std::make_shared<PixelBuffer>();
    copy->width = size.width;
    copy->height = size.height;
    copy->stride = std::size_t(size.width) * pixelBytes;
    copy->bytes.reserve(copy->stride * std::size_t(size.height));
    for (int y = 0; y < size.height; ++y) {
        const std::uint8_t* const from = pixels + std::size_t(y) * stride;
        copy->bytes.insert(copy->bytes.end(), from, from + copy->stride);
        makeOpaque(copy->row(y), copy->stride);
    }
    return copy;
}

} // namespace

X11ScreenImage::X11ScreenImage(const X11Connection& connection) : m_connection(connection), m_memory(connection) {
    const auto* const screen = screenOf(connection);
    if (!screen || !hasKnownPixels(connection, screen->root_visual))
        throw PlatformError("The screen's colours are of a kind that can't be recorded; 24 bits a pixel are needed.");
}

bool X11ScreenImage::take(const PixelBox& area) {
    m_pixels = nullptr;
    m_sent.reset();
    if (area.isEmpty()) return false;
    const auto width = std::uint16_t(area.right - area.left), height = std::uint16_t(area.bottom - area.top);
    const auto x = std::int16_t(area.left), y = std::int16_t(area.top);
    const std::size_t bytes = std::size_t(width) * height * pixelBytes;
    if (m_memory.reserve(bytes)) {
        const X11Reply<xcb_shm_get_image_reply_t> reply(
            xcb_shm_get_image_reply(m_connection.get(),
                                    xcb_shm_get_image(m_connection.get(), m_connection.root(), x, y, width, height, ~0U,
                                                      XCB_IMAGE_FORMAT_Z_PIXMAP, m_memory.segment(), 0),
                                    nullptr));
        if (!reply || reply->size < bytes) return false;
        m_pixels = m_memory.bytes();
    } else {
        m_sent.reset(xcb_get_image_reply(
            m_connection.get(),
            xcb_get_image(m_connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, m_connection.root(), x, y, width, height, ~0U),
            nullptr));
        if (!m_sent || std::size_t(xcb_get_image_data_length(m_sent.get())) < bytes) return false;
        m_pixels = xcb_get_image_data(m_sent.get());
    }
    m_area = area;
    return true;
}

Image X11ScreenImage::image(const X11Region& hidden, PixelSize size) {
    if (!m_pixels || size.width <= 0 || size.height <= 0) return nullptr;
    const int width = m_area.right - m_area.left, height = m_area.bottom - m_area.top;
    const std::size_t stride = std::size_t(width) * pixelBytes;
    // Here and not in the copy: nothing of it may remain in memory either.
    const X11Region painted = hidden.intersection(m_area).moved(-m_area.left, -m_area.top);
    for (const PixelBox& box : painted.boxes())
        for (int y = box.top; y < box.bottom; ++y)
            std::memset(m_pixels + std::size_t(y) * stride + std::size_t(box.left) * pixelBytes, 0,
                        std::size_t(box.right - box.left) * pixelBytes);

    return opaqueImage(m_pixels, stride, {width, height}, size);
}

Image opaqueImage(const std::uint8_t* pixels, std::size_t stride, PixelSize from, PixelSize size) {
    if (size.width <= 0 || size.height <= 0 || size.width > from.width || size.height > from.height) return nullptr;
    if (from.width - size.width <= 1 && from.height - size.height <= 1) return opaqueCopy(pixels, stride, size);
    auto smaller = std::make_shared<PixelBuffer>(
        ImageScaler::smaller(pixels, stride, from.width, from.height, size.width, size.height));
    for (int y = 0; y < size.height; ++y)
        makeOpaque(smaller->row(y), std::size_t(size.width) * pixelBytes);
    return smaller;
}

bool hasKnownPixels(const X11Connection& connection, xcb_visualid_t visual) {
    const auto* const setup = xcb_get_setup(connection.get());
    const auto* const screen = screenOf(connection);
    if (!screen || std::endian::native != std::endian::little || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        return false;
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth))
        for (auto each = xcb_depth_visuals_iterator(depth.data); each.rem > 0; xcb_visualtype_next(&each))
            if (each.data->visual_id == visual)
                return hasFormat(*setup, depth.data->depth) && each.data->red_mask == 0xFF0000 &&
                       each.data->green_mask == 0xFF00 && each.data->blue_mask == 0xFF;
    return false;
}

} // namespace nomara
