#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// The user's settings, by key. A key that is absent differs from one that holds false or 0, and a value that can't be
/// read as the type asked for counts as absent. Used on the main thread. A write is on disk when the process ends in
/// order, and soon after it otherwise.
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;

    virtual std::optional<bool> boolean(std::string_view key) const = 0;
    virtual std::optional<std::int64_t> integer(std::string_view key) const = 0;
    virtual std::optional<double> real(std::string_view key) const = 0;
    virtual std::optional<std::string> text(std::string_view key) const = 0;
    virtual std::optional<std::vector<std::string>> textList(std::string_view key) const = 0;

    virtual void setBoolean(std::string_view key, bool value) = 0;
    virtual void setInteger(std::string_view key, std::int64_t value) = 0;
    virtual void setReal(std::string_view key, double value) = 0;
    virtual void setText(std::string_view key, std::string_view value) = 0;
    virtual void setTextList(std::string_view key, const std::vector<std::string>& value) = 0;
    virtual void remove(std::string_view key) = 0;
};

} // namespace nomara
