#pragma once

#include <span>
#include <string_view>

namespace nomara::tesseract {

/// What a data file of Tesseract reads. Its names are its own; the product's are those of locales.
struct Language {
    std::string_view data; ///< the file's name, without its ending
    std::string_view code;
    bool isLatin = false; ///< also read by the data for the whole script
};

/// All known ones. Whoever looks for a language by its first two letters finds the one that they mean first.
std::span<const Language> knownLanguages();

} // namespace nomara::tesseract
