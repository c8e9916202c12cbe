#pragma once

#include "core/imaging/Image.h"

#include <filesystem>
#include <stdexcept>

namespace nomara {

/// A picture can't be read or written. The text is a sentence with the file and the reason.
class PictureFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Single pictures in files of their own, in the formats that people exchange. Callable from any thread.
class PictureFiles {
public:
    virtual ~PictureFiles() = default;

    /// Never absent; opaque. Throws PictureFileError.
    virtual Image read(const std::filesystem::path& file) = 0;
    /// Writes PNG, in the place of a file that may be there and readable by its owner alone; transparency is left out.
    /// Throws PictureFileError; a file that was there before is then as it was.
    virtual void writePng(const PixelBuffer& image, const std::filesystem::path& file) = 0;
};

} // namespace nomara
