#include "Quillshade/reading/OCRService.h"

#include "core/base/Log.h"
#include "core/reading/LineSegmenter.h"
#include "core/reading/ReadingOrder.h"
#include "core/reading/TextFragments.h"
#include "core/search/SnippetBuilder.h"
#include "core/text/Graphemes.h"
#include "core/text/LanguageGuess.h"
#include "core/text/LineSplitter.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string_view>
#include <utility>

namespace nomara {

namespace {

// English is on every screen: in names, in code, in what was never translated.
constexpr std::string_view fallbackLanguage = "en-US";
// Each language makes reading slower and its guesses wilder.
constexpr std::size_t mostLanguages = 3;
// Of those that an image seems to be in, beside the user's.
constexpr std::size_t mostLikely = 2;
constexpr std::size_t mostSubjects = 100;
constexpr std::int64_t shortestTerm = 2;
constexpr std::int64_t maxCharacters = 40'000, maxLines = 2'000; // as of text that is read otherwise

std::vector<std::string> supportedLanguages(TextRecognizer& recognizer) {
    try {
        return recognizer.supportedLanguages();
    } catch (const std::exception&) {
        return {std::string(fallbackLanguage)}; // why is a state of its own, which can be asked for at any time
    }
}

bool contains(const std::vector<std::string>& list, std::string_view entry) {
    return std::find(list.begin(), list.end(), entry) != list.end();
}

/// The recogniser counts from the bottom, the system from the top.
std::optional<RelativeRect> regionOfInterest(const std::optional<RelativeRect>& focus) {
    if (!focus || !focus->isUsableAsFocus() || !std::isfinite(focus->x) || !(focus->y <= 1)) return std::nullopt;
    const double x = std::clamp(focus->x, 0.0, 1.0), y = std::max(focus->y, 0.0);
    const double width = std::min(focus->width, 1 - x), height = std::min(focus->height, 1 - y);
    const RelativeRect region{x, 1 - y - height, width, height};
    return region.isUsableAsFocus() ? std::optional(region) : std::nullopt;
}

/// Folded, each once, the longest first.
std::vector<std::string> foldedTerms(const std::vector<std::string>& terms) {
    std::vector<std::string> folded;
    for (const std::string& term : terms) {
        std::string text = TextNormalizer::normalize(term);
        if (Graphemes::count(text) >= shortestTerm && !contains(folded, text)) folded.push_back(std::move(text));
    }
    std::stable_sort(folded.begin(), folded.end(), [](const std::string& a, const std::string& b) {
        return Graphemes::count(a) > Graphemes::count(b);
    });
    return folded;
}

void appendBoxes(const TextObservation& observation, const std::vector<std::string>& terms,
                 std::vector<RelativeRect>& boxes) {
    const std::string folded = TextNormalizer::normalize(observation.text);
    const auto isThere = [&](const std::string& term) { return folded.find(term) != std::string::npos; };
    if (std::none_of(terms.begin(), terms.end(), isThere)) return;
    const auto characters = Graphemes::split(observation.text);
    for (const CharacterRange& range : SnippetBuilder::highlightRanges(observation.text, terms)) {
        if (range.start < 0 || range.end > static_cast<std::int64_t>(characters.size()) || range.start >= range.end)
            continue;
        const std::string_view first = characters[static_cast<std::size_t>(range.start)];
        const std::string_view last = characters[static_cast<std::size_t>(range.end - 1)];
        const auto offset = static_cast<std::size_t>(first.data() - observation.text.data());
        const auto length = static_cast<std::size_t>(last.data() + last.size() - first.data());
        boxes.push_back(observation.boundingBox(offset, length).value_or(observation.box));
    }
}

} // namespace

OCRService::OCRService(TextRecognizer& recognizer, const std::vector<std::string>& preferredLanguages)
    : m_recognizer(recognizer), m_supported(supportedLanguages(recognizer)) {
    const auto& supported = m_supported;
    for (const std::string& preferred : preferredLanguages) {
        if (preferred.size() < 2) continue;
        const std::string language = preferred.substr(0, 2);
        const auto match = std::find_if(supported.begin(), supported.end(),
                                        [&](const std::string& code) { return code.starts_with(language); });
        if (match == supported.end())
            m_missingLanguages.push_back(preferred);
        else if (!contains(m_languages, *match))
            m_languages.push_back(*match);
    }
    if (!contains(m_languages, fallbackLanguage) && contains(supported, fallbackLanguage))
        m_languages.emplace_back(fallbackLanguage);
    if (m_languages.size() > mostLanguages) m_languages.resize(mostLanguages);
}

OCRService::Reading OCRService::recognize(const Image& image, Wanted wanted) const {
    Reading reading = read(image, std::move(wanted));
    if (image)
        reading.observations = TextFragments::without(std::move(reading.observations), image->height,
                                                      LineSegmenter::strokeScale(image->width, image->height));
    return reading;
}

OCRService::Reading OCRService::read(const Image& image, Wanted wanted) const {
    TextRequest request;
    request.image = image;
    request.languages = languagesFor(wanted);
    request.regionOfInterest = regionOfInterest(wanted.focus);
    request.isWindow = request.regionOfInterest.has_value();
    request.isKnown = std::move(wanted.isKnown);
    request.urgency = wanted.urgency;
    if (wanted.shouldStop) request.shouldStop = std::move(wanted.shouldStop);
    try {
        TextResult result = m_recognizer.recognize(request);
        if (readsOthers(result.observations, wanted.subject, request.languages)) {
            if (!result.isComplete) return {{}, false, false};
            result = m_recognizer.recognize(request);
        }
        return {std::move(result.observations), result.isComplete, false};
    } catch (const std::exception& error) {
        Log::error(LogCategory::ocr, std::string("OCR failed: ") + error.what());
        return {{}, true, true};
    }
}

std::vector<std::string> OCRService::languagesFor(const Wanted& wanted) const {
    std::vector<std::string> languages;
    addSupported(wanted.languages, languages);
    {
        const std::lock_guard lock(m_lock);
        if (const auto known = m_inUse.find(wanted.subject); known != m_inUse.end())
            addSupported(known->second, languages);
    }
    for (const std::string& language : m_languages)
        if (!contains(languages, language)) languages.push_back(language);
    return languages;
}

void OCRService::addSupported(const std::vector<std::string>& codes, std::vector<std::string>& languages) const {
    for (const std::string& code : codes) {
        if (code.size() < 2) continue;
        const auto match = std::ranges::find_if(
            m_supported, [&](const std::string& supported) { return supported.starts_with(code.substr(0, 2)); });
        if (match != m_supported.end() && !contains(languages, *match) && languages.size() < mostLikely)
            languages.push_back(*match);
    }
}

/// Whether the text is in others than these languages, which they are then added to. What is in use is remembered.
bool OCRService::readsOthers(const std::vector<TextObservation>& observations, const std::string& subject,
                             std::vector<std::string>& languages) const {
    std::string text;
    for (const std::string& line : lines(observations))
        text += line + '\n';
    std::vector<std::string> found;
    const auto guess = LanguageGuess::of(text);
    if (guess.empty()) return false; // no sentences: what was in use may be so still
    addSupported(guess, found);
    std::erase_if(found, [&](const std::string& code) { return contains(m_languages, code); });
    {
        const std::lock_guard lock(m_lock);
        if (subject.empty() || found.empty())
            m_inUse.erase(subject);
        else
            m_inUse[subject] = found;
        if (m_inUse.size() > mostSubjects) m_inUse.clear();
    }
    std::erase_if(found, [&](const std::string& code) { return contains(languages, code); });
    languages.insert(languages.begin(), found.begin(), found.end());
    return !found.empty();
}

bool OCRService::shows(const Image& image, const RelativeRect& place, const std::string& text,
                       std::function<bool()> shouldStop) const {
    // A field's height alone is far less than what is worth reading otherwise.
    TextRequest request{.image = image,
                        .languages = m_languages,
                        .regionOfInterest = {{place.x, 1 - place.y - place.height, place.width, place.height}},
                        .urgency = TextRequest::Urgency::now,
                        .shouldStop = std::move(shouldStop)};
    // Spaces and punctuation are what reading gets wrong most often.
    const auto wordsIn = [](std::string_view line) {
        std::string words;
        for (const std::string& word : TextNormalizer::tokens(line))
            words += word;
        return words;
    };
    try {
        const TextResult result = m_recognizer.recognize(request);
        std::string shown;
        for (const std::string& line : lines(result.observations))
            shown += line + ' ';
        const std::string words = wordsIn(text);
        return result.isComplete && !words.empty() && words == wordsIn(shown);
    } catch (const std::exception& error) {
        Log::error(LogCategory::ocr, std::string("OCR failed: ") + error.what());
        return false;
    }
}

std::vector<std::string> OCRService::lines(const std::vector<TextObservation>& observations) {
    return ReadingOrder::lines(observations);
}

std::vector<std::string> OCRService::textLines(const std::vector<TextObservation>& observations) {
    std::string text;
    for (const std::string& line : lines(observations))
        text += line + '\n';
    return LineSplitter::lines(text, maxCharacters, maxLines);
}

std::vector<RelativeRect> OCRService::boxes(const std::vector<std::string>& terms, const Image& image) const {
    const auto folded = foldedTerms(terms);
    if (folded.empty()) return {};
    std::vector<RelativeRect> boxes;
    for (const TextObservation& observation : read(image, Wanted{}).observations)
        appendBoxes(observation, folded, boxes);
    return boxes;
}

} // namespace nomara
