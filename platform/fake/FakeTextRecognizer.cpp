#include "platform/fake/FakeTextRecognizer.h"

#include "platform/PlatformError.h"

#include <utility>

namespace nomara {

namespace {

bool isIn(const RelativeRect& region, const RelativeRect& box) {
    const double x = box.x + box.width / 2, y = box.y + box.height / 2;
    return x >= region.x && x <= region.x + region.width && y >= region.y && y <= region.y + region.height;
}

} // namespace

std::vector<std::string> FakeTextRecognizer::supportedLanguages() {
    const std::lock_guard lock(m_mutex);
    if (!m_unavailable.empty()) throw PlatformError(m_unavailable);
    return m_languages;
}

std::string FakeTextRecognizer::unavailableReason() {
    const std::lock_guard lock(m_mutex);
    return m_unavailable;
}

TextResult FakeTextRecognizer::recognize(const TextRequest& request) {
    Reading reading;
    std::vector<TextObservation> text;
    {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        m_requests.back().shouldStop = nullptr; // it may refer to what ends before the test looks
        m_requests.back().isKnown = nullptr;
        if (!m_unavailable.empty()) throw PlatformError(m_unavailable);
        reading = m_reading;
        text = m_text;
    }
    if (reading) return reading(request);
    TextResult result;
    for (TextObservation& observation : text) {
        if (request.shouldStop && request.shouldStop()) {
            result.isComplete = false;
            break;
        }
        if (request.isKnown && request.isKnown(observation.box)) continue;
        if (!request.regionOfInterest || isIn(*request.regionOfInterest, observation.box))
            result.observations.push_back(std::move(observation));
    }
    return result;
}

void FakeTextRecognizer::setWorkers(int count) {
    const std::lock_guard lock(m_mutex);
    m_workers = count;
}

void FakeTextRecognizer::setText(std::vector<TextObservation> observations) {
    const std::lock_guard lock(m_mutex);
    m_text = std::move(observations);
}

void FakeTextRecognizer::setReading(Reading reading) {
    const std::lock_guard lock(m_mutex);
    m_reading = std::move(reading);
}

void FakeTextRecognizer::setLanguages(std::vector<std::string> languages) {
    const std::lock_guard lock(m_mutex);
    m_languages = std::move(languages);
}

void FakeTextRecognizer::setUnavailable(std::string reason) {
    const std::lock_guard lock(m_mutex);
    m_unavailable = std::move(reason);
}

std::vector<TextRequest> FakeTextRecognizer::requests() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

int FakeTextRecognizer::workers() const {
    const std::lock_guard lock(m_mutex);
    return m_workers;
}

TextObservation FakeTextRecognizer::piece(const std::string& text, RelativeRect box, double confidence) {
    TextObservation piece{.text = text, .confidence = confidence, .box = box, .symbols = {}};
    const double width = box.width / static_cast<double>(text.empty() ? 1 : text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != ' ')
            piece.symbols.push_back({i, 1, {box.x + width * static_cast<double>(i), box.y, width, box.height}});
    return piece;
}

} // namespace nomara
