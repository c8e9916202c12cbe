#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// The text of a settings file: lines of "key=value" under headings that don't matter, comments after ; or #. A line
/// that is none of these goes on with the value above it. What isn't changed stays as it was written.
class IniFile {
public:
    explicit IniFile(std::string_view text = {});

    /// The values of all lines with this key, as `PreferenceText::foldedKey` compares it, with line breaks between.
    /// Quotes and backslashes are read where a program wrote them; a person's stay as they are.
    std::optional<std::string> value(std::string_view key) const;
    void set(std::string_view key, std::string_view value);
    void remove(std::string_view key);
    std::vector<std::string> keys() const;
    /// What is wrong with the first line that can't be read, as a sentence without its end; empty where all can.
    const std::string& problem() const { return m_problem; }

    std::string text() const;

private:
    struct Line {
        std::string text;
        std::string key;   ///< of the value that the line belongs to; empty for the others
        std::string value; ///< as it is written
        bool isFirst = false;
    };

    std::vector<Line> m_lines;
    std::string m_problem;
};

} // namespace nomara
