#include "platform/linux/atspi/ShownWalk.h"

#include "platform/linux/atspi/ChildAccess.h"

#include <vector>

namespace nomara::atspi {

namespace {

class Walk {
public:
    Walk(AtspiBus& bus, const Toolkit& toolkit, std::size_t most, SteadyClock::time_point deadline,
         const std::function<WalkStep(const ShownNode&)>& visit)
        : m_toolkit(toolkit), m_most(most), m_visit(visit), m_calls(bus, deadline) {}

    bool run(const ObjectRef& window) {
        std::vector<ShownNode> level{{window, {}, {}}};
        bool isWindow = true;
        while (!level.empty()) {
            if (!read(level)) return false;
            std::vector<const ShownNode*> entered;
            for (const ShownNode& node : level) {
                // The window is what was asked for, whatever it says of itself.
                if (!isWindow && !node.states.isShowing() && !m_toolkit.mayShowSilently(node.role)) continue;
                const WalkStep step = isWindow ? WalkStep::enter : m_visit(node);
                if (step == WalkStep::finish) return true;
                if (step == WalkStep::enter) entered.push_back(&node);
            }
            isWindow = false;
            std::vector<ShownNode> next;
            if (!findChildren(entered, next)) return false;
            level = std::move(next);
        }
        return m_complete;
    }

private:
    bool read(std::vector<ShownNode>& level) {
        for (ShownNode& node : level) {
            ask::states(m_calls, node.object,
                        [&node](std::optional<States> states) { node.states = states.value_or(States{}); });
            ask::role(m_calls, node.object, [&node](std::optional<Role> role) { node.role = role.value_or(Role{}); });
        }
        return m_calls.run() == CallPipeline::Outcome::answered;
    }

    bool findChildren(const std::vector<const ShownNode*>& parents, std::vector<ShownNode>& found) {
        std::vector<std::vector<ObjectRef>> children(parents.size());
        for (std::size_t i = 0; i < parents.size(); ++i)
            ask::childCount(m_calls, parents[i]->object, [&, i](std::optional<std::int32_t> count) {
                const ShownNode& parent = *parents[i];
                const auto take = [&children, i](std::optional<std::vector<ObjectRef>> objects) {
                    if (objects) children[i] = std::move(*objects);
                };
                // Without an answer the object has gone.
                switch (childAccess(count.value_or(0), parent.states.managesDescendants(), m_toolkit)) {
                case ChildAccess::none:
                    return;
                case ChildAccess::all:
                    return ask::countedChildren(m_calls, parent.object, *count, take);
                case ChildAccess::shown:
                    return ask::shownChildren(m_calls, parent.object, {}, take);
                case ChildAccess::atPoint:
                case ChildAccess::tooMany:
                    if (!holdsRows(parent)) m_complete = false;
                }
            });
        if (m_calls.run() != CallPipeline::Outcome::answered) return false;
        for (const auto& objects : children)
            for (const ObjectRef& object : objects) {
                if (object.isNull()) continue;
                if (++m_seen > m_most) {
                    m_complete = false;
                    return true;
                }
                found.push_back({object, {}, {}});
            }
        return true;
    }

    /// A page may lay out anything in a table; a program's own list of many rows holds rows.
    bool holdsRows(const ShownNode& node) const {
        return node.states.managesDescendants() ||
               (m_toolkit.kind == Toolkit::Kind::other && showsManyChildren(node.role));
    }

    const Toolkit& m_toolkit;
    std::size_t m_most, m_seen = 0;
    const std::function<WalkStep(const ShownNode&)>& m_visit;
    CallPipeline m_calls;
    bool m_complete = true;
};

} // namespace

bool walkShown(AtspiBus& bus, const ObjectRef& window, const Toolkit& toolkit, std::size_t most,
               SteadyClock::time_point deadline, const std::function<WalkStep(const ShownNode&)>& visit) {
    return Walk(bus, toolkit, most, deadline, visit).run(window);
}

} // namespace nomara::atspi
