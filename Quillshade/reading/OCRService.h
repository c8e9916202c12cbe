#pragma once

#include "platform/TextRecognizer.h"

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Reads the text of images in the user's languages. What it works with is settled at construction; callable from any
/// thread.
class OCRService {
public:
    struct Reading {
        std::vector<TextObservation> observations;
        bool isComplete = true; ///< false where it was stopped before the end
        bool failed = false;    ///< nothing could be read; the reason has been logged
    };

    /// What is wanted of an image, beside what there is to read.
    struct Wanted {
        std::optional<RelativeRect> focus = {}; ///< a window, as fractions from the top left
        TextRequest::Urgency urgency = TextRequest::Urgency::now;
        std::function<bool()> shouldStop = {};                 ///< asked between lines, from several threads
        std::function<bool(const RelativeRect&)> isKnown = {}; ///< as in `TextRequest`
        /// Languages that are likely, as codes that begin with two letters: of the page, and of what it says.
        std::vector<std::string> languages = {};
        /// What the image is of, an application say: what was read of it lately tells which languages are in use.
        std::string subject = {};
    };

    /// `preferredLanguages` are codes such as "tr-TR", the dearest first. `recognizer` outlives the service.
    OCRService(TextRecognizer& recognizer, const std::vector<std::string>& preferredLanguages);

    /// Waits. Reads the whole image, or the window that `focus` marks, where that is large enough to be worth it,
    /// without what its own controls say and what is no text. Where
    /// what was read is in a language that it wasn't read in, it is read once more, in that one as well. If there is no
    /// time left for that nothing has been read.
    Reading recognize(const Image& image, Wanted wanted) const;
    Reading recognize(const Image& image, const std::optional<RelativeRect>& focus,
                      TextRequest::Urgency urgency = TextRequest::Urgency::now,
                      std::function<bool()> shouldStop = {}) const {
        return recognize(image, Wanted{.focus = focus, .urgency = urgency, .shouldStop = std::move(shouldStop)});
    }
    /// Waits. Whether the image shows this text at that place and nothing else there, compared as search compares.
    /// False where it can't be read for certain.
    bool shows(const Image& image, const RelativeRect& place, const std::string& text,
               std::function<bool()> shouldStop) const;
    /// The texts in reading order, without those too uncertain to be text.
    static std::vector<std::string> lines(const std::vector<TextObservation>& observations);
    /// The same as lines of a frame's text: cleaned, each once.
    static std::vector<std::string> textLines(const std::vector<TextObservation>& observations);
    /// Waits. Where these words stand in the image, compared as search compares, as fractions from the bottom left.
    /// Words of one character are too many to be shown.
    std::vector<RelativeRect> boxes(const std::vector<std::string>& terms, const Image& image) const;

    /// What is looked for in images, the most likely first; of the supported ones, at most three.
    const std::vector<std::string>& languages() const { return m_languages; }
    /// Those of the preferred ones that can't be read here.
    const std::vector<std::string>& missingLanguages() const { return m_missingLanguages; }
    /// How many lines are read side by side.
    void setWorkers(int count) { m_recognizer.setWorkers(count); }
    /// Why nothing can be read at all, as a sentence that tells what to do; empty where text can be read.
    std::string unavailableReason() const { return m_recognizer.unavailableReason(); }

private:
    /// All of it.
    Reading read(const Image& image, Wanted wanted) const;
    std::vector<std::string> languagesFor(const Wanted& wanted) const;
    void addSupported(const std::vector<std::string>& codes, std::vector<std::string>& languages) const;
    bool readsOthers(const std::vector<TextObservation>& observations, const std::string& subject,
                     std::vector<std::string>& languages) const;

    TextRecognizer& m_recognizer;
    std::vector<std::string> m_supported;
    std::vector<std::string> m_languages;
    std::vector<std::string> m_missingLanguages;
    mutable std::mutex m_lock;                                       // guards the field below it
    mutable std::map<std::string, std::vector<std::string>> m_inUse; // by subject: languages beside the user's
};

} // namespace nomara
