#include "platform/linux/atspi/NodeTexts.h"
#include "platform/linux/atspi/TextReader.h"

#include <algorithm>
#include <memory>

namespace nomara::atspi {

namespace {

// A list with more children is read around what stands at its edges.
constexpr std::int32_t fewChildren = 256;
// A level is read before it is known which of its nodes come first, so more are read than may be visited.
constexpr std::int64_t readsPerNode = 4;

class WalkReader {
public:
    WalkReader(AtspiBus& bus, const TextRequest& request)
        : m_request(request), m_calls(bus, request.deadline()),
          m_texts(m_calls, m_found, request.frame, request.toolkit) {}

    TextTree read() {
        visit(m_request.root, -1, 0, 0);
        if (m_calls.run() != CallPipeline::Outcome::answered) m_complete = false;
        return inDocumentOrder();
    }

private:
    /// What is known of a node besides what the rules need.
    struct Place {
        ObjectRef object;
        int depth = 0;
        std::int32_t index = 0; ///< among its siblings
        bool showing = false;
    };

    void visit(const ObjectRef& object, int parent, int depth, std::int32_t index) {
        if (object.isNull()) return;
        if (static_cast<std::int64_t>(m_found.size()) > m_request.limits.maxNodes * readsPerNode) {
            m_complete = false;
            return;
        }
        const std::size_t node = m_found.size();
        m_found.push_back({.parent = parent, .unread = true});
        m_places.push_back({object, depth, index, false});
        ask::states(m_calls, object, [this, node](std::optional<States> states) {
            // The root is what was asked for, whatever it says of itself.
            m_places[node].showing = node == 0 || (states && states->isShowing());
        });
        ask::role(m_calls, object, [this, node, object](std::optional<Role> role) {
            m_found[node].failed = !role;
            m_found[node].role = role.value_or(Role{});
            m_texts.tellPage(node, object);
            if (role == Role::staticText && m_request.toolkit.repeatsText) m_places[node].showing = false;
        });
        ask::extents(m_calls, object, [this, node](std::optional<Rect> rect) {
            m_found[node].rect = rect;
            m_found[node].unread = false;
            enter(node);
        });
    }

    void enter(std::size_t index) {
        const TextNode& node = m_found[index];
        if (!m_places[index].showing || !TextRules::enters(node, m_request.frame)) return;
        const Role role = node.role;
        m_texts.read(index, m_places[index].object, TextRules::readingOf(role, m_request.toolkit.writesInline, false));
        if (!TextRules::descends(role, m_places[index].depth)) return;
        if (!showsManyChildren(role)) return askChildren(index);
        ask::childCount(m_calls, m_places[index].object, [this, index](std::optional<std::int32_t> count) {
            if (count && *count > fewChildren)
                askVisibleChildren(index, *count);
            else
                askChildren(index);
        });
    }

    void askChildren(std::size_t index) {
        ask::children(m_calls, m_places[index].object, [this, index](std::optional<std::vector<ObjectRef>> children) {
            if (!children) return;
            for (std::size_t i = 0; i < children->size(); ++i)
                visit((*children)[i], static_cast<int>(index), m_places[index].depth + 1, static_cast<std::int32_t>(i));
        });
    }

    /// Children of a list stand in the order of their indexes, so those between what is at its upper left and its lower
    /// right edge are the visible ones.
    void askVisibleChildren(std::size_t index, std::int32_t count) {
        struct Edges {
            std::optional<std::int32_t> first, last;
            int open = 0;
        };
        const auto& rect = m_found[index].rect;
        const Rect seen = !rect ? Rect{} : m_request.frame ? rect->intersection(*m_request.frame) : *rect;
        auto edges = std::make_shared<Edges>();
        const auto take = [this, index, count, edges](std::optional<std::int32_t> at) {
            if (at && *at >= 0 && *at < count) {
                edges->first = std::min(edges->first.value_or(*at), *at);
                edges->last = std::max(edges->last.value_or(*at), *at);
            }
            if (--edges->open > 0) return;
            // Without edges the list is read from its start, and the limits end that.
            const std::int32_t first = edges->first.value_or(0);
            const std::int32_t last = edges->last.value_or(count - 1);
            for (std::int32_t i = first; i <= last; ++i) {
                if (i - first > m_request.limits.maxNodes) {
                    m_complete = false;
                    break;
                }
                ask::childAt(m_calls, m_places[index].object, i, [this, index, i](std::optional<ObjectRef> child) {
                    if (child) visit(*child, static_cast<int>(index), m_places[index].depth + 1, i);
                });
            }
        };
        std::vector<Point> points;
        for (const double y : {seen.y + 4, seen.y + 40, seen.y + seen.height - 4, seen.y + seen.height - 24})
            for (const double x : {seen.x + 8, seen.x + seen.width - 8})
                if (seen.contains(Point{x, y})) points.push_back({x, y});
        edges->open = std::max(static_cast<int>(points.size()), 1);
        if (points.empty()) return take(std::nullopt);
        for (const Point point : points)
            ask::objectAtPoint(m_calls, m_places[index].object, point, [this, take](std::optional<ObjectRef> object) {
                if (!object || object->isNull()) return take(std::nullopt);
                ask::indexInParent(m_calls, *object, take);
            });
    }

    TextTree inDocumentOrder() {
        std::vector<std::vector<std::size_t>> children(m_found.size());
        for (std::size_t i = 1; i < m_found.size(); ++i) {
            if (m_places[i].showing) children[static_cast<std::size_t>(m_found[i].parent)].push_back(i);
        }
        for (auto& siblings : children)
            std::sort(siblings.begin(), siblings.end(),
                      [&](std::size_t a, std::size_t b) { return m_places[a].index < m_places[b].index; });
        TextTree tree{.nodes = {},
                      .inlineText = m_request.toolkit.writesInline,
                      .mayHoldPages = m_request.toolkit.kind != Toolkit::Kind::other,
                      .complete = m_complete};
        tree.nodes.reserve(m_found.size());
        std::vector<std::pair<std::size_t, int>> stack{{0, -1}};
        while (!stack.empty()) {
            const auto [index, parent] = stack.back();
            stack.pop_back();
            const int place = static_cast<int>(tree.nodes.size());
            tree.nodes.push_back(std::move(m_found[index]));
            tree.nodes.back().parent = parent;
            for (auto child = children[index].rbegin(); child != children[index].rend(); ++child)
                stack.emplace_back(*child, place);
        }
        return tree;
    }

    const TextRequest& m_request;
    std::vector<TextNode> m_found;
    std::vector<Place> m_places;
    CallPipeline m_calls;
    NodeTexts m_texts;
    bool m_complete = true;
};

} // namespace

TextTree readByWalk(AtspiBus& bus, const TextRequest& request) {
    return WalkReader(bus, request).read();
}

} // namespace nomara::atspi
