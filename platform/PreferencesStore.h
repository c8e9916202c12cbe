#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// The user's settings as texts, by key. A key that is absent differs from one that holds an empty text. People write
/// these texts too, at any time: case, hyphens and underscores make no difference in a key. Used on the main thread.
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;

    /// Where a key stands more than once, its texts with a line break between them.
    virtual std::optional<std::string> text(std::string_view key) const = 0;
    /// Texts by key; an absent one takes the key away.
    using Changes = std::map<std::string, std::optional<std::string>, std::less<>>;
    /// All of them or, where a crash or a full disk comes in between, none. On disk when this returns; what can't be
    /// written is kept in memory. What somebody else has changed meanwhile stays.
    virtual void change(const Changes& changes) = 0;
    void setText(std::string_view key, std::string_view value) { change({{std::string(key), std::string(value)}}); }
    void remove(std::string_view key) { change({{std::string(key), std::nullopt}}); }
    /// False while something couldn't be written.
    virtual bool isWritable() const = 0;
    /// The keys that are there, as they are written.
    virtual std::vector<std::string> keys() const = 0;

    /// Takes over what somebody else has written; true if any text differs from before.
    virtual bool reload() = 0;
    /// Why what is stored can't be read as settings at all, as a sentence; empty where it can.
    virtual std::string problem() const = 0;
    /// The file that a person would mend; empty where there is none.
    virtual std::string place() const = 0;
};

} // namespace nomara
