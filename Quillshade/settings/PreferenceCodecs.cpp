#include "Quillshade/settings/AppSettings.h"
#include "core/text/Graphemes.h"
#include "platform/PreferenceText.h"

#include <algorithm>
#include <array>
#include <limits>

#include <nlohmann/json.hpp>

namespace nomara {

namespace {

using nlohmann::json;
using TextList = std::vector<std::string>;
using RuleList = std::vector<ProjectRule>;
using OptionalDate = std::optional<Date>;

constexpr std::array<std::string_view, 3> qualityNames{"compact", "balanced", "sharp"};

template <typename T>
Parsed<T> parsed(std::optional<T> value, std::string_view text) {
    if (value) return {std::move(value), {}};
    return {std::nullopt, "“" + Graphemes::validUTF8(text) + "” is no value for it"};
}

/// What a piece of JSON holds, if it has the shape that `read` expects; `read` may throw json's own errors.
template <typename T, typename Read>
Parsed<T> fromJSON(std::string_view text, const Read& read) {
    try {
        return parsed<T>(read(json::parse(text)), text);
    } catch (const json::exception&) {
        return parsed<T>(std::nullopt, text);
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

Parsed<TextList> parsedList(std::string_view text, ListText::Kind kind) {
    ListText::Reading reading = ListText::parse(text, kind);
    if (!reading.problem.empty()) return {std::nullopt, std::move(reading.problem)};
    return {std::move(reading.entries), {}};
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
Parsed<bool> PreferenceCodec<bool>::parse(std::string_view text) {
    return parsed(PreferenceText::toBoolean(text), text);
}
template <>
std::optional<std::string> PreferenceCodec<bool>::print(const bool& value) {
    return PreferenceText::fromBoolean(value);
}

template <>
Parsed<std::int64_t> PreferenceCodec<std::int64_t>::parse(std::string_view text) {
    return parsed(PreferenceText::toInteger(text), text);
}
template <>
std::optional<std::string> PreferenceCodec<std::int64_t>::print(const std::int64_t& value) {
    return PreferenceText::fromInteger(value);
}

template <>
Parsed<CaptureMode> PreferenceCodec<CaptureMode>::parse(std::string_view text) {
    return parsed(captureModeNamed(PreferenceText::bare(text)), text);
}
template <>
std::optional<std::string> PreferenceCodec<CaptureMode>::print(const CaptureMode& value) {
    return std::string(name(value));
}

template <>
Parsed<ImageQuality> PreferenceCodec<ImageQuality>::parse(std::string_view text) {
    return parsed(imageQualityNamed(PreferenceText::bare(text)), text);
}
template <>
std::optional<std::string> PreferenceCodec<ImageQuality>::print(const ImageQuality& value) {
    return std::string(name(value));
}

Parsed<TextList> SiteListCodec::parse(std::string_view text) {
    return parsedList(text, ListText::Kind::sites);
}

Parsed<TextList> ApplicationListCodec::parse(std::string_view text) {
    return parsedList(text, ListText::Kind::applications);
}

template <>
Parsed<HotKeyCombo> PreferenceCodec<HotKeyCombo>::parse(std::string_view text) {
    return fromJSON<HotKeyCombo>(text, [](const json& value) -> std::optional<HotKeyCombo> {
        return HotKeyCombo{unsigned32(value.at("keyCode")), unsigned32(value.at("carbonModifiers"))};
    });
}
template <>
std::optional<std::string> PreferenceCodec<HotKeyCombo>::print(const HotKeyCombo& value) {
    return toText({{"keyCode", value.keyCode}, {"carbonModifiers", value.carbonModifiers}});
}

template <>
Parsed<RuleList> PreferenceCodec<RuleList>::parse(std::string_view text) {
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
std::optional<std::string> PreferenceCodec<RuleList>::print(const RuleList& value) {
    json list = json::array();
    for (const ProjectRule& rule : value)
        list.push_back({{"id", rule.id}, {"name", rule.name}, {"keywords", rule.keywords}});
    return toText(list);
}

template <>
Parsed<OptionalDate> PreferenceCodec<OptionalDate>::parse(std::string_view text) {
    if (PreferenceText::bare(text).empty()) return {std::optional<OptionalDate>(std::in_place), {}};
    const auto seconds = PreferenceText::toReal(text);
    return parsed(seconds ? std::optional<OptionalDate>(Date{*seconds}) : std::nullopt, text);
}
template <>
std::optional<std::string> PreferenceCodec<OptionalDate>::print(const OptionalDate& value) {
    return value ? std::optional(PreferenceText::fromReal(value->seconds)) : std::nullopt;
}

} // namespace nomara
