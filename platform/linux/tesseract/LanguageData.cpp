#include "platform/linux/tesseract/LanguageData.h"

#include "platform/linux/tesseract/LanguageCodes.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace nomara::tesseract {

namespace {

constexpr const char* ending = ".traineddata";

std::set<std::string> filesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    std::error_code error; // a folder that can't be read holds nothing for us
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        if (at->path().extension() == ending) names.insert(at->path().stem());
    return names;
}

} // namespace

LanguageData::LanguageData(std::filesystem::path folder)
    : m_folder(std::move(folder)), m_files(m_folder.empty() ? std::set<std::string>() : filesIn(m_folder)) {
    // Debian keeps it beside the languages, Tesseract itself in a folder of the scripts.
    for (const char* const name : {"script/Latin", "Latin"}) {
        std::error_code error;
        if (!m_folder.empty() && std::filesystem::exists(m_folder / (std::string(name) + ending), error))
            m_latin = name;
    }
}

std::filesystem::path LanguageData::findFolder() {
    std::vector<std::filesystem::path> places;
    if (const char* const given = std::getenv("TESSDATA_PREFIX"); given != nullptr && *given != 0) {
        places.emplace_back(given);
        places.push_back(places.back() / "tessdata");
    }
    for (const char* const place :
         {"/usr/share/tesseract-ocr/5/tessdata", "/usr/share/tesseract-ocr/4.00/tessdata", "/usr/share/tessdata",
          "/usr/share/tesseract/tessdata", "/usr/local/share/tessdata"})
        places.emplace_back(place);
    for (const std::filesystem::path& place : places)
        if (!LanguageData(place).codes().empty()) return place;
    return {};
}

std::filesystem::path LanguageData::file(const std::filesystem::path& folder, const std::string& name) {
    return folder / (name + ending);
}

std::vector<std::string> LanguageData::codes() const {
    std::vector<std::string> codes;
    for (const Language& language : knownLanguages())
        if (m_files.contains(std::string(language.data)) || (language.isLatin && !m_latin.empty()))
            codes.emplace_back(language.code);
    return codes;
}

std::string LanguageData::filesFor(const std::vector<std::string>& codes) const {
    std::vector<Language> wanted;
    const auto add = [&](const std::string& code) {
        for (const Language& language : knownLanguages())
            if (language.code == code &&
                (m_files.contains(std::string(language.data)) || (language.isLatin && !m_latin.empty())))
                wanted.push_back(language);
    };
    for (const std::string& code : codes)
        add(code);
    if (wanted.empty())
        for (const std::string& code : this->codes())
            if (wanted.empty()) add(code);
    // One network for the whole script takes less time than two of its languages, and reads their mixture better; a
    // single language takes half as long alone.
    if (!m_latin.empty() && wanted.size() > 1 && std::ranges::all_of(wanted, &Language::isLatin)) return m_latin;
    std::string files;
    for (const Language& language : wanted)
        if (m_files.contains(std::string(language.data)))
            files += (files.empty() ? "" : "+") + std::string(language.data);
        else if (files.find(m_latin) == std::string::npos)
            files += (files.empty() ? "" : "+") + m_latin;
    return files;
}

} // namespace nomara::tesseract
