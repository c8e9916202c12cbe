#pragma once

#include "platform/linux/atspi/CallPipeline.h"
#include "platform/linux/atspi/Roles.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace nomara::atspi {

inline constexpr const char* accessibleInterface = "org.a11y.atspi.Accessible";
inline constexpr const char* collectionInterface = "org.a11y.atspi.Collection";

/// The states of an object that matter here, out of the 64 bits that programs send.
struct States {
    std::uint64_t bits = 0;

    static constexpr unsigned activeBit = 1, editableBit = 7, focusedBit = 12, multiLineBit = 17, showingBit = 25,
                              managesDescendantsBit = 31;

    bool isActive() const { return has(activeBit); }
    bool isFocused() const { return has(focusedBit); }
    bool isShowing() const { return has(showingBit); }
    bool isEditable() const { return has(editableBit); }
    bool isMultiLine() const { return has(multiLineBit); }
    /// Its children are drawn by it and made for whoever asks, and there may be any number of them.
    bool managesDescendants() const { return has(managesDescendantsBit); }

private:
    bool has(unsigned bit) const { return (bits >> bit & 1U) != 0; }
};

/// Which interfaces an object answers. Asking for another one makes some programs write warnings to their log.
struct Interfaces {
    bool text = false;
    bool editableText = false; ///< takes text from others too; labels and the like don't
    bool document = false;
};

/// What an object says of itself in words, in one answer.
struct Wording {
    std::string name{};
    std::string description{};
    std::string help{};           ///< empty where the program's library is older than this
    std::int32_t childCount = -1; ///< negative where it isn't told
};

using Attributes = std::map<std::string, std::string>;

/// The first offset of a line, and the one after its last.
using LineRange = std::pair<std::int32_t, std::int32_t>;

template <typename T>
using Take = std::function<void(std::optional<T>)>;

/// One typed question each; what can't be read is absent.
namespace ask {

void role(CallPipeline& calls, const ObjectRef& object, const Take<Role>& take);
void states(CallPipeline& calls, const ObjectRef& object, const Take<States>& take);
void name(CallPipeline& calls, const ObjectRef& object, const Take<std::string>& take);
/// Never to be asked of Qt's programs, which it ends.
void wording(CallPipeline& calls, const ObjectRef& object, const Take<Wording>& take);
/// What the program's own makers call it: its identifier and class, in no language.
void attributes(CallPipeline& calls, const ObjectRef& object, const Take<Attributes>& take);
void parent(CallPipeline& calls, const ObjectRef& object, const Take<ObjectRef>& take);
/// In screen coordinates; absent also where the program gives none that could be used.
void extents(CallPipeline& calls, const ObjectRef& object, const Take<Rect>& take);
void interfaces(CallPipeline& calls, const ObjectRef& object, const Take<Interfaces>& take);

/// All children; absent also where there are more than `most`, which is found out before they are asked for: a program
/// makes an object for each child that it names, and a sheet has 17 billion.
void children(CallPipeline& calls, const ObjectRef& object, std::int32_t most,
              const Take<std::vector<ObjectRef>>& take);
/// The same where the number is known already.
void countedChildren(CallPipeline& calls, const ObjectRef& object, std::int32_t count,
                     const Take<std::vector<ObjectRef>>& take);
void childCount(CallPipeline& calls, const ObjectRef& object, const Take<std::int32_t>& take);
void childAt(CallPipeline& calls, const ObjectRef& object, std::int32_t index, const Take<ObjectRef>& take);
void indexInParent(CallPipeline& calls, const ObjectRef& object, const Take<std::int32_t>& take);
/// The innermost object under a point of the screen.
void objectAtPoint(CallPipeline& calls, const ObjectRef& object, Point point, const Take<ObjectRef>& take);
/// Of the object's own children those that show and have one of these roles; no roles mean any. The program looks at
/// each child, so it is asked only where their number is known to be bearable, and never about what lies deeper: no
/// toolkit leaves out what doesn't show, and a search that has begun can't be stopped.
void shownChildren(CallPipeline& calls, const ObjectRef& object, const std::vector<Role>& roles,
                   const Take<std::vector<ObjectRef>>& take);
/// The object that `object` says it is a frame around, as browsers do for the page on show.
void embedded(CallPipeline& calls, const ObjectRef& object, const Take<ObjectRef>& take);

void characterCount(CallPipeline& calls, const ObjectRef& object, const Take<std::int32_t>& take);
void text(CallPipeline& calls, const ObjectRef& object, std::int32_t start, std::int32_t end,
          const Take<std::string>& take);
/// Of its text: the language, where the object says so.
void defaultAttributes(CallPipeline& calls, const ObjectRef& object, const Take<Attributes>& take);
/// What an object displays in its first line: dots, say, where the text that it holds is hidden.
void displayedLine(CallPipeline& calls, const ObjectRef& object, const Take<std::string>& take);
/// The line on the screen that holds an offset.
void lineAt(CallPipeline& calls, const ObjectRef& object, std::int32_t offset, const Take<LineRange>& take);
/// The offset of the character under a point of the screen.
void offsetAtPoint(CallPipeline& calls, const ObjectRef& object, Point point, const Take<std::int32_t>& take);

void documentAttributes(CallPipeline& calls, const ObjectRef& object, const Take<Attributes>& take);
/// The process behind a program's name on the bus. The bus itself answers.
void processID(CallPipeline& calls, const std::string& program, const Take<ProcessID>& take);
/// The library that a program's tree comes from; of any object of the program.
void toolkit(CallPipeline& calls, const ObjectRef& object, const Take<std::string>& take);

} // namespace ask

} // namespace nomara::atspi
