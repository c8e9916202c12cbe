#pragma once

#include "core/imaging/Image.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace nomara::bench {

/// A picture of text, and the text.
struct TextPage {
    std::string name;
    Image image;
    std::string text;
    std::vector<std::string> languages; ///< codes that it is read with
    std::string data;                   ///< the same as Tesseract's own files
};

/// Every picture of that folder that has a text beside it (`page.png`, `page.txt`); a page whose name holds "turkish"
/// is read in Turkish too. Drawn pages where the folder is empty. Ends the process with a message where there is none.
std::vector<TextPage> textPages(const std::filesystem::path& folder);

/// How often each word of two characters or more occurs, in lower case; a word is made of letters and digits.
using Words = std::map<std::string, int>;
Words words(const std::string& text);

struct Agreement {
    int wanted = 0, found = 0, both = 0;

    void add(const Words& wantedWords, const Words& foundWords);
    double recall() const { return wanted == 0 ? 1 : static_cast<double>(both) / wanted; }
    double precision() const { return found == 0 ? 1 : static_cast<double>(both) / found; }
};

} // namespace nomara::bench
