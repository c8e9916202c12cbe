#include "platform/linux/tesseract/TesseractRecognizer.h"

#include "core/reading/LineCrop.h"
#include "core/reading/LineSegmenter.h"
#include "core/reading/WindowControls.h"
#include "platform/PlatformError.h"
#include "platform/linux/tesseract/LanguageData.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <unordered_map>

namespace nomara {

namespace {

using tesseract::LineKey;
using tesseract::ReadLine;

bool isWhole(const Image& image) {
    if (!image || image->width <= 0 || image->height <= 0) return false;
    const auto width = static_cast<std::size_t>(image->width), height = static_cast<std::size_t>(image->height);
    return image->stride >= width * 4 && image->bytes.size() >= image->stride * (height - 1) + width * 4;
}

/// Of the image, or none where the region has no part in it.
PixelBox pixelBox(const std::optional<RelativeRect>& region, const PixelBuffer& image) {
    if (!region) return {0, 0, image.width, image.height};
    const auto pixel = [](double share, int size, double (*rounded)(double)) {
        return static_cast<int>(std::clamp(rounded(share * size), 0.0, static_cast<double>(size)));
    };
    if (!std::isfinite(region->x + region->y + region->width + region->height)) return {};
    const auto down = [](double value) { return std::floor(value); };
    const auto up = [](double value) { return std::ceil(value); };
    const PixelBox box{pixel(region->x, image.width, down), pixel(1 - region->y - region->height, image.height, down),
                       pixel(region->x + region->width, image.width, up), pixel(1 - region->y, image.height, up)};
    return box.isEmpty() ? PixelBox{} : box;
}

/// Of a line of that region, as a fraction of the image and from the bottom left.
RelativeRect placeOf(const PixelBox& line, const PixelBox& region, const PixelBuffer& image) {
    const double width = image.width, height = image.height;
    return {(region.left + line.left) / width, 1 - (region.top + line.bottom) / height, line.width() / width,
            line.height() / height};
}

/// Where a line's pixels stand in the image, as a fraction of it and from the bottom left.
class Placement {
public:
    Placement(const PixelBuffer& image, const PixelBox& region, const LineCrop& crop)
        : m_width(image.width), m_height(image.height), m_left(region.left + crop.box.left),
          m_top(region.top + crop.box.top), m_crop(crop) {}

    RelativeRect line() const { return place(0, 0, m_crop.box.width(), m_crop.box.height()); }

    RelativeRect symbol(const ReadLine::Symbol& symbol) const {
        const auto x = [&](int at) { return within(at - m_crop.marginX, m_crop.box.width()); };
        const auto y = [&](int at) { return within(at - m_crop.marginY, m_crop.box.height()); };
        return place(x(symbol.left), y(symbol.top), x(symbol.right), y(symbol.bottom));
    }

private:
    static double within(double at, int size) { return std::clamp(at, 0.0, static_cast<double>(size)); }

    RelativeRect place(double left, double top, double right, double bottom) const {
        return {(m_left + left) / m_width, 1 - (m_top + bottom) / m_height, (right - left) / m_width,
                (bottom - top) / m_height};
    }

    const double m_width, m_height, m_left, m_top;
    const LineCrop& m_crop;
};

TextObservation observation(const ReadLine& line, const Placement& placement) {
    TextObservation result{.text = line.text, .confidence = line.confidence, .box = placement.line(), .symbols = {}};
    result.symbols.reserve(line.symbols.size());
    for (const ReadLine::Symbol& symbol : line.symbols)
        result.symbols.push_back({symbol.offset, symbol.length, placement.symbol(symbol)});
    return result;
}

} // namespace

TesseractRecognizer::TesseractRecognizer(Settings settings)
    : m_settings(std::move(settings)), m_cache(m_settings.cacheBytes), m_workers(1, m_settings.idleSeconds) {}

std::filesystem::path TesseractRecognizer::folder() const {
    // Looked for each time, so that languages installed meanwhile are found.
    return m_settings.folder ? *m_settings.folder : tesseract::LanguageData::findFolder();
}

std::vector<std::string> TesseractRecognizer::supportedLanguages() {
    auto codes = tesseract::LanguageData(folder()).codes();
    if (codes.empty()) throw PlatformError(unavailableReason());
    return codes;
}

/// Until somebody has put another in its place.
std::optional<std::filesystem::path> TesseractRecognizer::damagedFile() {
    const std::lock_guard lock(m_damagedMutex);
    if (m_damaged && !m_health.isDamaged(*m_damaged)) m_damaged.reset();
    return m_damaged;
}

std::string TesseractRecognizer::unavailableReason() {
    if (const auto file = damagedFile())
        return "Text in images can't be read, because the file " + file->string() +
               " is damaged; install its package again.";
    if (!tesseract::LanguageData(folder()).codes().empty()) return {};
    return "Text in images can't be read, because Tesseract has no language here; install one of its language "
           "packages, such as tesseract-ocr-eng.";
}

TextResult TesseractRecognizer::recognize(const TextRequest& request) {
    if (!isWhole(request.image)) return {};
    const PixelBuffer& image = *request.image;
    const PixelBox region = pixelBox(request.regionOfInterest, image);
    if (region.isEmpty()) return {};
    const tesseract::LanguageData data(folder());
    if (data.codes().empty()) throw PlatformError(unavailableReason());

    const GrayImage gray = grayImage(image, region);
    std::vector<LineCrop> crops;
    const int scale = LineSegmenter::strokeScale(image.width, image.height);
    const auto lines = LineSegmenter::lines(gray, scale);
    const auto areControls =
        request.isWindow ? WindowControls::among(gray, lines, scale) : std::vector<bool>(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const PixelBox& line = lines[i];
        if (areControls[i]) continue;
        if (request.isKnown && request.isKnown(placeOf(line, region, image))) continue;
        if (auto crop = LineCrop::make(gray, line)) crops.push_back(std::move(*crop));
    }

    if (crops.empty()) return {};
    const std::string languages = chosenFiles(data, request, crops.front());

    std::vector<LineKey> keys;
    std::unordered_map<LineKey, std::shared_ptr<const ReadLine>, tesseract::LineKeyHash> known;
    std::vector<LineKey> unknown;
    tesseract::LineWorkers::Work work{.folder = data.folder(),
                                      .languages = languages,
                                      .lines = {},
                                      .isUrgent = request.urgency == TextRequest::Urgency::now,
                                      .shouldStop = request.shouldStop,
                                      .done = [&](std::size_t line, ReadLine read) {
                                          auto kept = std::make_shared<const ReadLine>(std::move(read));
                                          known[unknown[line]] = kept;
                                          m_cache.add(unknown[line], std::move(kept));
                                          ++m_linesRead;
                                      }};
    for (const LineCrop& crop : crops) {
        keys.push_back(LineKey::of(crop.pixels, languages));
        if (known.contains(keys.back())) continue;
        const auto read = m_cache.find(keys.back());
        known.emplace(keys.back(), read);
        if (read) continue;
        unknown.push_back(keys.back());
        work.lines.push_back(crop);
    }
    m_linesKnown += crops.size() - unknown.size();

    TextResult result{.observations = {}, .isComplete = m_workers.read(std::move(work))};
    for (std::size_t i = 0; i < crops.size(); ++i) {
        const std::shared_ptr<const ReadLine>& line = known[keys[i]];
        if (line && !line->text.empty())
            result.observations.push_back(observation(*line, Placement(image, region, crops[i])));
    }
    return result;
}

/// Throws PlatformError where one of them is damaged.
std::string TesseractRecognizer::chosenFiles(const tesseract::LanguageData& data, const TextRequest& request,
                                             const LineCrop& line) {
    std::string files = data.filesFor(request.languages);
    if (auto damaged = m_health.firstDamaged(data.folder(), files, line)) {
        {
            const std::lock_guard lock(m_damagedMutex);
            m_damaged = std::move(damaged);
        }
        throw PlatformError(unavailableReason());
    }
    return files;
}

void TesseractRecognizer::setWorkers(int count) {
    m_workers.setCount(count);
}

} // namespace nomara
