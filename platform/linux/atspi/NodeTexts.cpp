#include "platform/linux/atspi/NodeTexts.h"

#include "platform/linux/atspi/DocumentFinder.h"

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <string_view>

namespace nomara::atspi {

namespace {

// Where text may begin and end inside a field that has margins, a gutter, or a half line at its edge.
constexpr std::array<double, 6> inset{2, 8, 18, 32, 60, 120};
// A range that is called visible but is longer than a screen can hold is not believed.
constexpr std::int32_t mostVisible = 60'000;

// Questions for places, each some ten microseconds of the program's time.
constexpr int mostPlacedPictures = 32;
constexpr std::size_t mostPlacedTexts = 300;
constexpr std::string_view blankBytes = " \t\n\r\xEF\xBF\xBC"; // with what stands for a child, or for a part of it

bool clips(Role role) {
    return role == Role::scrollPane || role == Role::viewport || role == Role::internalFrame ||
           role == Role::documentWeb || role == Role::frame;
}

/// The smallest and the greatest offset that was found under some points.
struct VisibleRange {
    std::optional<std::int32_t> first, last;
    int open = 0;
};

} // namespace

void NodeTexts::read(std::size_t index, const ObjectRef& object, TextRules::Reading reading) {
    if (!reading.text && !reading.name) return;
    m_nodes[index].unread = true;
    if (m_nodes[index].role == Role::staticText) {
        // Its name is its text nearly everywhere, and one question is enough for that.
        ask::name(m_calls, object, [this, index, object](std::optional<std::string> name) {
            m_nodes[index].name = std::move(name);
            if (m_nodes[index].name && !m_nodes[index].name->empty())
                finished(index);
            else
                readText(index, object);
        });
        return;
    }
    if (m_request.toolkit.hasText(m_nodes[index].role) && reading.text) return readKnownText(index, object);
    // Answers come in the order of the questions, so the text is the last to arrive.
    if (reading.name)
        ask::name(m_calls, object,
                  [this, index](std::optional<std::string> name) { m_nodes[index].name = std::move(name); });
    if (reading.text)
        readText(index, object);
    else
        finished(index);
}

void NodeTexts::tellPage(std::size_t index, const ObjectRef& object) {
    if (m_request.toolkit.kind == Toolkit::Kind::other || !isPage(m_nodes[index].role)) return;
    m_nodes[index].isPanel = true;
    ask::documentAttributes(m_calls, object, [this, index](const std::optional<Attributes>& attributes) {
        if (attributes) m_nodes[index].isPanel = TextRules::isPanelAddress(addressIn(*attributes).value_or(""));
    });
    ask::defaultAttributes(m_calls, object, [this, index](const std::optional<Attributes>& attributes) {
        if (!attributes) return;
        if (const auto language = attributes->find("language"); language != attributes->end())
            m_nodes[index].language = language->second;
    });
}

void NodeTexts::placePicture(std::size_t index, const ObjectRef& object) {
    if (m_placedPictures >= mostPlacedPictures || !isInPage(index)) return;
    ++m_placedPictures;
    ask::extents(m_calls, object, [this, index](std::optional<Rect> rect) { m_nodes[index].rect = rect; });
}

void NodeTexts::placeTexts(const std::function<ObjectRef(std::size_t)>& objectOf) {
    for (const std::size_t index : textPlaces())
        if (!m_nodes[index].rect)
            ask::extents(m_calls, objectOf(index),
                         [this, index](std::optional<Rect> rect) { m_nodes[index].rect = rect; });
}

void NodeTexts::readText(std::size_t index, const ObjectRef& object) {
    if (object.bus == m_request.root.bus) return readTextOf(m_request.toolkit.fieldText, index, object);
    // A program may show part of another one in its window, a page perhaps.
    ask::toolkit(m_calls, object, [this, index, object](const std::optional<std::string>& name) {
        readTextOf(Toolkit::named(name.value_or("")).fieldText, index, object);
    });
}

void NodeTexts::readTextOf(FieldText fieldText, std::size_t index, const ObjectRef& object) {
    ask::interfaces(m_calls, object, [this, fieldText, index, object](const std::optional<Interfaces>& interfaces) {
        if (!interfaces || !interfaces->text) return finished(index);
        const bool isProven = fieldText == FieldText::hiddenHasRole ||
                              (fieldText == FieldText::editableHasRole && interfaces->editableText) ||
                              (fieldText == FieldText::displayed && !interfaces->editableText);
        if (isProven) return readByLength(index, object);
        readEditable(fieldText, index, object, interfaces->editableText);
    });
}

void NodeTexts::readEditable(FieldText fieldText, std::size_t index, const ObjectRef& object, bool takesText) {
    ask::states(m_calls, object, [=, this](const std::optional<States>& states) {
        if (!states) return finished(index);
        TextNode& node = m_nodes[index];
        const Treatment treatment = treatmentOf(node.role);
        const bool isField = treatment == Treatment::field || treatment == Treatment::editableList;
        const bool isEditable = takesText || isField || states->isEditable();
        // Text of several lines is hidden nowhere.
        if (!isEditable || states->isMultiLine() || node.role == Role::terminal) return readByLength(index, object);
        if (fieldText != FieldText::displayed) {
            node.unproven = true;
            return readByLength(index, object);
        }
        // A row around a field passes on what the field holds; the field itself is read.
        if (!isField) return finished(index);
        ask::displayedLine(m_calls, object, [this, index](std::optional<std::string> text) {
            m_nodes[index].text = std::move(text);
            finished(index);
        });
    });
}

/// As much as may be read whole and one character more, in one question; the name only where there is no text.
void NodeTexts::readKnownText(std::size_t index, const ObjectRef& object) {
    constexpr std::int32_t most = TextRules::mostFieldCharacters + 1;
    ask::text(m_calls, object, 0, most, [this, index, object](std::optional<std::string> text) {
        TextNode& node = m_nodes[index];
        if (text && text->size() >= static_cast<std::size_t>(most)) return readByLength(index, object);
        node.text = text.value_or("");
        if (!node.text->empty() || treatmentOf(node.role) != Treatment::caption) return finished(index);
        ask::name(m_calls, object, [this, index](std::optional<std::string> name) {
            m_nodes[index].name = std::move(name);
            finished(index);
        });
    });
}

void NodeTexts::readByLength(std::size_t index, const ObjectRef& object) {
    ask::characterCount(m_calls, object, [this, index, object](std::optional<std::int32_t> length) {
        const Treatment treatment = treatmentOf(m_nodes[index].role);
        const bool isField = treatment == Treatment::field || treatment == Treatment::editableList;
        if (isField && length && *length > TextRules::mostFieldCharacters) return readVisible(index, object, *length);
        ask::text(m_calls, object, 0, std::min(length.value_or(0), TextRules::mostTextCharacters),
                  [this, index](std::optional<std::string> text) {
                      m_nodes[index].text = std::move(text);
                      finished(index);
                  });
    });
}

void NodeTexts::readVisible(std::size_t index, const ObjectRef& object, std::int32_t length) {
    const auto rect = visibleRect(index);
    if (!rect) return finished(index);
    auto range = std::make_shared<VisibleRange>();
    const auto take = [this, index, object, length, range](std::optional<std::int32_t> offset) {
        if (offset && *offset >= 0 && *offset <= length) {
            range->first = std::min(range->first.value_or(*offset), *offset);
            range->last = std::max(range->last.value_or(*offset), *offset);
        }
        if (--range->open > 0) return;
        if (!range->first || *range->last <= *range->first) return finished(index);
        readLines(index, object, *range->first, *range->last, length);
    };
    std::vector<Point> points;
    for (const double from : inset) {
        if (from > rect->height / 2) break;
        // Some toolkits know only points right on a letter, and lines may be short.
        for (const double across : {4.0, 12.0, 40.0, rect->width / 4, rect->width / 2, rect->width - 4}) {
            if (across > rect->width) continue;
            points.push_back({rect->x + across, rect->y + from});
            points.push_back({rect->x + across, rect->y + rect->height - from});
        }
    }
    range->open = static_cast<int>(points.size());
    if (points.empty()) return finished(index);
    for (const Point point : points)
        ask::offsetAtPoint(m_calls, object, point, take);
}

/// The points may have met the middle of a line; all of it shows.
void NodeTexts::readLines(std::size_t index, const ObjectRef& object, std::int32_t first, std::int32_t last,
                          std::int32_t length) {
    ask::lineAt(m_calls, object, first, [=, this](std::optional<LineRange> firstLine) {
        const std::int32_t start = firstLine ? firstLine->first : first;
        ask::lineAt(m_calls, object, last, [=, this](std::optional<LineRange> lastLine) {
            const std::int32_t end = lastLine ? lastLine->second : last + 1;
            ask::text(m_calls, object, start, std::min({end, length, start + mostVisible}),
                      [this, index](std::optional<std::string> text) {
                          m_nodes[index].text = std::move(text);
                          finished(index);
                      });
        });
    });
}

bool NodeTexts::isInPage(std::size_t index) const {
    for (int i = m_nodes[index].parent; i >= 0; i = m_nodes[static_cast<std::size_t>(i)].parent)
        if (isPage(m_nodes[static_cast<std::size_t>(i)].role) && !m_nodes[static_cast<std::size_t>(i)].isPanel)
            return true;
    return false;
}

bool NodeTexts::saysSomething(std::size_t index) const {
    const TextNode& node = m_nodes[index];
    if (isPicture(node.role)) return false;
    const auto isWritten = [](const std::optional<std::string>& text) {
        return text && text->find_first_not_of(blankBytes) != std::string::npos;
    };
    return isWritten(node.text) || isWritten(node.name);
}

/// The outermost objects that say something: what is below them stands inside them. Of too many, those around them,
/// rows of a table say.
std::vector<std::size_t> NodeTexts::textPlaces() const {
    std::vector<std::size_t> outermost;
    std::vector<bool> isInside(m_nodes.size());
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        const int parent = m_nodes[i].parent;
        const bool says = saysSomething(i) && isInPage(i);
        isInside[i] = says || (parent >= 0 && isInside[static_cast<std::size_t>(parent)]);
        if (says && (parent < 0 || !isInside[static_cast<std::size_t>(parent)])) outermost.push_back(i);
    }
    if (outermost.size() <= mostPlacedTexts) return outermost;
    std::set<std::size_t> around;
    for (const std::size_t index : outermost)
        around.insert(static_cast<std::size_t>(m_nodes[index].parent));
    std::vector<std::size_t> places(around.begin(), around.end());
    if (places.size() > mostPlacedTexts) places.resize(mostPlacedTexts);
    return places;
}

/// What of a node shows inside the panes that scroll it.
std::optional<Rect> NodeTexts::visibleRect(std::size_t index) const {
    const TextNode& node = m_nodes[index];
    if (!node.rect || node.rect->isEmpty()) return std::nullopt;
    Rect rect = m_request.frame ? node.rect->intersection(*m_request.frame) : *node.rect;
    for (int i = node.parent; i >= 0; i = m_nodes[static_cast<std::size_t>(i)].parent) {
        const TextNode& around = m_nodes[static_cast<std::size_t>(i)];
        if (clips(around.role) && around.rect && !around.rect->isEmpty()) rect = rect.intersection(*around.rect);
    }
    if (rect.isEmpty()) return std::nullopt;
    return rect;
}

} // namespace nomara::atspi
