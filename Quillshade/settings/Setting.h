#pragma once

#include "Quillshade/settings/ListText.h"
#include "Quillshade/settings/SettingText.h"
#include "platform/PreferencesStore.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nomara {

/// What a row does for the recording when its text can't be read.
enum class Unreadable {
    countsAsDefault, ///< which records no more than any other value
    holdsRecording,  ///< the text may have asked for less to be recorded
};

/// One row of the settings, whatever its type: a value that is read from the store, and written back the moment it
/// changes. Main thread.
class SettingBase {
public:
    SettingBase(PreferencesStore& store, std::string key, Unreadable unreadable)
        : m_store(store), m_key(std::move(key)), m_unreadable(unreadable) {}
    virtual ~SettingBase() = default;
    SettingBase(const SettingBase&) = delete;
    SettingBase& operator=(const SettingBase&) = delete;

    const std::string& key() const { return m_key; }
    /// Why the stored text can't be read, as a clause; empty where it can, or there is none.
    const std::string& problem() const { return m_problem; }
    /// Whether nothing may be recorded while there is a problem.
    bool holdsRecording() const { return m_unreadable == Unreadable::holdsRecording; }

    /// Reads the stored text again; true if the value, or whether it can be read, is another now. Announces nothing.
    virtual bool reload() = 0;
    /// Why a text as a person would write it is no value, as a clause that says what would be one; empty where it is.
    virtual std::string check(std::string_view text) const = 0;
    /// How the value of such a text is stored; absent where it stands there by its absence, and for no value.
    virtual std::optional<std::string> stored(std::string_view text) const = 0;
    /// Sets the value from such a text; false, and nothing changed, if it is none.
    virtual bool setFromText(std::string_view text) = 0;

protected:
    std::optional<std::string> storedText() const { return m_store.text(m_key); }
    void store(const std::optional<std::string>& text) {
        if (text)
            m_store.setText(m_key, *text);
        else
            m_store.remove(m_key);
        m_problem.clear();
    }
    void setProblem(std::string clause) { m_problem = std::move(clause); }

private:
    PreferencesStore& m_store;
    const std::string m_key;
    const Unreadable m_unreadable;
    std::string m_problem;
};

/// A value, or why a text is none.
template <typename T>
struct Parsed {
    std::optional<T> value;
    std::string problem;
};

/// How a type is written. `print` gives nothing for what stands in the store by its absence.
template <typename T>
struct PreferenceCodec {
    static Parsed<T> parse(std::string_view text);
    static std::optional<std::string> print(const T& value);
};

/// A whole number of a range, which its problem names.
struct WholeNumberText {
    static Parsed<std::int64_t> parse(std::string_view text, std::int64_t least, std::int64_t most);
    static std::optional<std::string> print(std::int64_t value);
};

template <std::int64_t least, std::int64_t most>
struct WholeNumberCodec {
    static Parsed<std::int64_t> parse(std::string_view text) { return WholeNumberText::parse(text, least, most); }
    static std::optional<std::string> print(std::int64_t value) { return WholeNumberText::print(value); }
};
using DaysCodec = WholeNumberCodec<0, SettingText::maxDays>;
using GigabytesCodec = WholeNumberCodec<0, SettingText::maxGigabytes>;

struct SiteListCodec {
    static Parsed<std::vector<std::string>> parse(std::string_view text);
    static std::optional<std::string> print(const std::vector<std::string>& list) { return ListText::print(list); }
};

struct ApplicationListCodec {
    static Parsed<std::vector<std::string>> parse(std::string_view text);
    static std::optional<std::string> print(const std::vector<std::string>& list) { return ListText::print(list); }
};

template <typename T, typename Codec = PreferenceCodec<T>>
class Setting final : public SettingBase {
public:
    Setting(PreferencesStore& store, std::string key, T fallback, Unreadable unreadable, std::function<void()> changed)
        : SettingBase(store, std::move(key), unreadable), m_changed(std::move(changed)),
          m_fallback(std::move(fallback)), m_value(m_fallback) {
        reload();
    }

    const T& operator()() const { return m_value; }
    /// Stores the value and announces it.
    void set(T value) {
        m_value = std::move(value);
        store(Codec::print(m_value));
        if (m_changed) m_changed();
    }

    bool reload() override {
        const auto text = storedText();
        Parsed<T> parsed = text ? parse(*text) : Parsed<T>{m_fallback, {}};
        const bool isOther = problem() != parsed.problem || m_value != parsed.value.value_or(m_fallback);
        m_value = std::move(parsed.value).value_or(m_fallback);
        setProblem(std::move(parsed.problem));
        return isOther;
    }
    std::string check(std::string_view text) const override { return parse(text).problem; }
    std::optional<std::string> stored(std::string_view text) const override {
        const auto parsed = parse(text);
        return parsed.value ? Codec::print(*parsed.value) : std::nullopt;
    }
    bool setFromText(std::string_view text) override {
        auto parsed = parse(text);
        if (parsed.value) set(*std::move(parsed.value));
        return parsed.value.has_value();
    }

private:
    static Parsed<T> parse(std::string_view text) {
        if (std::string problem = SettingText::problem(text); !problem.empty()) return {std::nullopt, problem};
        return Codec::parse(text);
    }

    const std::function<void()> m_changed;
    const T m_fallback;
    T m_value;
};

} // namespace nomara
