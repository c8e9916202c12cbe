#include "platform/linux/tesseract/DataHealth.h"

#include "platform/linux/tesseract/LanguageData.h"
#include "platform/linux/tesseract/TesseractEngine.h"

#include <sstream>
#include <system_error>

namespace nomara::tesseract {

std::optional<std::filesystem::path> DataHealth::firstDamaged(const std::filesystem::path& folder,
                                                              const std::string& languages, const LineCrop& line) {
    std::istringstream names(languages);
    for (std::string name; std::getline(names, name, '+');) {
        const std::filesystem::path file = LanguageData::file(folder, name);
        const Stamp stamp = stampOf(file);
        {
            const std::lock_guard lock(m_mutex);
            if (const auto known = m_tried.find(file); known != m_tried.end() && known->second.first == stamp) {
                if (!known->second.second) return file;
                continue;
            }
        }
        const DataState state = tryData(folder, name, line);
        if (state == DataState::unknown) continue;
        const std::lock_guard lock(m_mutex);
        m_tried[file] = {stamp, state == DataState::sound};
        if (state == DataState::damaged) return file;
    }
    return std::nullopt;
}

bool DataHealth::isDamaged(const std::filesystem::path& file) const {
    const Stamp stamp = stampOf(file);
    const std::lock_guard lock(m_mutex);
    const auto known = m_tried.find(file);
    return known != m_tried.end() && known->second.first == stamp && !known->second.second;
}

DataHealth::Stamp DataHealth::stampOf(const std::filesystem::path& file) {
    std::error_code error; // what isn't there has a stamp of its own
    return {std::filesystem::file_size(file, error), std::filesystem::last_write_time(file, error)};
}

} // namespace nomara::tesseract
