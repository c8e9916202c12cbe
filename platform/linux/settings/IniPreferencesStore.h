#pragma once

#include "platform/PreferencesStore.h"
#include "platform/linux/settings/IniFile.h"

#include <filesystem>

namespace nomara {

/// The settings in a file of the user's alone that people can read and edit. Used on one thread.
/// Every write goes to disk at once: settings change seldom, and a change must outlive a crash. It changes the lines of
/// its own key alone, in the file as it is at that moment. A file that can't be written keeps the settings in memory
/// until the process ends; `isWritable` tells.
class IniPreferencesStore final : public PreferencesStore {
public:
    /// Creates the folder and the file when they are missing.
    explicit IniPreferencesStore(const std::filesystem::path& file = defaultFile());

    /// Quillshade/quillshade.ini in the user's configuration folder.
    static std::filesystem::path defaultFile();

    std::optional<std::string> text(std::string_view key) const override;
    void change(const Changes& changes) override;
    bool isWritable() const override { return m_unwritten.empty(); }
    std::vector<std::string> keys() const override;
    bool reload() override;
    std::string problem() const override { return m_problem; }
    std::string place() const override { return m_file.string(); }

private:
    void read();

    const std::filesystem::path m_file;
    std::string m_contents; ///< of the file, as it was last seen
    IniFile m_ini;
    std::string m_problem;
    Changes m_unwritten;
};

} // namespace nomara
