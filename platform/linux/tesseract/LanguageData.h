#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace nomara::tesseract {

/// The data files that are installed, as they were when it was made.
class LanguageData {
public:
    explicit LanguageData(std::filesystem::path folder);

    /// Where the system keeps them: the first place with such a file; empty where there is none. TESSDATA_PREFIX has
    /// the first word.
    static std::filesystem::path findFolder();

    /// The file that holds what Tesseract calls by this name.
    static std::filesystem::path file(const std::filesystem::path& folder, const std::string& name);

    const std::filesystem::path& folder() const { return m_folder; }
    /// Codes of what can be read with them, such as "en-US".
    std::vector<std::string> codes() const;
    /// The files to read these languages with, as Tesseract takes them: "tur+eng". Codes that aren't installed are
    /// passed over; where none is left, the first that is. Empty where nothing is.
    std::string filesFor(const std::vector<std::string>& codes) const;

private:
    std::filesystem::path m_folder;
    std::set<std::string> m_files;
    std::string m_latin; ///< of the whole script; empty where it isn't there
};

} // namespace nomara::tesseract
