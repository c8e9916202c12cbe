#pragma once

#include "platform/PictureFiles.h"

namespace nomara {

/// PNG, JPEG, WebP and whatever else FFmpeg's libraries decode.
class LibavPictureFiles final : public PictureFiles {
public:
    LibavPictureFiles();

    Image read(const std::filesystem::path& file) override;
    void writePng(const PixelBuffer& image, const std::filesystem::path& file) override;
};

} // namespace nomara
