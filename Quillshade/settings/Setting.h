#pragma once

#include "platform/PreferencesStore.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace nomara {

/// One row of the settings, whatever its type. Main thread.
class SettingBase {
public:
    explicit SettingBase(std::string key) : m_key(std::move(key)) {}
    virtual ~SettingBase() = default;
    SettingBase(const SettingBase&) = delete;
    SettingBase& operator=(const SettingBase&) = delete;

    const std::string& key() const { return m_key; }
    /// Sets the value from how a person would write it; false, and nothing changed, if it makes no sense.
    virtual bool setFromText(std::string_view text) = 0;

private:
    const std::string m_key;
};

/// How a type is kept: `load` answers absent for what can't be read, `parse` for what a person can't have meant.
template <typename T>
struct PreferenceCodec {
    static std::optional<T> load(const PreferencesStore& store, const std::string& key);
    static void save(PreferencesStore& store, const std::string& key, const T& value);
    static std::optional<T> parse(std::string_view text);
};

/// A value that is read once, and written back the moment it changes.
template <typename T>
class Setting final : public SettingBase {
public:
    Setting(PreferencesStore& store, std::string key, T fallback, std::function<void()> changed)
        : SettingBase(std::move(key)), m_store(store), m_changed(std::move(changed)),
          m_value(PreferenceCodec<T>::load(store, this->key()).value_or(std::move(fallback))) {}

    const T& operator()() const { return m_value; }
    /// Stores the value and announces it.
    void set(T value) {
        m_value = std::move(value);
        PreferenceCodec<T>::save(m_store, key(), m_value);
        if (m_changed) m_changed();
    }
    bool setFromText(std::string_view text) override {
        auto value = PreferenceCodec<T>::parse(text);
        if (!value) return false;
        set(std::move(*value));
        return true;
    }

private:
    PreferencesStore& m_store;
    const std::function<void()> m_changed;
    T m_value;
};

} // namespace nomara
