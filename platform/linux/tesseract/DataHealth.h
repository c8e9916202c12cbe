#pragma once

#include "core/reading/LineCrop.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace nomara::tesseract {

/// Which data files can be read, each found out once until it changes. Callable from any thread.
class DataHealth {
public:
    /// The first damaged one of these files, as Engine takes them: "tur+eng". Files that aren't known yet are tried on
    /// this line; one of which it can't be found out counts as sound, and is tried again.
    std::optional<std::filesystem::path> firstDamaged(const std::filesystem::path& folder, const std::string& languages,
                                                      const LineCrop& line);
    /// Whether a file is still as it was when it was found to be damaged.
    bool isDamaged(const std::filesystem::path& file) const;

private:
    struct Stamp {
        std::uintmax_t size = 0;
        std::filesystem::file_time_type written;
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };
    static Stamp stampOf(const std::filesystem::path& file);

    mutable std::mutex m_mutex;                                      // guards the field below it
    std::map<std::filesystem::path, std::pair<Stamp, bool>> m_tried; // whether it is sound
};

} // namespace nomara::tesseract
