#include "quillshadectl/Json.h"

#include "core/text/Graphemes.h"

#include <array>
#include <cstdio>
#include <ostream>

namespace nomara::ctl::JsonText {

namespace {

void escape(std::string& result, unsigned char code) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", code);
    result += text.data();
}

/// JSON needs no escape for U+007F to U+009F, but some terminals obey them; they can stand in strings only.
std::string withoutControls(const std::string& json) {
    std::string result;
    result.reserve(json.size());
    for (std::size_t index = 0; index < json.size(); ++index) {
        const auto byte = static_cast<unsigned char>(json[index]);
        const auto next = index + 1 < json.size() ? static_cast<unsigned char>(json[index + 1]) : 0;
        if (byte == 0x7F) {
            escape(result, byte);
        } else if (byte == 0xC2 && next < 0xA0) {
            escape(result, next);
            ++index;
        } else {
            result += json[index];
        }
    }
    return result;
}

std::string dumped(const Json& value, int indent) {
    return withoutControls(value.dump(indent, ' ', false, Json::error_handler_t::replace));
}

} // namespace

Json text(const std::string& text) {
    return Graphemes::validUTF8(text);
}

Json text(const std::optional<std::string>& optional) {
    return optional ? text(*optional) : Json();
}

Json frame(const FrameSummary& frame) {
    return {{"id", frame.id},
            {"timestamp", frame.timestamp.seconds},
            {"appBundleID", text(frame.appBundleID)},
            {"appName", text(frame.appName)},
            {"windowTitle", text(frame.windowTitle)},
            {"url", text(frame.url)}};
}

void printArray(std::ostream& out, const std::vector<Json>& elements) {
    out << '[';
    const char* separator = "\n";
    for (const Json& element : elements) {
        out << separator << dumped(element, -1);
        separator = ",\n";
    }
    out << (elements.empty() ? "]\n" : "\n]\n");
}

void printObject(std::ostream& out, const Json& object) {
    out << dumped(object, 2) << '\n';
}

} // namespace nomara::ctl::JsonText
