#include "core/reading/ReadingOrder.h"
#include "platform/PlatformError.h"
#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/Json.h"
#include "quillshadectl/TerminalText.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace nomara::ctl {

namespace {

/// The supported codes that were meant: "de" means the first that begins so.
std::vector<std::string> codes(const std::vector<std::string>& wanted, const std::vector<std::string>& supported) {
    std::vector<std::string> codes;
    for (const std::string& language : wanted) {
        const auto found = std::ranges::find_if(supported, [&](const std::string& code) {
            return code == language || (!language.empty() && code.starts_with(language + "-"));
        });
        if (found == supported.end()) {
            std::string all;
            for (const std::string& code : supported)
                all.append(all.empty() ? "" : ", ").append(code);
            throw Fault("The language \"" + language + "\" isn't installed; there is " + all + ".");
        }
        codes.push_back(*found);
    }
    return codes;
}

/// As the recogniser counts, from the bottom left.
RelativeRect relative(const Rect& region, const PixelBuffer& image) {
    const Rect part = region.intersection({0, 0, double(image.width), double(image.height)});
    if (part.isEmpty())
        throw Fault("The region lies outside of the picture, which has " + std::to_string(image.width) + " by " +
                    std::to_string(image.height) + " pixels.");
    return {part.x / image.width, 1 - (part.y + part.height) / image.height, part.width / image.width,
            part.height / image.height};
}

Json described(const TextObservation& piece, const PixelBuffer& image) {
    const auto left = std::lround(piece.box.x * image.width);
    const auto top = std::lround((1 - piece.box.y - piece.box.height) * image.height);
    return {{"text", JsonText::text(piece.text)},
            {"confidence", std::round(piece.confidence * 1000) / 1000},
            {"x", left},
            {"y", top},
            {"width", std::lround((piece.box.x + piece.box.width) * image.width) - left},
            {"height", std::lround((1 - piece.box.y) * image.height) - top}};
}

} // namespace

int ocr(Context& context) {
    try {
        const Image image = context.media().pictures.read(context.line.picture);
        TextRequest request{.image = image};
        request.languages = codes(context.line.languages, context.media().recognizer.supportedLanguages());
        if (context.line.region) request.regionOfInterest = relative(*context.line.region, *image);
        const std::vector<TextObservation> pieces =
            ReadingOrder::ordered(context.media().recognizer.recognize(request).observations);
        if (context.line.json) {
            std::vector<Json> elements;
            elements.reserve(pieces.size());
            for (const TextObservation& piece : pieces)
                elements.push_back(described(piece, *image));
            JsonText::printArray(context.out, elements);
        } else {
            for (const TextObservation& piece : pieces)
                context.out << TerminalText::singleLine(piece.text) << '\n';
        }
        return pieces.empty() ? ExitCode::nothing : ExitCode::fine;
    } catch (const PictureFileError& error) {
        throw Fault(error.what());
    } catch (const PlatformError& error) {
        throw Fault(error.what());
    }
}

} // namespace nomara::ctl
