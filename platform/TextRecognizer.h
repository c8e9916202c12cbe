#pragma once

#include "core/imaging/Image.h"
#include "core/reading/TextObservation.h"
#include "core/records/Frames.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

struct TextRequest {
    enum class Urgency {
        now,   ///< somebody waits for it: goes before what is read for later
        later, ///< stands back, between two lines, whenever something else is to be read
    };

    Image image;
    std::vector<std::string> languages;           ///< of the supported ones, the most likely first; empty: all defaults
    std::optional<RelativeRect> regionOfInterest; ///< counted from the bottom left; absent: the whole image
    /// Whether that is one window: lines of its own controls (`WindowControls`) aren't read.
    bool isWindow = false;
    /// Asked with the box of each line before it is read: true passes over it, as its text is known.
    std::function<bool(const RelativeRect& line)> isKnown = {};
    Urgency urgency = Urgency::now;
    /// Asked between lines, from several threads: true ends the work with what has been read by then.
    std::function<bool()> shouldStop = [] { return false; };
};

struct TextResult {
    std::vector<TextObservation> observations;
    bool isComplete = true; ///< false where `shouldStop` ended it
};

/// Reads the text of images. Callable from any thread.
class TextRecognizer {
public:
    virtual ~TextRecognizer() = default;

    /// Codes such as "en-US" of what can be read here. Throws PlatformError where that can't be found out.
    virtual std::vector<std::string> supportedLanguages() = 0;
    /// Why nothing can be read at all, as a sentence that tells what to do; empty where text can be read.
    virtual std::string unavailableReason() = 0;
    /// Waits. An image without text gives no observation. Throws PlatformError where reading failed.
    virtual TextResult recognize(const TextRequest& request) = 0;
    /// How many lines are read side by side; at least one. On battery fewer threads are the gentler ones.
    virtual void setWorkers(int count) = 0;
};

} // namespace nomara
