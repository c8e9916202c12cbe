#pragma once

#include "core/imaging/Image.h"
#include "platform/DisplayStream.h"
#include "platform/linux/x11/X11Composition.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11SharedMemory.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// An image that is put together from windows' own pixels, which the server keeps apart while a compositor has it
/// redirect them. Nothing that isn't in a layer can be in it. On one thread.
class X11ComposedImage {
public:
    explicit X11ComposedImage(const X11Connection& connection);

    /// False where the server can't give windows' own pixels.
    bool isAvailable() const { return m_isAvailable; }

    /// The image is of this part of the screen from now on; black where it is another one than before.
    void setArea(const PixelBox& area);
    const PixelBox& area() const { return m_area; }
    /// Forgets everything: black, no layers.
    void clear();

    enum class Result : std::uint8_t { done, notRedirected };
    /// Makes the image one of these layers. Pixels are read anew in `painted` (on the screen), and where the layers
    /// differ from those before. `notRedirected`: the pixels of a window couldn't be read, as it draws on the screen
    /// itself, or has just gone; the image is cleared then.
    Result update(std::vector<X11Layer> layers, const X11Region& painted);
    const std::vector<X11Layer>& layers() const { return m_layers; }

    /// A copy, in the size that is wanted.
    Image image(PixelSize size) const;

private:
    struct Part;

    bool draw(const X11Layer& layer, const X11Region& region);
    bool drawParts(const X11Layer& layer, const std::vector<Part>& parts);
    void put(const X11Layer& layer, const Part& part, const std::uint8_t* pixels);

    const X11Connection& m_connection;
    X11SharedMemory m_memory;
    bool m_isAvailable = false;
    PixelBox m_area;
    std::vector<std::uint8_t> m_pixels;
    std::vector<X11Layer> m_layers;
};

} // namespace nomara
