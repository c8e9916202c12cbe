#include "platform/DisplayStream.h"

namespace nomara {

namespace {

// A wider picture costs more than its sharpness is worth.
constexpr double maxWidth = 3'840;

// Video has half as many colour samples in each direction.
int even(double size) {
    return static_cast<int>(size) & ~1;
}

} // namespace

PixelSize streamImageSize(const Display& display) {
    double width = display.bounds.width * display.scale;
    double height = display.bounds.height * display.scale;
    if (width > maxWidth) {
        height = height * maxWidth / width;
        width = maxWidth;
    }
    return {even(width), even(height)};
}

} // namespace nomara
