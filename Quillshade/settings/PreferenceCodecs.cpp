#include "Quillshade/settings/AppSettings.h"
#include "platform/PreferenceText.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace nomara {

namespace {

using nlohmann::json;
using TextList = std::vector<std::string>;
using RuleList = std::vector<ProjectRule>;
using OptionalDate = std::optional<Date>;

constexpr std::array<std::string_view, 3> qualityNames{"compact", "balanced", "sharp"};

template <typename T>
Parsed<T> parsed(std::optional<T> value, std::string_view text, const std::string& whatItIsnt) {
    if (value) return {std::move(value), {}};
    return {std::nullopt, SettingText::inQuotes(text) + " is " + whatItIsnt};
}

struct Unfit : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A key that stands twice would hide its first value.
json withoutDoubles(std::string_view text) {
    std::vector<std::set<std::string>> keys;
    return json::parse(text, [&keys](int, json::parse_event_t event, const json& value) {
        if (event == json::parse_event_t::object_start) keys.emplace_back();
        if (event == json::parse_event_t::key && !keys.back().insert(value.get<std::string>()).second)
            throw Unfit("a key stands twice");
        if (event == json::parse_event_t::object_end) keys.pop_back();
        return true;
    });
}

/// What a piece of JSON holds, if it has the shape that `read` expects; `read` may throw json's own errors, and Unfit.
template <typename T, typename Read>
Parsed<T> fromJSON(std::string_view text, const std::string& whatItIsnt, const Read& read) {
    try {
        return parsed<T>(read(withoutDoubles(text)), text, whatItIsnt);
    } catch (const json::exception&) {
        return parsed<T>(std::nullopt, text, whatItIsnt);
    } catch (const Unfit& error) {
        return {std::nullopt, error.what()};
    }
}

/// An object of these keys and no others, which would be lost.
void requireKeys(const json& value, std::size_t count, const char* sentence) {
    if (!value.is_object() || value.size() != count) throw Unfit(sentence);
}

/// The library would turn -1 or 3.7 into some number.
std::uint32_t unsignedNumber(const json& value) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) throw Unfit("a number is out of its range");
    return value.get<std::uint32_t>();
}

std::string name(const json& value) {
    auto text = value.get<std::string>();
    if (const std::string problem = SettingText::entryProblem(text); !problem.empty()) throw Unfit(problem);
    return text;
}

void requireCount(const json& list) {
    if (!list.is_array()) throw Unfit("a list is missing");
    if (list.size() > SettingText::maxEntries)
        throw Unfit("it has more than " + std::to_string(SettingText::maxEntries) + " entries");
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
    return parsed(PreferenceText::toBoolean(text), text, "neither true nor false");
}
template <>
std::optional<std::string> PreferenceCodec<bool>::print(const bool& value) {
    return PreferenceText::fromBoolean(value);
}

Parsed<std::int64_t> WholeNumberText::parse(std::string_view text, std::int64_t least, std::int64_t most) {
    auto number = PreferenceText::toInteger(text);
    if (number && (*number < least || *number > most)) number.reset();
    return parsed(number, text,
                  "no whole number from " + PreferenceText::fromInteger(least) + " to " +
                      PreferenceText::fromInteger(most));
}
std::optional<std::string> WholeNumberText::print(std::int64_t value) {
    return PreferenceText::fromInteger(value);
}

template <>
Parsed<CaptureMode> PreferenceCodec<CaptureMode>::parse(std::string_view text) {
    return parsed(captureModeNamed(PreferenceText::bare(text)), text, "none of saver, balanced and quality");
}
template <>
std::optional<std::string> PreferenceCodec<CaptureMode>::print(const CaptureMode& value) {
    return std::string(name(value));
}

template <>
Parsed<ImageQuality> PreferenceCodec<ImageQuality>::parse(std::string_view text) {
    return parsed(imageQualityNamed(PreferenceText::bare(text)), text, "none of compact, balanced and sharp");
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
    constexpr std::uint32_t maxKeyCode = 127, modifiers = 256 | 512 | 2'048 | 4'096;
    return fromJSON<HotKeyCombo>(
        text, R"(no key, such as {"keyCode": 49, "carbonModifiers": 768})",
        [](const json& value) -> std::optional<HotKeyCombo> {
            requireKeys(value, 2, "it holds something other than keyCode and carbonModifiers");
            const HotKeyCombo combo{unsignedNumber(value.at("keyCode")), unsignedNumber(value.at("carbonModifiers"))};
            if (combo.keyCode > maxKeyCode) throw Unfit("keyCode is no number from 0 to 127");
            if ((combo.carbonModifiers & ~modifiers) != 0)
                throw Unfit("carbonModifiers is no sum of 256, 512, 2048 and 4096");
            return combo;
        });
}
template <>
std::optional<std::string> PreferenceCodec<HotKeyCombo>::print(const HotKeyCombo& value) {
    return toText({{"keyCode", value.keyCode}, {"carbonModifiers", value.carbonModifiers}});
}

template <>
Parsed<RuleList> PreferenceCodec<RuleList>::parse(std::string_view text) {
    return fromJSON<RuleList>(text, R"(no list of rules, such as [{"id": "1", "name": "House", "keywords": ["roof"]}])",
                              [](const json& list) -> std::optional<RuleList> {
                                  requireCount(list);
                                  RuleList rules;
                                  for (const json& rule : list) {
                                      requireKeys(rule, 3, "a rule holds something other than id, name and keywords");
                                      requireCount(rule.at("keywords"));
                                      rules.push_back({name(rule.at("id")), name(rule.at("name")), {}});
                                      for (const json& keyword : rule.at("keywords"))
                                          rules.back().keywords.push_back(name(keyword));
                                  }
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
    const bool isInRange = seconds && *seconds >= 0 && *seconds <= distantFuture.seconds;
    return parsed(isInRange ? std::optional<OptionalDate>(Date{*seconds}) : std::nullopt, text,
                  "no moment in seconds since 1970, from 0 to " +
                      PreferenceText::fromInteger(static_cast<std::int64_t>(distantFuture.seconds)));
}
template <>
std::optional<std::string> PreferenceCodec<OptionalDate>::print(const OptionalDate& value) {
    return value ? std::optional(PreferenceText::fromReal(value->seconds)) : std::nullopt;
}

} // namespace nomara
