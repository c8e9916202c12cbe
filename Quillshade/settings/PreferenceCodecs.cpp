#include "Quillshade/settings/AppSettings.h"
#include "core/text/Graphemes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include <nlohmann/json.hpp>

namespace nomara {

namespace {

using nlohmann::json;
using TextList = std::vector<std::string>;
using RuleList = std::vector<ProjectRule>;
using OptionalDate = std::optional<Date>;

constexpr std::array<std::string_view, 3> qualityNames{"compact", "balanced", "sharp"};

template <typename Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/// What a piece of JSON holds, if it has the shape that `read` expects; `read` may throw json's own errors.
template <typename T, typename Read>
std::optional<T> fromJSON(std::string_view text, const Read& read) {
    try {
        return read(json::parse(text));
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

/// The library would turn -1 or 3.7 into some number.
std::uint32_t unsigned32(const json& value) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most)
        throw json::out_of_range::create(406, "number out of range", &value);
    return value.get<std::uint32_t>();
}

// Bytes that aren't UTF-8 must not keep a setting from being stored.
std::string toText(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

/// For what the store keeps as text.
template <typename T>
std::optional<T> loadText(const PreferencesStore& store, const std::string& key) {
    const auto text = store.text(key);
    return text ? PreferenceCodec<T>::parse(*text) : std::nullopt;
}

} // namespace

std::string_view name(ImageQuality quality) {
    return qualityNames[static_cast<std::size_t>(quality)];
}

std::optional<ImageQuality> imageQualityNamed(std::string_view name) {
    const auto found = std::find(qualityNames.begin(), qualityNames.end(), name);
    if (found == qualityNames.end()) return std::nullopt;
    return static_cast<ImageQuality>(found - qualityNames.begin());
}

template <>
std::optional<bool> PreferenceCodec<bool>::load(const PreferencesStore& store, const std::string& key) {
    return store.boolean(key);
}
template <>
void PreferenceCodec<bool>::save(PreferencesStore& store, const std::string& key, const bool& value) {
    store.setBoolean(key, value);
}
template <>
std::optional<bool> PreferenceCodec<bool>::parse(std::string_view text) {
    if (text == "true" || text == "yes" || text == "1") return true;
    if (text == "false" || text == "no" || text == "0") return false;
    return std::nullopt;
}

template <>
std::optional<std::int64_t> PreferenceCodec<std::int64_t>::load(const PreferencesStore& store, const std::string& key) {
    return store.integer(key);
}
template <>
void PreferenceCodec<std::int64_t>::save(PreferencesStore& store, const std::string& key, const std::int64_t& value) {
    store.setInteger(key, value);
}
template <>
std::optional<std::int64_t> PreferenceCodec<std::int64_t>::parse(std::string_view text) {
    return number<std::int64_t>(text);
}

template <>
std::optional<CaptureMode> PreferenceCodec<CaptureMode>::parse(std::string_view text) {
    return captureModeNamed(text);
}
template <>
std::optional<CaptureMode> PreferenceCodec<CaptureMode>::load(const PreferencesStore& store, const std::string& key) {
    return loadText<CaptureMode>(store, key);
}
template <>
void PreferenceCodec<CaptureMode>::save(PreferencesStore& store, const std::string& key, const CaptureMode& value) {
    store.setText(key, name(value));
}

template <>
std::optional<ImageQuality> PreferenceCodec<ImageQuality>::parse(std::string_view text) {
    return imageQualityNamed(text);
}
template <>
std::optional<ImageQuality> PreferenceCodec<ImageQuality>::load(const PreferencesStore& store, const std::string& key) {
    return loadText<ImageQuality>(store, key);
}
template <>
void PreferenceCodec<ImageQuality>::save(PreferencesStore& store, const std::string& key, const ImageQuality& value) {
    store.setText(key, name(value));
}

template <>
std::optional<TextList> PreferenceCodec<TextList>::load(const PreferencesStore& store, const std::string& key) {
    return store.textList(key);
}
template <>
void PreferenceCodec<TextList>::save(PreferencesStore& store, const std::string& key, const TextList& value) {
    store.setTextList(key, value);
}
// A list decides what is never recorded: one that was misread would let through what the user meant to keep out.
template <>
std::optional<TextList> PreferenceCodec<TextList>::parse(std::string_view text) {
    const std::string_view plain = Graphemes::trimmed(text);
    if (plain.starts_with('[')) return fromJSON<TextList>(plain, [](const json& list) { return list.get<TextList>(); });
    if (plain.find_first_of("[]{}\"'") != std::string_view::npos) return std::nullopt;
    TextList list;
    for (std::size_t start = 0; start <= plain.size();) {
        const std::size_t comma = std::min(plain.find(',', start), plain.size());
        if (const auto item = Graphemes::trimmed(plain.substr(start, comma - start)); !item.empty())
            list.emplace_back(item);
        start = comma + 1;
    }
    return list;
}

template <>
std::optional<HotKeyCombo> PreferenceCodec<HotKeyCombo>::parse(std::string_view text) {
    return fromJSON<HotKeyCombo>(text, [](const json& value) {
        return HotKeyCombo{unsigned32(value.at("keyCode")), unsigned32(value.at("carbonModifiers"))};
    });
}
template <>
std::optional<HotKeyCombo> PreferenceCodec<HotKeyCombo>::load(const PreferencesStore& store, const std::string& key) {
    return loadText<HotKeyCombo>(store, key);
}
template <>
void PreferenceCodec<HotKeyCombo>::save(PreferencesStore& store, const std::string& key, const HotKeyCombo& value) {
    store.setText(key, toText({{"keyCode", value.keyCode}, {"carbonModifiers", value.carbonModifiers}}));
}

template <>
std::optional<RuleList> PreferenceCodec<RuleList>::parse(std::string_view text) {
    return fromJSON<RuleList>(text, [](const json& list) -> std::optional<RuleList> {
        if (!list.is_array()) return std::nullopt;
        RuleList rules;
        for (const json& rule : list)
            rules.push_back({rule.at("id").get<std::string>(), rule.at("name").get<std::string>(),
                             rule.at("keywords").get<TextList>()});
        return rules;
    });
}
template <>
std::optional<RuleList> PreferenceCodec<RuleList>::load(const PreferencesStore& store, const std::string& key) {
    return loadText<RuleList>(store, key);
}
template <>
void PreferenceCodec<RuleList>::save(PreferencesStore& store, const std::string& key, const RuleList& value) {
    json list = json::array();
    for (const ProjectRule& rule : value)
        list.push_back({{"id", rule.id}, {"name", rule.name}, {"keywords", rule.keywords}});
    store.setText(key, toText(list));
}

template <>
std::optional<OptionalDate> PreferenceCodec<OptionalDate>::load(const PreferencesStore& store, const std::string& key) {
    const auto seconds = store.real(key);
    return seconds ? OptionalDate(Date{*seconds}) : OptionalDate();
}
template <>
void PreferenceCodec<OptionalDate>::save(PreferencesStore& store, const std::string& key, const OptionalDate& value) {
    if (value)
        store.setReal(key, value->seconds);
    else
        store.remove(key);
}
template <>
std::optional<OptionalDate> PreferenceCodec<OptionalDate>::parse(std::string_view text) {
    if (text.empty()) return std::optional<OptionalDate>(std::in_place);
    const auto seconds = number<double>(text);
    if (!seconds) return std::nullopt;
    return OptionalDate(Date{*seconds});
}

} // namespace nomara
