#include "platform/linux/atspi/FocusedField.h"

#include "platform/linux/atspi/TextRules.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace nomara::atspi {

namespace {

constexpr std::int32_t enoughCharacters = 256; // where all of these are hidden, so is the rest

/// Going by what a line displays and by how much it holds.
Typing typingOf(const std::optional<std::string>& displayed, std::int32_t length) {
    if (!displayed) return Typing::unknown;
    return TextRules::isMasked(*displayed) || (displayed->empty() && length > 0) ? Typing::hidden : Typing::shown;
}

} // namespace

void askTyping(CallPipeline& calls, const ObjectRef& object, Role role, const States& states, const Toolkit& toolkit,
               const std::function<void(Typing)>& take) {
    const Treatment treatment = treatmentOf(role);
    if (treatment == Treatment::secure) return take(Typing::hidden);
    const bool isLine =
        !states.isMultiLine() && role != Role::terminal && (states.isEditable() || treatment == Treatment::field);
    if (!isLine) return take(Typing::shown);
    const FieldText fieldText = toolkit.fieldText;
    const bool isEditable = states.isEditable();
    ask::interfaces(calls, object, [=, &calls](const std::optional<Interfaces>& interfaces) {
        if (!interfaces) return take(Typing::unknown);
        const bool isProven =
            fieldText != FieldText::unproven && (fieldText != FieldText::editableHasRole || interfaces->editableText);
        // Buttons that count up and down have the role of a field, whether one can type into them or not.
        if (!interfaces->text && (isProven || !isEditable)) return take(Typing::shown);
        if (!isProven) return take(Typing::unknown);
        ask::characterCount(calls, object, [=, &calls](std::optional<std::int32_t> length) {
            if (!length) return take(Typing::unknown);
            if (*length <= 0) return take(Typing::shown);
            const auto tell = [take, length](const std::optional<std::string>& text) { take(typingOf(text, *length)); };
            if (fieldText == FieldText::displayed)
                ask::displayedLine(calls, object, tell);
            else
                ask::text(calls, object, 0, std::min(*length, enoughCharacters), tell);
        });
    });
}

} // namespace nomara::atspi
