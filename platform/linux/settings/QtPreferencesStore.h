#pragma once

#include "platform/PreferencesStore.h"

#include <filesystem>
#include <memory>

class QSettings;

namespace nomara {

/// The settings in a file of the user's alone that people can read and edit. Used on one thread.
/// Every write goes to disk at once: settings change seldom, and a change must outlive a crash. A file that can't be
/// written keeps the settings in memory until the process ends; `isWritable` tells.
class QtPreferencesStore final : public PreferencesStore {
public:
    /// Creates the folder and the file when they are missing.
    explicit QtPreferencesStore(const std::filesystem::path& file = defaultFile());
    ~QtPreferencesStore() override;

    /// Quillshade/quillshade.ini in the user's configuration folder.
    static std::filesystem::path defaultFile();

    /// False once something could not be written, or the file could not be made sense of.
    bool isWritable() const;

    std::optional<bool> boolean(std::string_view key) const override;
    std::optional<std::int64_t> integer(std::string_view key) const override;
    std::optional<double> real(std::string_view key) const override;
    std::optional<std::string> text(std::string_view key) const override;
    std::optional<std::vector<std::string>> textList(std::string_view key) const override;

    void setBoolean(std::string_view key, bool value) override;
    void setInteger(std::string_view key, std::int64_t value) override;
    void setReal(std::string_view key, double value) override;
    void setText(std::string_view key, std::string_view value) override;
    void setTextList(std::string_view key, const std::vector<std::string>& value) override;
    void remove(std::string_view key) override;

private:
    void save();

    const std::filesystem::path m_file;
    const std::unique_ptr<QSettings> m_settings;
};

} // namespace nomara
