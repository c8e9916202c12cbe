#include "platform/linux/atspi/Requests.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace nomara::atspi::ask {

namespace {

constexpr const char* componentInterface = "org.a11y.atspi.Component";
constexpr const char* textInterface = "org.a11y.atspi.Text";
constexpr std::uint32_t screenCoordinates = 0;
constexpr std::uint32_t embedsRelation = 13;
constexpr std::uint32_t lineUnit = 3;
constexpr const char* programPath = "/org/a11y/atspi/accessible/root";

/// Programs that have not laid an object out yet send the smallest integer.
bool isPlace(std::int32_t coordinate) {
    return coordinate != std::numeric_limits<std::int32_t>::min();
}

std::optional<ObjectRef> readObject(sd_bus_message* message) {
    const char *bus = nullptr, *path = nullptr;
    if (sd_bus_message_read(message, "(so)", &bus, &path) <= 0) return std::nullopt;
    return ObjectRef{bus, path};
}

std::optional<std::vector<ObjectRef>> readObjects(sd_bus_message* message) {
    if (sd_bus_message_enter_container(message, 'a', "(so)") < 0) return std::nullopt;
    std::vector<ObjectRef> objects;
    while (auto object = readObject(message))
        objects.push_back(std::move(*object));
    return objects;
}

template <typename T, typename Read>
CallPipeline::Answer reading(const Take<T>& take, Read read) {
    return [take, read](sd_bus_message* message) {
        take(message == nullptr ? std::optional<T>() : std::optional<T>(read(message)));
    };
}

template <typename T, typename Read>
void property(CallPipeline& calls, const ObjectRef& object, const char* interface, const char* property,
              const char* type, const Take<T>& take, Read read) {
    calls.call(object, "org.freedesktop.DBus.Properties", "Get",
               reading<T>(take,
                          [type, read](sd_bus_message* message) -> std::optional<T> {
                              if (sd_bus_message_enter_container(message, 'v', type) < 0) return std::nullopt;
                              return read(message);
                          }),
               [&](sd_bus_message* message) { sd_bus_message_append(message, "ss", interface, property); });
}

std::optional<std::string> readText(sd_bus_message* message) {
    const char* text = nullptr;
    if (sd_bus_message_read(message, "s", &text) < 0) return std::nullopt;
    return std::string(text);
}

std::optional<std::int32_t> readInteger(sd_bus_message* message) {
    std::int32_t value = 0;
    if (sd_bus_message_read(message, "i", &value) < 0) return std::nullopt;
    return value;
}

std::int32_t whole(double coordinate) {
    // No screen reaches so far; a greater number would have no defined value as an integer.
    constexpr double farthest = 1'000'000;
    return std::isnan(coordinate) ? 0 : static_cast<std::int32_t>(std::clamp(coordinate, -farthest, farthest));
}

std::optional<Attributes> readAttributes(sd_bus_message* message) {
    if (sd_bus_message_enter_container(message, 'a', "{ss}") < 0) return std::nullopt;
    Attributes attributes;
    const char *key = nullptr, *value = nullptr;
    while (sd_bus_message_read(message, "{ss}", &key, &value) > 0)
        attributes.emplace(key, value);
    return attributes;
}

/// One entry of a list of properties; false where it can't be read.
bool readWord(sd_bus_message* message, Wording& wording) {
    const char *key = nullptr, *type = nullptr;
    char kind = 0;
    if (sd_bus_message_read(message, "s", &key) < 0 || sd_bus_message_peek_type(message, &kind, &type) < 0)
        return false;
    const std::string_view name(key);
    if (kind == 'v' && std::string_view(type) == "s") {
        const char* text = nullptr;
        if (sd_bus_message_read(message, "v", "s", &text) < 0) return false;
        if (name == "Name") wording.name = text;
        if (name == "Description") wording.description = text;
        if (name == "HelpText") wording.help = text;
        return true;
    }
    if (kind == 'v' && std::string_view(type) == "i" && name == "ChildCount")
        return sd_bus_message_read(message, "v", "i", &wording.childCount) >= 0;
    return sd_bus_message_skip(message, "v") >= 0;
}

} // namespace

void role(CallPipeline& calls, const ObjectRef& object, const Take<Role>& take) {
    calls.call(object, accessibleInterface, "GetRole",
               reading<Role>(take, [](sd_bus_message* message) -> std::optional<Role> {
                   std::uint32_t value = 0;
                   if (sd_bus_message_read(message, "u", &value) < 0) return std::nullopt;
                   return static_cast<Role>(value);
               }));
}

void states(CallPipeline& calls, const ObjectRef& object, const Take<States>& take) {
    calls.call(object, accessibleInterface, "GetState",
               reading<States>(take, [](sd_bus_message* message) -> std::optional<States> {
                   const void* words = nullptr;
                   std::size_t size = 0;
                   std::array<std::uint32_t, 2> halves{};
                   if (sd_bus_message_read_array(message, 'u', &words, &size) < 0 || size < sizeof halves)
                       return std::nullopt;
                   std::memcpy(halves.data(), words, sizeof halves);
                   return States{halves[0] | std::uint64_t{halves[1]} << 32U};
               }));
}

void name(CallPipeline& calls, const ObjectRef& object, const Take<std::string>& take) {
    property<std::string>(calls, object, accessibleInterface, "Name", "s", take, readText);
}

void wording(CallPipeline& calls, const ObjectRef& object, const Take<Wording>& take) {
    calls.call(object, "org.freedesktop.DBus.Properties", "GetAll",
               reading<Wording>(take,
                                [](sd_bus_message* message) -> std::optional<Wording> {
                                    if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0) return std::nullopt;
                                    Wording wording;
                                    int entered = 0;
                                    while ((entered = sd_bus_message_enter_container(message, 'e', "sv")) > 0)
                                        if (!readWord(message, wording) || sd_bus_message_exit_container(message) < 0)
                                            return std::nullopt;
                                    if (entered < 0) return std::nullopt;
                                    return wording;
                                }),
               [](sd_bus_message* message) { sd_bus_message_append(message, "s", accessibleInterface); });
}

void attributes(CallPipeline& calls, const ObjectRef& object, const Take<Attributes>& take) {
    calls.call(object, accessibleInterface, "GetAttributes", reading<Attributes>(take, readAttributes));
}

void parent(CallPipeline& calls, const ObjectRef& object, const Take<ObjectRef>& take) {
    property<ObjectRef>(calls, object, accessibleInterface, "Parent", "(so)", take, readObject);
}

void extents(CallPipeline& calls, const ObjectRef& object, const Take<Rect>& take) {
    calls.call(object, componentInterface, "GetExtents",
               reading<Rect>(take,
                             [](sd_bus_message* message) -> std::optional<Rect> {
                                 std::int32_t x = 0, y = 0, width = 0, height = 0;
                                 if (sd_bus_message_read(message, "(iiii)", &x, &y, &width, &height) < 0)
                                     return std::nullopt;
                                 if (!isPlace(x) || !isPlace(y) || width < 0 || height < 0) return std::nullopt;
                                 return Rect{double(x), double(y), double(width), double(height)};
                             }),
               [](sd_bus_message* message) { sd_bus_message_append(message, "u", screenCoordinates); });
}

void interfaces(CallPipeline& calls, const ObjectRef& object, const Take<Interfaces>& take) {
    calls.call(object, accessibleInterface, "GetInterfaces",
               reading<Interfaces>(take, [](sd_bus_message* message) -> std::optional<Interfaces> {
                   if (sd_bus_message_enter_container(message, 'a', "s") < 0) return std::nullopt;
                   Interfaces found;
                   const char* each = nullptr;
                   while (sd_bus_message_read(message, "s", &each) > 0) {
                       const std::string_view interface(each);
                       if (interface == textInterface) found.text = true;
                       if (interface == "org.a11y.atspi.EditableText") found.editableText = true;
                       if (interface == "org.a11y.atspi.Document") found.document = true;
                   }
                   return found;
               }));
}

void children(CallPipeline& calls, const ObjectRef& object, std::int32_t most,
              const Take<std::vector<ObjectRef>>& take) {
    childCount(calls, object, [&calls, object, most, take](std::optional<std::int32_t> count) {
        if (count && *count >= 0 && *count <= most)
            countedChildren(calls, object, *count, take);
        else
            take(std::nullopt);
    });
}

void countedChildren(CallPipeline& calls, const ObjectRef& object, std::int32_t count,
                     const Take<std::vector<ObjectRef>>& take) {
    if (count == 0) return take(std::vector<ObjectRef>());
    // What another process shows there, as WebKit's pages are, isn't in the list of GTK's bridge.
    const auto withEmbedded = [&calls, object, count, take](std::optional<std::vector<ObjectRef>> children) {
        if (count != 1 || !children || !children->empty()) return take(std::move(children));
        childAt(calls, object, 0, [take](std::optional<ObjectRef> child) {
            take(child ? std::vector{*child} : std::vector<ObjectRef>());
        });
    };
    calls.call(object, accessibleInterface, "GetChildren", reading<std::vector<ObjectRef>>(withEmbedded, readObjects));
}

void childCount(CallPipeline& calls, const ObjectRef& object, const Take<std::int32_t>& take) {
    property<std::int32_t>(calls, object, accessibleInterface, "ChildCount", "i", take, readInteger);
}

void childAt(CallPipeline& calls, const ObjectRef& object, std::int32_t index, const Take<ObjectRef>& take) {
    calls.call(object, accessibleInterface, "GetChildAtIndex", reading<ObjectRef>(take, readObject),
               [&](sd_bus_message* message) { sd_bus_message_append(message, "i", index); });
}

void indexInParent(CallPipeline& calls, const ObjectRef& object, const Take<std::int32_t>& take) {
    calls.call(object, accessibleInterface, "GetIndexInParent", reading<std::int32_t>(take, readInteger));
}

void objectAtPoint(CallPipeline& calls, const ObjectRef& object, Point point, const Take<ObjectRef>& take) {
    calls.call(object, componentInterface, "GetAccessibleAtPoint", reading<ObjectRef>(take, readObject),
               [&](sd_bus_message* message) {
                   sd_bus_message_append(message, "iiu", whole(point.x), whole(point.y), screenCoordinates);
               });
}

void shownChildren(CallPipeline& calls, const ObjectRef& object, const std::vector<Role>& wanted,
                   const Take<std::vector<ObjectRef>>& take) {
    constexpr std::int32_t allOf = 1, anyOf = 2, withoutEnd = 0, ownChildrenAlone = 0;
    constexpr std::uint32_t documentOrder = 1;
    calls.call(object, collectionInterface, "GetMatches", reading<std::vector<ObjectRef>>(take, readObjects),
               [&](sd_bus_message* message) {
                   constexpr std::uint64_t states = std::uint64_t{1} << States::showingBit;
                   // Roles are a set of bits, written as 32-bit words.
                   std::array<std::int32_t, 4> roles{};
                   for (const Role role : wanted) {
                       const auto bit = static_cast<unsigned>(role);
                       roles.at(bit / 32) |= static_cast<std::int32_t>(1U << bit % 32);
                   }
                   sd_bus_message_open_container(message, 'r', "aiia{ss}iaiiasib");
                   sd_bus_message_append(message, "aiia{ss}i", 2, static_cast<std::int32_t>(states & 0xFFFFFFFF),
                                         static_cast<std::int32_t>(states >> 32U), allOf, 0, allOf);
                   if (!wanted.empty())
                       sd_bus_message_append(message, "aii", 4, roles[0], roles[1], roles[2], roles[3], anyOf);
                   else
                       sd_bus_message_append(message, "aii", 0, allOf);
                   sd_bus_message_append(message, "asib", 0, allOf, 0);
                   sd_bus_message_close_container(message);
                   sd_bus_message_append(message, "uib", documentOrder, withoutEnd, ownChildrenAlone);
               });
}

void embedded(CallPipeline& calls, const ObjectRef& object, const Take<ObjectRef>& take) {
    calls.call(object, accessibleInterface, "GetRelationSet",
               reading<ObjectRef>(take, [](sd_bus_message* message) -> std::optional<ObjectRef> {
                   if (sd_bus_message_enter_container(message, 'a', "(ua(so))") < 0) return std::nullopt;
                   while (sd_bus_message_enter_container(message, 'r', "ua(so)") > 0) {
                       std::uint32_t relation = 0;
                       if (sd_bus_message_read(message, "u", &relation) < 0) return std::nullopt;
                       const auto targets = readObjects(message);
                       if (!targets || sd_bus_message_exit_container(message) < 0) return std::nullopt;
                       if (relation == embedsRelation && !targets->empty()) return targets->front();
                       if (sd_bus_message_exit_container(message) < 0) return std::nullopt;
                   }
                   return std::nullopt;
               }));
}

void characterCount(CallPipeline& calls, const ObjectRef& object, const Take<std::int32_t>& take) {
    property<std::int32_t>(calls, object, textInterface, "CharacterCount", "i", take, readInteger);
}

void text(CallPipeline& calls, const ObjectRef& object, std::int32_t start, std::int32_t end,
          const Take<std::string>& take) {
    calls.call(object, textInterface, "GetText", reading<std::string>(take, readText),
               [&](sd_bus_message* message) { sd_bus_message_append(message, "ii", start, end); });
}

void defaultAttributes(CallPipeline& calls, const ObjectRef& object, const Take<Attributes>& take) {
    calls.call(object, textInterface, "GetDefaultAttributes", reading<Attributes>(take, readAttributes));
}

void displayedLine(CallPipeline& calls, const ObjectRef& object, const Take<std::string>& take) {
    constexpr std::int32_t start = 0;
    calls.call(object, textInterface, "GetStringAtOffset", reading<std::string>(take, readText),
               [](sd_bus_message* message) { sd_bus_message_append(message, "iu", start, lineUnit); });
}

void lineAt(CallPipeline& calls, const ObjectRef& object, std::int32_t offset, const Take<LineRange>& take) {
    const auto read = [offset](sd_bus_message* message) -> std::optional<LineRange> {
        const char* line = nullptr;
        LineRange range;
        if (sd_bus_message_read(message, "sii", &line, &range.first, &range.second) < 0 || range.first < 0 ||
            range.first > offset || range.second < offset)
            return std::nullopt;
        return range;
    };
    const auto append = [offset](std::uint32_t unit) {
        return [offset, unit](sd_bus_message* message) { sd_bus_message_append(message, "iu", offset, unit); };
    };
    constexpr std::uint32_t fromLineStart = 5;
    const auto askOld = [&calls, object, take, read, append] {
        calls.call(object, textInterface, "GetTextAtOffset", reading<LineRange>(take, read), append(fromLineStart));
    };
    // Older toolkits know the older question alone.
    calls.call(object, textInterface, "GetStringAtOffset",
               reading<LineRange>(
                   [take, askOld](std::optional<LineRange> range) {
                       if (range)
                           take(range);
                       else
                           askOld();
                   },
                   read),
               append(lineUnit));
}

void offsetAtPoint(CallPipeline& calls, const ObjectRef& object, Point point, const Take<std::int32_t>& take) {
    calls.call(object, textInterface, "GetOffsetAtPoint", reading<std::int32_t>(take, readInteger),
               [&](sd_bus_message* message) {
                   sd_bus_message_append(message, "iiu", whole(point.x), whole(point.y), screenCoordinates);
               });
}

void documentAttributes(CallPipeline& calls, const ObjectRef& object, const Take<Attributes>& take) {
    calls.call(object, "org.a11y.atspi.Document", "GetAttributes", reading<Attributes>(take, readAttributes));
}

void processID(CallPipeline& calls, const std::string& program, const Take<ProcessID>& take) {
    calls.call({"org.freedesktop.DBus", "/org/freedesktop/DBus"}, "org.freedesktop.DBus", "GetConnectionUnixProcessID",
               reading<ProcessID>(take,
                                  [](sd_bus_message* message) -> std::optional<ProcessID> {
                                      std::uint32_t process = 0;
                                      if (sd_bus_message_read(message, "u", &process) < 0) return std::nullopt;
                                      return static_cast<ProcessID>(process);
                                  }),
               [&](sd_bus_message* message) { sd_bus_message_append(message, "s", program.c_str()); });
}

void toolkit(CallPipeline& calls, const ObjectRef& object, const Take<std::string>& take) {
    property<std::string>(calls, {object.bus, programPath}, "org.a11y.atspi.Application", "ToolkitName", "s", take,
                          readText);
}

} // namespace nomara::atspi::ask
