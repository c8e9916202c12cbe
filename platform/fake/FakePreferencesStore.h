#pragma once

#include "platform/PreferencesStore.h"

#include <map>

namespace nomara {

/// Settings in memory. `edit` is the hand of somebody else, which counts from the next `reload` on.
class FakePreferencesStore final : public PreferencesStore {
public:
    std::optional<std::string> text(std::string_view key) const override;
    void change(const Changes& changes) override;
    bool isWritable() const override { return true; }
    std::vector<std::string> keys() const override;
    bool reload() override;
    std::string problem() const override { return m_problem; }
    std::string place() const override { return {}; }

    void edit(std::string_view key, const std::optional<std::string>& value);
    void setProblem(std::string sentence) { m_problem = std::move(sentence); }
    bool contains(std::string_view key) const { return text(key).has_value(); }

private:
    using Texts = std::map<std::string, std::string, std::less<>>;
    Texts m_texts, m_edited;
    std::string m_problem;
};

} // namespace nomara
