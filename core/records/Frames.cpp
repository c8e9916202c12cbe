#include "core/records/Frames.h"

namespace nomara {

namespace {

template <typename Frame>
std::optional<std::string> displayTitleOf(const Frame& frame) {
    if (frame.windowTitle && !frame.windowTitle->empty()) return frame.windowTitle;
    return frame.appName ? frame.appName : frame.appBundleID;
}

} // namespace

ImageState imageState(std::int64_t rawValue) {
    return rawValue >= 0 && rawValue <= 3 ? static_cast<ImageState>(rawValue) : ImageState::none;
}

OCRState ocrState(std::int64_t rawValue) {
    return rawValue >= 0 && rawValue <= 3 ? static_cast<OCRState>(rawValue) : OCRState::notNeeded;
}

std::optional<std::string> FrameRecord::displayTitle() const {
    return displayTitleOf(*this);
}

std::string FrameRecord::contextKey() const {
    return nomara::contextKey(appBundleID, windowTitle);
}

std::optional<std::string> FrameSummary::displayTitle() const {
    return displayTitleOf(*this);
}

std::string contextKey(const std::optional<std::string>& appBundleID, const std::optional<std::string>& windowTitle) {
    return appBundleID.value_or("?") + '\x1f' + windowTitle.value_or("");
}

} // namespace nomara
