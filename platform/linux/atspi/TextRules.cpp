#include "platform/linux/atspi/TextRules.h"

#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace nomara::atspi::TextRules {

namespace {

constexpr std::string_view objectReplacement = "\xEF\xBF\xBC";

std::vector<std::string_view> segmentsOf(std::string_view text) {
    std::vector<std::string_view> segments;
    for (;;) {
        const auto at = text.find(objectReplacement);
        segments.push_back(text.substr(0, at));
        if (at == std::string_view::npos) return segments;
        text.remove_prefix(at + objectReplacement.size());
    }
}

bool isBlank(std::string_view text) {
    return Graphemes::trimmed(text).empty();
}

/// What somebody typed there, wherever the field stands.
bool isTyped(Role role) {
    return treatmentOf(role) == Treatment::field && role != Role::spinButton && role != Role::dateEditor;
}

// A button with a picture on it is as wide as the picture; no font is narrower than this.
constexpr double narrowestCharacter = 4; // points
// A bar holds more than the answers to a question.
constexpr int fewestInBar = 3;
// A tab is a line or two high; what is higher is its page.
constexpr double highestTab = 64; // points
// What title bars and borders leave of a window.
constexpr double nearlyAll = 0.8;
// Smaller ones ask and answer; larger ones hold what their bars and panels are about.
constexpr double leastWidth = 500, leastHeight = 400; // points
// Bars at a window's edges, whatever they are called: a title's height and one more, and a line of status.
constexpr double topBars = 48, bottomBar = 40; // points
constexpr double highestPath = 30;             // points, of a list that is one row of names
// What controls are called is short; what says more may be worth keeping.
constexpr std::int64_t mostWords = 3, mostCharacters = 24;
// An office document that is smaller is one of several parts.
constexpr double leastDocument = 0.25; // of its window
// Smaller pictures are decoration, or hold a word at most.
constexpr double smallestPicture = 32; // points

/// Of a browser's own: what names pages that aren't on show.
bool namesOtherPages(Role role) {
    return role == Role::pageTabList || role == Role::pageTab || role == Role::toolTip;
}

bool isShort(std::string_view text) {
    const auto trimmed = Graphemes::trimmed(text);
    std::int64_t words = 1;
    for (const char c : trimmed)
        words += c == ' ' ? 1 : 0;
    return words <= mostWords && Graphemes::count(trimmed) <= mostCharacters;
}

/// LibreOffice tells the places of all that is below its menus as if it had none, but for the panel around it, which
/// is as large.
std::vector<TextNode> wherePainted(std::vector<TextNode> nodes) {
    std::vector<double> down(nodes.size());
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        if (nodes[i].parent < 0) continue;
        const auto parent = static_cast<std::size_t>(nodes[i].parent);
        down[i] = down[parent];
        std::optional<Rect>& rect = nodes[i].rect;
        if (!rect) continue;
        rect->y += down[i];
        const std::optional<Rect>& around = nodes[parent].rect;
        if (nodes[i].role != Role::rootPane || !around) continue;
        if (rect->x != around->x || rect->width != around->width || rect->height != around->height) continue;
        down[i] += around->y - rect->y;
        rect->y = around->y;
    }
    return nodes;
}

/// The walk itself: a stack of what is still to come, the next on top.
class Walk {
public:
    Walk(const TextTree& tree, const std::optional<Rect>& frame, const TextLimits& limits)
        : m_tree(tree), m_frame(frame), m_limits(limits), m_children(tree.nodes.size()) {
        for (std::size_t i = 1; i < tree.nodes.size(); ++i)
            if (tree.nodes[i].parent >= 0) m_children[static_cast<std::size_t>(tree.nodes[i].parent)].push_back(i);
        m_pagesOnly = tree.mayHoldPages && std::any_of(tree.nodes.begin(), tree.nodes.end(), [&](const TextNode& node) {
                          return isPage(node.role) && !node.isPanel && enters(node, frame) &&
                                 !(node.rect && node.rect->isEmpty());
                      });
        m_isLarge = m_frame && m_frame->width >= leastWidth && m_frame->height >= leastHeight;
        findDocument();
    }

    WindowText run() {
        if (!m_tree.nodes.empty()) m_stack.push_back({Step::visit, 0, 0, {}});
        placeWindow();
        bool stopped = false;
        while (!m_stack.empty() && !stopped) {
            const Step step = m_stack.back();
            m_stack.pop_back();
            switch (step.kind) {
            case Step::visit:
                stopped = !visit(step.node, step.depth, step.around);
                break;
            case Step::say:
                append(step.text, false);
                break;
            case Step::nameIfSilent:
                if (m_pieces.size() == step.piecesBefore) append(step.text, true);
                break;
            case Step::closeList:
                if (m_pieces.size() == step.piecesBefore) m_result.places[step.place].box = {};
                break;
            }
        }
        if (!m_tree.complete && !stopped) m_result.finished = false;
        m_result.isPage = m_pagesOnly && !m_pieces.empty();
        if (m_result.isPage)
            for (const TextNode& node : m_tree.nodes)
                if (m_result.language.empty() && isPage(node.role) && !node.isPanel) m_result.language = node.language;
        settlePlaces();
        for (const std::string_view& piece : m_pieces) {
            if (&piece != m_pieces.data()) m_result.text += '\n';
            m_result.text += piece;
        }
        return std::move(m_result);
    }

private:
    /// What a node stands in.
    struct Around {
        bool page = false;
        bool controls = false;
        bool document = false; ///< an office program's
        bool list = false;
    };
    struct Step {
        enum Kind { visit, say, nameIfSilent, closeList } kind;
        std::size_t node = 0;
        int depth = 0;
        Around around{};
        std::string_view text{};
        std::size_t piecesBefore = 0;
        std::size_t place = 0; ///< its number in the result
    };

    /// False when a limit ends the walk here.
    bool visit(std::size_t index, int depth, Around around) {
        const TextNode& node = m_tree.nodes[index];
        if (node.unread) m_result.finished = false;
        ++m_result.visited;
        if (m_result.visited > m_limits.maxNodes || m_characters > m_limits.maxCharacters) {
            m_result.finished = false;
            return false;
        }
        if (!enters(node, m_frame)) {
            if (!node.failed) addPlace(placeKindOf(node.role), node);
            return true;
        }
        around.page = around.page || isPage(node.role);
        if (m_tree.mayHoldPages && (node.isPanel || (!around.page && namesOtherPages(node.role)))) return true;
        if (isClosedList(node)) return true;
        around.document = around.document || m_document == index;
        const bool isBesideDocument = m_document && !around.document && !m_isAroundDocument[index];
        if (!around.page && !around.controls &&
            (isControlsBar(node.role) || isRowOfButtons(index) || isBesideDocument || isPath(node))) {
            around.controls = true;
            addPlace(TextPlace::Kind::controls, node);
        }
        const bool isControlsName = !around.page && !around.controls && namesControl(node, around.list);
        if (isControlsName) {
            around.controls = true;
            addPlace(TextPlace::Kind::controls, node);
        }
        around.list = around.list || showsManyChildren(node.role) || node.role == Role::listItem;
        if (isPicture(node.role)) addPlace(TextPlace::Kind::open, node);

        const bool below = descends(node.role, depth);
        const std::vector<std::size_t> none;
        const auto& children = below ? m_children[index] : none;
        const Reading reading = readingOf(node.role, m_tree.inlineText, hasStaticChild(index));
        const bool says = (around.page || !m_pagesOnly) && (!around.controls || isTyped(node.role));
        const bool saysText = says && reading.text && node.text && !repeatsField(node) && !hidesSecret(node) &&
                              !(around.controls && isInEditableList(node));
        const bool isProven = !node.unproven;
        if (saysText && !isProven && node.rect && !isBlank(*node.text))
            m_result.unproven.push_back({*node.text, *node.rect});
        const auto segments = saysText && isProven ? segmentsOf(*node.text) : std::vector<std::string_view>{};
        const bool silent = std::all_of(segments.begin(), segments.end(), isBlank);

        const bool saysName = says && silent && reading.name && node.name && showsName(node, around.page);
        if (saysName) {
            // A tab's name is the text on the tab; what is below it is the page.
            if (node.role == Role::pageTab && !node.text)
                append(*node.name, true);
            else if (!node.text || (m_children[index].empty() && node.role != Role::comboBox))
                m_stack.push_back({Step::nameIfSilent, index, depth, around, *node.name, m_pieces.size()});
        }
        const bool isTold =
            !silent || (saysName && !isBlank(*node.name)) || (saysText && isProven && isTyped(node.role));
        notePlace(index, around, says, isTold);
        // Each mark in the text stands for a child. Where fewer children show than there are marks, the rest of the
        // text follows the last one.
        for (std::size_t i = std::max(children.size(), segments.size()); i-- > 0;) {
            if (i < children.size()) m_stack.push_back({Step::visit, children[i], depth + 1, around});
            if (i < segments.size() && !isBlank(segments[i]))
                m_stack.push_back({Step::say, index, depth, around, segments[i]});
        }
        return true;
    }

    /// `isTold`: that what the node shows itself, be it nothing, is known.
    void notePlace(std::size_t index, Around around, bool says, bool isTold) {
        const TextNode& node = m_tree.nodes[index];
        const bool holdsTexts = showsManyChildren(node.role) || (m_pagesOnly && around.page);
        if (m_pagesOnly && isPage(node.role)) {
            addPlace(TextPlace::Kind::open, node);
        } else if (isTold) {
            addPlace(TextPlace::Kind::content, node);
        } else if (holdsTexts && says && !isPicture(node.role)) {
            m_lists.push_back(addPlace(TextPlace::Kind::content, node));
            m_stack.push_back({Step::closeList, index, 0, around, {}, m_pieces.size(), m_lists.back()});
        } else if (!around.page && (isButton(node.role) || (node.role == Role::pageTab && isTabAlone(node)))) {
            addPlace(TextPlace::Kind::controls, node);
        }
    }

    /// Its number among the places, which it has also where the node has none.
    std::size_t addPlace(TextPlace::Kind kind, const TextNode& node) {
        Rect box = node.rect.value_or(Rect());
        if (m_frame) box = box.intersection(*m_frame);
        const bool isSmall = box.width < smallestPicture || box.height < smallestPicture;
        if (kind == TextPlace::Kind::open && isSmall) box = {};
        m_result.places.push_back({kind, box});
        return m_result.places.size() - 1;
    }

    /// All around a page is the browser's, and all around what a window holds its decoration.
    void placeWindow() {
        if (!m_frame || m_tree.nodes.empty()) return;
        double left = m_frame->x + m_frame->width, top = m_frame->y + m_frame->height, right = m_frame->x,
               bottom = m_frame->y;
        for (const std::size_t child : m_children[0]) {
            const Rect box = m_tree.nodes[child].rect.value_or(Rect()).intersection(*m_frame);
            if (box.isEmpty()) continue;
            left = std::min(left, box.x);
            top = std::min(top, box.y);
            right = std::max(right, box.x + box.width);
            bottom = std::max(bottom, box.y + box.height);
        }
        const Rect held{left, top, right - left, bottom - top};
        // Not all that a window shows need be in its tree.
        const bool isAll = held.width * held.height >= nearlyAll * m_frame->width * m_frame->height;
        if (m_pagesOnly || (right > left && isAll)) m_result.places.push_back({TextPlace::Kind::controls, *m_frame});
        if (!m_pagesOnly && right > left && isAll) m_result.places.push_back({TextPlace::Kind::open, held});
    }

    void settlePlaces() {
        // Where the walk ended the rest of a list may be missing.
        if (!m_result.finished)
            for (const std::size_t list : m_lists)
                m_result.places[list].box = {};
        std::erase_if(m_result.places, [](const TextPlace& place) { return place.box.isEmpty(); });
    }

    /// What an object that isn't walked shows.
    static TextPlace::Kind placeKindOf(Role role) {
        return isPicture(role) ? TextPlace::Kind::open : TextPlace::Kind::controls;
    }

    /// The list of a choice that isn't open is there all the same, and has no size.
    bool isClosedList(const TextNode& node) const {
        return showsManyChildren(node.role) && isInEditableList(node) && node.rect && node.rect->isEmpty();
    }

    bool isInEditableList(const TextNode& node) const {
        return node.parent >= 0 &&
               treatmentOf(m_tree.nodes[static_cast<std::size_t>(node.parent)].role) == Treatment::editableList;
    }

    /// Some programs' bars are called anything. Side by side, and nothing else among them.
    bool isRowOfButtons(std::size_t index) const {
        int buttons = 0;
        double top = 0, bottom = 0;
        for (const std::size_t child : m_children[index]) {
            const TextNode& node = m_tree.nodes[child];
            if (!enters(node, m_frame) || !node.rect || node.rect->isEmpty()) continue;
            if (node.role == Role::filler || node.role == Role::separator) {
                if (!m_children[child].empty()) return false;
                continue;
            }
            if (node.role != Role::pushButton && node.role != Role::toggleButton && node.role != Role::checkBox)
                return false;
            top = buttons == 0 ? node.rect->y : std::max(top, node.rect->y);
            const double end = node.rect->y + node.rect->height;
            bottom = buttons == 0 ? end : std::min(bottom, end);
            ++buttons;
        }
        return buttons >= fewestInBar && top < bottom;
    }

    /// Outside of pages, whose authors name what shows no text for those who can't see it, and so do others.
    static bool showsName(const TextNode& node, bool inPage) {
        if (inPage) return true;
        if (node.role == Role::pageTab) return false;
        return !isButton(node.role) || !node.rect || node.rect->isEmpty() ||
               node.rect->width >= narrowestCharacter * static_cast<double>(Graphemes::count(*node.name));
    }

    /// Large and the first of its kind, with what it stands in.
    void findDocument() {
        m_isAroundDocument.resize(m_tree.nodes.size());
        if (!m_isLarge) return;
        for (std::size_t i = 0; i < m_tree.nodes.size() && !m_document; ++i) {
            const TextNode& node = m_tree.nodes[i];
            if (!isOfficeDocument(node.role) || !node.rect) continue;
            const Rect seen = node.rect->intersection(*m_frame);
            if (seen.width * seen.height >= leastDocument * m_frame->width * m_frame->height) m_document = i;
        }
        for (int i = m_document ? static_cast<int>(*m_document) : -1; i >= 0;
             i = m_tree.nodes[static_cast<std::size_t>(i)].parent)
            m_isAroundDocument[static_cast<std::size_t>(i)] = true;
    }

    /// A list of one row: the folders that a file lies in, say.
    bool isPath(const TextNode& node) const {
        return m_isLarge && (node.role == Role::list || node.role == Role::listBox) && node.rect &&
               !node.rect->isEmpty() && node.rect->height <= highestPath && node.rect->width > 2 * leastWidth / 5;
    }

    bool isAtEdge(const TextNode& node) const {
        if (!m_isLarge || !node.rect || node.rect->isEmpty()) return false;
        return node.rect->y + node.rect->height <= m_frame->y + topBars ||
               node.rect->y >= m_frame->y + m_frame->height - bottomBar;
    }

    /// Whether what the node shows is the window's own: what a button is called, or the name in front of a field.
    bool namesControl(const TextNode& node, bool inList) const {
        std::string_view shown;
        if (node.text && !isBlank(*node.text))
            shown = *node.text;
        else if (node.name)
            shown = *node.name;
        switch (node.role) {
        case Role::pushButton:
        case Role::toggleButton:
            return isShort(shown);
        case Role::checkBox:
        case Role::radioButton:
            return m_isLarge && !inList && isShort(shown);
        case Role::spinButton:
        case Role::comboBox:
            return isAtEdge(node);
        case Role::label:
            if (inList) return false;
            return isShort(shown) && (isAtEdge(node) || Graphemes::trimmed(shown).ends_with(':'));
        default:
            return false;
        }
    }

    static bool isTabAlone(const TextNode& node) { return node.rect && node.rect->height <= highestTab; }

    bool hasStaticChild(std::size_t index) const {
        return std::any_of(m_children[index].begin(), m_children[index].end(),
                           [&](std::size_t child) { return m_tree.nodes[child].role == Role::staticText; });
    }

    static bool hidesSecret(const TextNode& node) {
        const Treatment treatment = treatmentOf(node.role);
        return (node.unproven || treatment == Treatment::field || treatment == Treatment::editableList) &&
               isMasked(*node.text);
    }

    /// An editable list and the field in it hold the same.
    bool repeatsField(const TextNode& node) const {
        if (node.parent < 0 || treatmentOf(node.role) != Treatment::field) return false;
        const TextNode& parent = m_tree.nodes[static_cast<std::size_t>(node.parent)];
        return treatmentOf(parent.role) == Treatment::editableList && parent.text == node.text;
    }

    void append(std::string_view piece, bool isName) {
        if (isBlank(piece)) return;
        // A control and the label beside it often say the same, the control by its name.
        if ((isName || m_lastIsName) && !m_pieces.empty() &&
            Graphemes::trimmed(m_pieces.back()) == Graphemes::trimmed(piece))
            return;
        m_pieces.push_back(piece);
        m_lastIsName = isName;
        m_characters += Graphemes::count(piece);
    }

    const TextTree& m_tree;
    const std::optional<Rect>& m_frame;
    const TextLimits& m_limits;
    std::vector<std::vector<std::size_t>> m_children;
    std::vector<Step> m_stack;
    std::vector<std::size_t> m_lists; ///< their numbers among the places
    std::vector<std::string_view> m_pieces;
    bool m_lastIsName = false;
    bool m_isLarge = false;
    std::optional<std::size_t> m_document; ///< an office program's
    std::vector<bool> m_isAroundDocument;  ///< of each node
    bool m_pagesOnly = false;              ///< where there is a page, nothing but pages is read
    std::int64_t m_characters = 0;
    WindowText m_result;
};

} // namespace

bool isPanelAddress(std::string_view address) {
    return (address.starts_with("chrome") && address.find(".top-chrome/") != std::string_view::npos) ||
           address.starts_with("chrome://browser/");
}

// Which character stands for the hidden ones is up to the program. Some show the last one for a moment; where that is
// taken into account the others must be such that nobody types.
bool isMasked(std::string_view text) {
    constexpr std::array<std::string_view, 10> dots{"\u00B7", "\u2022", "\u2217", "\u25CF", "\u25E6",
                                                    "\u26AB", "\u2731", "\u273A", "\u2B24", "\uFF0A"};
    auto characters = Graphemes::split(Graphemes::trimmed(text));
    if (characters.empty()) return false;
    const std::string_view first = characters.front();
    if (std::find(dots.begin(), dots.end(), first) != dots.end() && characters.size() > 1) characters.pop_back();
    const bool isSymbol = !Graphemes::isWhiteSpace(first) && TextNormalizer::tokens(first).empty();
    return isSymbol && std::all_of(characters.begin(), characters.end(),
                                   [&](std::string_view character) { return character == first; });
}

bool enters(const TextNode& node, const std::optional<Rect>& frame) {
    if (node.failed) return false;
    const Treatment treatment = treatmentOf(node.role);
    if (treatment == Treatment::secure || treatment == Treatment::skipped) return false;
    return !frame || !node.rect || node.rect->isEmpty() || node.rect->intersects(*frame);
}

bool descends(Role role, int depth) {
    const Treatment treatment = treatmentOf(role);
    return treatment != Treatment::staticText && treatment != Treatment::field && depth < deepest;
}

Reading readingOf(Role role, bool inlineText, bool hasStaticChild) {
    const bool repeated = hasStaticChild && !inlineText;
    switch (treatmentOf(role)) {
    case Treatment::staticText:
        return {.text = true, .name = true};
    case Treatment::field:
        return {.text = true, .name = false};
    case Treatment::editableList:
        // Without text its name is what is chosen; only browsers name it by its label.
        return {.text = true, .name = !inlineText};
    case Treatment::caption:
        return {.text = !repeated, .name = !repeated};
    case Treatment::container:
        return {.text = !repeated, .name = false};
    case Treatment::structure:
        return {.text = inlineText && !showsManyChildren(role) && role != Role::tableRow, .name = false};
    case Treatment::secure:
    case Treatment::skipped:
        break;
    }
    return {};
}

WindowText compose(const TextTree& tree, const std::optional<Rect>& frame, const TextLimits& limits) {
    TextTree placed = tree;
    placed.nodes = wherePainted(std::move(placed.nodes));
    return Walk(placed, frame, limits).run();
}

} // namespace nomara::atspi::TextRules
