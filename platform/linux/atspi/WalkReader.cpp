#include "platform/linux/atspi/ChildAccess.h"
#include "platform/linux/atspi/DocumentOrder.h"
#include "platform/linux/atspi/NodeTexts.h"
#include "platform/linux/atspi/TextReader.h"

#include <algorithm>
#include <functional>
#include <memory>

namespace nomara::atspi {

namespace {

// A level is read before it is known which of its nodes come first, so more are read than may be visited.
constexpr std::int64_t readsPerNode = 4;
// More don't fit on a screen. In a sheet the indexes between the first cell on show and the last one name whole rows.
constexpr std::int32_t mostVisibleChildren = 600;

class WalkReader {
public:
    WalkReader(AtspiBus& bus, const TextRequest& request)
        : m_request(request), m_calls(bus, request.deadline()), m_texts(m_calls, m_found, request) {}

    TextTree read() {
        // The root is what was asked for, whatever it says of itself.
        visit(m_request.root, {}, true);
        if (m_calls.run() != CallPipeline::Outcome::answered) m_complete = false;
        if (m_complete && m_request.toolkit.showingIsInView) {
            m_texts.placeTexts([this](std::size_t node) { return m_places[node].object; });
            m_calls.run();
        }
        for (std::size_t i = 0; i < m_found.size(); ++i)
            if (!m_places[i].showing) m_found[i].parent = -1;
        return {.nodes = inDocumentOrder(std::move(m_found), m_order),
                .inlineText = m_request.toolkit.writesInline,
                .mayHoldPages = m_request.toolkit.kind != Toolkit::Kind::other,
                .complete = m_complete};
    }

private:
    /// What is known of a node besides what the rules need.
    struct Place {
        ObjectRef object;
        int depth = 0;
        bool showing = false;
        bool managesDescendants = false;
        bool inBar = false; ///< in one of the window's own, not a page's
    };
    /// Where a node stands below an earlier one.
    struct Below {
        int parent = -1;
        int depth = 0;
        std::int32_t index = 0; ///< among its siblings
        bool inBar = false;
    };

    void visit(const ObjectRef& object, const Below& below, bool shows) {
        if (object.isNull()) return;
        if (static_cast<std::int64_t>(m_found.size()) > m_request.limits.maxNodes * readsPerNode) {
            m_complete = false;
            return;
        }
        const std::size_t node = m_found.size();
        m_found.push_back({.parent = below.parent, .unread = true});
        m_places.push_back({object, below.depth, shows, false, below.inBar});
        m_order.push_back(below.index);
        if (below.inBar) return askInBar(node, object);
        askWhetherItShows(node, object);
        const bool needsPlace = node == 0 || !m_request.toolkit.showingIsInView;
        ask::role(m_calls, object, [this, node, object, needsPlace](std::optional<Role> role) {
            m_found[node].failed = !role;
            m_found[node].role = role.value_or(Role{});
            m_texts.tellPage(node, object);
            if (role == Role::staticText && m_request.toolkit.repeatsText) m_places[node].showing = false;
            if (needsPlace) return;
            // Of a long field it takes its place to tell which part shows, and a page without a size isn't open.
            if (treatmentOf(m_found[node].role) == Treatment::field || isPage(m_found[node].role))
                return askPlace(node, object);
            if (isPicture(m_found[node].role)) m_texts.placePicture(node, object);
            enter(node);
        });
        if (needsPlace) askPlace(node, object);
    }

    /// Half of an office program's window are buttons in bars, which say nothing that is kept. Fields say what was
    /// typed.
    void askInBar(std::size_t node, const ObjectRef& object) {
        ask::role(m_calls, object, [this, node, object](std::optional<Role> role) {
            m_found[node].failed = !role;
            m_found[node].role = role.value_or(Role{});
            switch (treatmentOf(m_found[node].role)) {
            case Treatment::structure:
            case Treatment::container:
                return askWhetherItShows(node, object, [this, node] { enter(node); });
            case Treatment::field:
            case Treatment::editableList:
                askWhetherItShows(node, object);
                return askPlace(node, object);
            default:
                m_found[node].unread = false;
                m_places[node].showing = false;
            }
        });
    }

    void askWhetherItShows(std::size_t node, const ObjectRef& object, const std::function<void()>& then = {}) {
        if (m_places[node].showing && m_request.toolkit.findsShownChildren) {
            if (then) then();
            return;
        }
        ask::states(m_calls, object, [this, node, then](std::optional<States> states) {
            if (states) {
                m_places[node].managesDescendants = states->managesDescendants();
                m_places[node].showing = m_places[node].showing || states->isShowing();
            }
            if (then) then();
        });
    }

    void askPlace(std::size_t node, const ObjectRef& object) {
        ask::extents(m_calls, object, [this, node](std::optional<Rect> rect) {
            m_found[node].rect = rect;
            enter(node);
        });
    }

    void enter(std::size_t index) {
        m_found[index].unread = false;
        const TextNode& node = m_found[index];
        Place& place = m_places[index];
        place.showing = place.showing || m_request.toolkit.mayShowSilently(node.role);
        if (!place.showing || !TextRules::enters(node, m_request.frame)) return;
        const bool descends = TextRules::descends(node.role, place.depth);
        m_texts.read(index, place.object, TextRules::readingOf(node.role, m_request.toolkit.writesInline, false));
        if (descends)
            ask::childCount(m_calls, place.object, [this, index](std::optional<std::int32_t> count) {
                if (count) askChildren(index, *count);
            });
    }

    void askChildren(std::size_t index, std::int32_t count) {
        const ObjectRef object = m_places[index].object;
        switch (childAccess(count, m_places[index].managesDescendants, m_request.toolkit)) {
        case ChildAccess::none:
            return;
        case ChildAccess::all:
            return ask::countedChildren(m_calls, object, count, visiting(index, false));
        case ChildAccess::shown:
            return ask::shownChildren(m_calls, object, {}, visiting(index, true));
        case ChildAccess::atPoint:
            return askVisibleChildren(index, count);
        case ChildAccess::tooMany:
            m_complete = false;
        }
    }

    Take<std::vector<ObjectRef>> visiting(std::size_t index, bool shown) {
        return [this, index, shown](std::optional<std::vector<ObjectRef>> children) {
            if (!children) return;
            for (std::size_t i = 0; i < children->size(); ++i)
                visit((*children)[i], below(index, static_cast<std::int32_t>(i)), shown);
        };
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
            if (!edges->first || *edges->last - *edges->first >= mostVisibleChildren) {
                m_complete = false;
                return;
            }
            for (std::int32_t i = *edges->first; i <= *edges->last; ++i)
                ask::childAt(m_calls, m_places[index].object, i, [this, index, i](std::optional<ObjectRef> child) {
                    if (child) visit(*child, below(index, i), false);
                });
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

    Below below(std::size_t parent, std::int32_t index) const {
        const bool isOwnBar = m_request.toolkit.kind == Toolkit::Kind::other && isControlsBar(m_found[parent].role) &&
                              !m_texts.isInPage(parent);
        return {static_cast<int>(parent), m_places[parent].depth + 1, index, m_places[parent].inBar || isOwnBar};
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

TextTree readByWalk(AtspiBus& bus, const TextRequest& request) {
    return WalkReader(bus, request).read();
}

} // namespace nomara::atspi
