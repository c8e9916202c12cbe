#include "platform/linux/atspi/ChildAccess.h"
#include "platform/linux/atspi/DocumentOrder.h"
#include "platform/linux/atspi/NodeTexts.h"
#include "platform/linux/atspi/TextReader.h"

#include <memory>
#include <string>
#include <unordered_set>

namespace nomara::atspi {

namespace {

// A level is read before it is known which of its nodes come first, so more are read than may be visited.
constexpr std::int64_t readsPerNode = 4;
constexpr std::string_view objectReplacement = "\xEF\xBF\xBC";

std::vector<Role> rolesWhere(bool (*wanted)(Role)) {
    std::vector<Role> roles;
    constexpr std::uint32_t roleCount = 128; // as many as a question can name
    for (std::uint32_t role = 0; role < roleCount; ++role)
        if (wanted(static_cast<Role>(role))) roles.push_back(static_cast<Role>(role));
    return roles;
}

/// Those that must be known before anything is asked of an object.
bool isTreatedApart(Role role) {
    switch (treatmentOf(role)) {
    case Treatment::secure:
    case Treatment::skipped:
    case Treatment::field:
    case Treatment::editableList:
        return true;
    default:
        return false;
    }
}

/// Those that part what a page says from what the browser says.
bool partsPages(Role role) {
    switch (role) {
    case Role::documentFrame:
    case Role::documentWeb:
    case Role::pageTab:
    case Role::pageTabList:
    case Role::toolTip:
        return true;
    default:
        return false;
    }
}

/// For a toolkit whose texts hold a mark for each child: an object is asked for its text, for its children only where
/// the text has marks, and for its role only where it has no text. Most objects of a page cost one question.
class InlineReader {
public:
    InlineReader(AtspiBus& bus, const TextRequest& request)
        : m_request(request), m_calls(bus, request.deadline()), m_texts(m_calls, m_found, request) {}

    TextTree read() {
        if (const auto root = add(m_request.root, {})) askNode(*root);
        if (m_calls.run() != CallPipeline::Outcome::answered) m_complete = false;
        if (m_complete) {
            m_texts.placeTexts([this](std::size_t node) { return m_places[node].object; });
            m_calls.run();
        }
        return {.nodes = inDocumentOrder(std::move(m_found), m_order),
                .inlineText = true,
                .mayHoldPages = m_request.toolkit.kind != Toolkit::Kind::other,
                .complete = m_complete};
    }

private:
    /// Where a node stands below an earlier one.
    struct Below {
        int parent = -1;
        int depth = 0;
        std::int32_t index = 0; ///< among its siblings
    };
    struct Place {
        ObjectRef object;
        int depth = 0;
    };

    std::optional<std::size_t> add(const ObjectRef& object, const Below& below) {
        if (object.isNull()) return std::nullopt;
        if (static_cast<std::int64_t>(m_found.size()) > m_request.limits.maxNodes * readsPerNode) {
            m_complete = false;
            return std::nullopt;
        }
        m_found.push_back({.parent = below.parent, .role = Role::unknown, .unread = true});
        m_places.push_back({object, below.depth});
        m_order.push_back(below.index);
        return m_found.size() - 1;
    }

    /// One whose role makes no difference to what it is asked.
    void askNode(std::size_t index) {
        ask::text(m_calls, m_places[index].object, 0, TextRules::mostTextCharacters,
                  [this, index](std::optional<std::string> text) {
                      TextNode& node = m_found[index];
                      node.unread = false;
                      node.text = std::move(text);
                      if (!node.text || node.text->find(objectReplacement) != std::string::npos) askChildren(index);
                      if (node.text && !node.text->empty()) return;
                      ask::role(m_calls, m_places[index].object, [this, index](std::optional<Role> role) {
                          if (!role) return;
                          m_found[index].role = *role;
                          if (isPicture(*role)) m_texts.placePicture(index, m_places[index].object);
                      });
                      ask::name(m_calls, m_places[index].object, [this, index](std::optional<std::string> name) {
                          m_found[index].name = std::move(name);
                      });
                  });
    }

    void askRoleFirst(std::size_t index) {
        ask::role(m_calls, m_places[index].object, [this, index](std::optional<Role> role) {
            TextNode& node = m_found[index];
            node.unread = false;
            node.failed = !role;
            node.role = role.value_or(Role{});
            m_texts.tellPage(index, m_places[index].object);
            if (isPicture(node.role)) m_texts.placePicture(index, m_places[index].object);
            if (!TextRules::enters(node, std::nullopt)) return;
            // Of a long field it takes its place to tell which part shows; what a page's text covers is the page.
            if (isTreatedApart(node.role) || isPage(node.role))
                ask::extents(m_calls, m_places[index].object,
                             [this, index](std::optional<Rect> rect) { m_found[index].rect = rect; });
            if (!isTreatedApart(node.role)) return askNode(index);
            m_texts.read(index, m_places[index].object, TextRules::readingOf(node.role, true, false));
            if (TextRules::descends(node.role, 0)) askChildren(index);
        });
    }

    void askChildren(std::size_t index) {
        if (m_places[index].depth >= TextRules::deepest) return;
        const auto& text = m_found[index].text;
        // Each child stands for a character of the text at least.
        if (text && text->size() <= static_cast<std::size_t>(mostExaminedChildren)) return findChildren(index);
        ask::childCount(m_calls, m_places[index].object, [this, index](std::optional<std::int32_t> count) {
            if (count.value_or(0) == 0) return;
            if (childAccess(*count, false, m_request.toolkit) == ChildAccess::shown)
                findChildren(index);
            else
                m_complete = false;
        });
    }

    /// Two questions name the children that show and those among them whose role must be known first.
    void findChildren(std::size_t index) {
        static const auto read = rolesWhere([](Role role) { return role != Role::staticText; });
        static const auto roleFirst = rolesWhere([](Role role) { return isTreatedApart(role) || partsPages(role); });
        auto shown = std::make_shared<std::vector<ObjectRef>>();
        ask::shownChildren(m_calls, m_places[index].object, read,
                           [shown](std::optional<std::vector<ObjectRef>> children) {
                               if (children) *shown = std::move(*children);
                           });
        ask::shownChildren(m_calls, m_places[index].object, roleFirst,
                           [this, index, shown](const std::optional<std::vector<ObjectRef>>& children) {
                               if (children) addChildren(index, *shown, *children);
                           });
    }

    void addChildren(std::size_t parent, const std::vector<ObjectRef>& shown, const std::vector<ObjectRef>& apart) {
        std::unordered_set<std::string> roleFirst;
        for (const ObjectRef& object : apart)
            roleFirst.insert(elementOf(object).reference);
        for (std::size_t i = 0; i < shown.size(); ++i) {
            const auto node =
                add(shown[i], {static_cast<int>(parent), m_places[parent].depth + 1, static_cast<std::int32_t>(i)});
            if (!node) continue;
            if (roleFirst.contains(elementOf(shown[i]).reference))
                askRoleFirst(*node);
            else
                askNode(*node);
        }
    }

    const TextRequest& m_request;
    std::vector<TextNode> m_found;
    std::vector<Place> m_places;       ///< one for each node
    std::vector<std::int32_t> m_order; ///< the same: each node's place among its siblings
    CallPipeline m_calls;
    NodeTexts m_texts;
    bool m_complete = true;
};

} // namespace

TextTree readByMarks(AtspiBus& bus, const TextRequest& request) {
    return InlineReader(bus, request).read();
}

} // namespace nomara::atspi
