#pragma once

#include "platform/PreferencesStore.h"

#include <functional>
#include <map>
#include <variant>

namespace nomara {

/// Settings in memory. Values stand as texts or lists of texts and are read by the same rules as the real store's, so
/// `setText("fullImageDays", "tomorrow")` is a value of the wrong type.
class FakePreferencesStore final : public PreferencesStore {
public:
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

    bool contains(std::string_view key) const { return m_values.contains(key); }

private:
    using Value = std::variant<std::string, std::vector<std::string>>;
    std::map<std::string, Value, std::less<>> m_values;
};

} // namespace nomara
