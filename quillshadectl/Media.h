#pragma once

#include "platform/PictureFiles.h"
#include "platform/TextRecognizer.h"
#include "platform/VideoCodec.h"

#include <functional>

namespace nomara::ctl {

/// What reads pictures, and the text in them. It brings large libraries, so only commands that need it ask for it.
struct Media {
    VideoCodec& videos;
    PictureFiles& pictures;
    TextRecognizer& recognizer;
};
/// Gives the same each time. Throws Fault where it can't be loaded.
using MediaSource = std::function<const Media&()>;

/// The function that the library beside the program exports, and its name.
using MediaFunction = const Media* (*)();
constexpr const char* mediaFunctionName = "quillshadectlMedia";

/// Loads that library at the first call.
const Media& loadedMedia();

} // namespace nomara::ctl
