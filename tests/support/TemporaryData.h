#pragma once

#include "core/base/Paths.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace nomara::testing {

/// A data folder of the test's own, in the environment while this lives and removed afterwards.
class TemporaryData {
public:
    TemporaryData() {
        std::string pattern = std::filesystem::temp_directory_path() / "quillshade-test-XXXXXX";
        m_root = mkdtemp(pattern.data());
        setenv("NOMARA_DATA_DIR", folder().c_str(), 1);
        NomaraPaths::ensureDirectories();
    }
    ~TemporaryData() {
        unsetenv("NOMARA_DATA_DIR");
        std::error_code ignored;
        std::filesystem::remove_all(m_root, ignored);
    }
    TemporaryData(const TemporaryData&) = delete;
    TemporaryData& operator=(const TemporaryData&) = delete;

    /// The data folder, which may be removed; it lies in `root`.
    std::filesystem::path folder() const { return m_root / "data"; }
    std::filesystem::path root() const { return m_root; }
    std::filesystem::path database() const { return NomaraPaths::databaseURL(); }

private:
    std::filesystem::path m_root;
};

} // namespace nomara::testing
