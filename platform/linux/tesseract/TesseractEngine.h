#pragma once

#include "core/reading/LineCrop.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace nomara::tesseract {

/// What one line says. Boxes are in pixels of the line's crop.
struct ReadLine {
    struct Symbol {
        std::uint16_t offset = 0; ///< of its first byte in `text`
        std::uint16_t length = 0; ///< in bytes
        std::uint16_t left = 0, top = 0, right = 0, bottom = 0;
    };

    std::string text;     ///< empty where there is none
    float confidence = 0; ///< 0 to 1: the mean of its words, by their length
    float doubtful = 0;   ///< the share of its symbols that stand in words hard to read
    std::vector<Symbol> symbols;
};

enum class DataState {
    sound,
    damaged,
    unknown, ///< it couldn't be found out
};

/// Whether a line can be read with one data file. Of some damage Tesseract ends its process, so it is tried in another
/// one, which takes as long as opening an engine. Waits; callable from any thread.
DataState tryData(const std::filesystem::path& folder, const std::string& language, const LineCrop& line);

/// One session of Tesseract: 10 to 30 MB until it is destroyed. Used from one thread at a time.
class Engine {
public:
    /// `languages`: names of data files in that folder, such as "tur+eng". Throws PlatformError.
    Engine(const std::filesystem::path& folder, const std::string& languages);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Takes some ten milliseconds, twice that where a word is hard to read, and can't be interrupted.
    ReadLine read(const LineCrop& line);

private:
    ReadLine read(const LineCrop& line, LineCrop::Size size);

    class Session;
    std::unique_ptr<Session> m_session;
};

} // namespace nomara::tesseract
