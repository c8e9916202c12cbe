#pragma once

#include "platform/TextRecognizer.h"
#include "platform/linux/tesseract/DataHealth.h"
#include "platform/linux/tesseract/LineCache.h"
#include "platform/linux/tesseract/LineWorkers.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>

namespace nomara {

namespace tesseract {
class LanguageData;
}

/// Reads by Tesseract's network, one line at a time: finding the lines is done here, and lines that have been read
/// before aren't read again. Messages that Tesseract would write to the standard error are left out.
class TesseractRecognizer final : public TextRecognizer {
public:
    struct Settings {
        /// Of the language data; absent: where the system keeps it.
        std::optional<std::filesystem::path> folder;
        /// Engines hold 10 to 40 MB; opening one takes less than a tenth of a second.
        double idleSeconds = 300;
        /// A line takes about 800 bytes: some ten thousand of them, which is fifty full screens.
        std::size_t cacheBytes = 8'000'000;
    };
    struct Statistics {
        std::uint64_t linesRead = 0;  ///< by Tesseract
        std::uint64_t linesKnown = 0; ///< from the cache, or the same as another of their image
    };

    TesseractRecognizer() : TesseractRecognizer(Settings{}) {}
    explicit TesseractRecognizer(Settings settings);

    std::vector<std::string> supportedLanguages() override;
    std::string unavailableReason() override;
    TextResult recognize(const TextRequest& request) override;
    void setWorkers(int count) override;

    Statistics statistics() const { return {m_linesRead, m_linesKnown}; }
    int openEngines() const { return m_workers.openEngines(); }

private:
    std::filesystem::path folder() const;
    std::optional<std::filesystem::path> damagedFile();
    std::string chosenFiles(const tesseract::LanguageData& data, const TextRequest& request, const LineCrop& line);

    const Settings m_settings;
    std::atomic<std::uint64_t> m_linesRead = 0, m_linesKnown = 0;
    tesseract::DataHealth m_health;
    std::mutex m_damagedMutex;                      // guards the field below it
    std::optional<std::filesystem::path> m_damaged; // without which nothing is to be read
    tesseract::LineCache m_cache;
    tesseract::LineWorkers m_workers;
};

} // namespace nomara
