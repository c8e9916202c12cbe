#pragma once

#include "platform/TextRecognizer.h"

#include <functional>
#include <mutex>

namespace nomara {

/// "Reads" what the test has scripted. Callable from any thread, so that a test may change the script meanwhile.
class FakeTextRecognizer final : public TextRecognizer {
public:
    using Reading = std::function<TextResult(const TextRequest&)>;

    std::vector<std::string> supportedLanguages() override;
    std::string unavailableReason() override;
    TextResult recognize(const TextRequest& request) override;
    void setWorkers(int count) override;

    /// What every image shows from now on. Of it `recognize` gives what has its middle in the region of interest,
    /// asking `shouldStop` before each piece.
    void setText(std::vector<TextObservation> observations);
    /// Reads instead of the above, outside the lock: a text for each image, a slow reading, or one that throws.
    void setReading(Reading reading);
    void setLanguages(std::vector<std::string> languages); ///< "en-US" at the start
    /// Languages can't be found out and nothing can be read, for that reason; empty: they can.
    void setUnavailable(std::string reason);

    /// All requests so far, those that failed among them, without their `shouldStop`.
    std::vector<TextRequest> requests() const;
    int workers() const;

    /// A piece with a box for each character of what must be ASCII, all equally wide.
    static TextObservation piece(const std::string& text, RelativeRect box, double confidence = 1);

private:
    mutable std::mutex m_mutex; // guards all fields
    std::vector<TextObservation> m_text;
    Reading m_reading;
    std::vector<std::string> m_languages = {"en-US"};
    std::string m_unavailable;
    std::vector<TextRequest> m_requests;
    int m_workers = 1;
};

} // namespace nomara
