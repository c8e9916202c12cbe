#include "platform/linux/atspi/BrowserControls.h"

#include "core/text/Graphemes.h"
#include "platform/linux/atspi/BrowserRules.h"
#include "platform/linux/atspi/DocumentFinder.h"

#include <algorithm>
#include <vector>

namespace nomara::atspi {

namespace {

constexpr std::int32_t mostElements = 1500;
constexpr std::chrono::seconds longestWalk{1};

class ControlsWalk {
public:
    ControlsWalk(AtspiBus& bus, Toolkit toolkit)
        : m_toolkit(toolkit), m_calls(bus, SteadyClock::now() + longestWalk), m_findings(toolkit.kind) {}

    BrowserFacts read(const ObjectRef& window) { return m_findings.facts(walk(window)); }

private:
    struct Node {
        ObjectRef object;
        std::optional<Role> role;
        std::optional<Wording> words;
        std::optional<Attributes> attributes; ///< asked for where they tell something
        bool inToolBar = false;
        std::vector<ObjectRef> children;
        // of a page
        bool showing = false, hasNoSize = false;
        std::optional<std::string> address;
        // of a field
        bool focused = false;
        std::string content;
    };

    /// Whether it came to its end, or at least through the levels that count.
    bool walk(const ObjectRef& window) {
        std::vector<Node> level(1);
        level[0].object = window;
        std::size_t visited = 0;
        for (int depth = 0; !level.empty(); ++depth) {
            const std::size_t left = std::size_t{mostElements} - visited;
            const bool cut = level.size() > left;
            if (cut) level.resize(left);
            visited += level.size();
            if (!readLevel(level, depth)) return false;
            if (depth == 0 && (!level[0].role || !level[0].words || !level[0].attributes)) return false;
            if (cut) return depth > BrowserFindings::deepestMark;
            level = nextLevel(level);
        }
        return true;
    }

    bool readLevel(std::vector<Node>& level, int depth) {
        for (Node& node : level)
            askWhatItIs(node);
        if (m_calls.run() != CallPipeline::Outcome::answered) return false;
        for (Node& node : level) {
            if (!node.role || !node.words || !node.attributes)
                m_findings.fail(depth);
            else if (isPage(*node.role))
                askPage(node);
            else
                askFurther(node, depth);
        }
        if (m_calls.run() != CallPipeline::Outcome::answered) return false;
        for (const Node& node : level) {
            if (!node.showing || node.hasNoSize) continue;
            m_findings.takePage(node.words->name, node.address);
        }
        for (const Node& node : level)
            if (!node.focused) m_findings.takeTyped(node.content);
        return true;
    }

    void askWhatItIs(Node& node) {
        ask::role(m_calls, node.object, [&node](std::optional<Role> role) { node.role = role; });
        ask::wording(m_calls, node.object, [&node](std::optional<Wording> words) { node.words = std::move(words); });
        if (m_toolkit.kind == Toolkit::Kind::gecko)
            ask::attributes(m_calls, node.object,
                            [&node](std::optional<Attributes> attributes) { node.attributes = std::move(attributes); });
        else
            node.attributes.emplace();
    }

    void askPage(Node& node) {
        ask::states(m_calls, node.object,
                    [&node](std::optional<States> states) { node.showing = !states || states->isShowing(); });
        ask::extents(m_calls, node.object,
                     [&node](std::optional<Rect> rect) { node.hasNoSize = rect && rect->isEmpty(); });
        ask::interfaces(m_calls, node.object, [this, &node](std::optional<Interfaces> interfaces) {
            if (!interfaces || !interfaces->document) return;
            ask::documentAttributes(m_calls, node.object, [&node](const std::optional<Attributes>& attributes) {
                if (attributes) node.address = addressIn(*attributes);
            });
        });
    }

    void askFurther(Node& node, int depth) {
        const BrowserFindings::Element element{depth, *node.role, *node.words, *node.attributes, node.inToolBar};
        m_findings.take(element);
        if (m_findings.isAddressField(element)) askContent(node);
        if (depth >= BrowserFindings::deepest || node.words->childCount == 0) return;
        const auto take = [this, &node, depth](std::optional<std::vector<ObjectRef>> children) {
            if (children)
                node.children = std::move(*children);
            else
                m_findings.fail(depth + 1);
        };
        if (node.words->childCount < 0)
            ask::children(m_calls, node.object, mostElements, take);
        else if (node.words->childCount <= mostElements)
            ask::countedChildren(m_calls, node.object, node.words->childCount, take);
        else
            m_findings.fail(depth + 1);
    }

    void askContent(Node& node) {
        ask::states(m_calls, node.object,
                    [&node](std::optional<States> states) { node.focused = !states || states->isFocused(); });
        ask::interfaces(m_calls, node.object, [this, &node](std::optional<Interfaces> interfaces) {
            if (!interfaces || !interfaces->text) return;
            constexpr std::int32_t longest = 8192;
            ask::characterCount(m_calls, node.object, [this, &node](std::optional<std::int32_t> count) {
                if (!count || *count <= 0 || *count > longest) return;
                ask::text(m_calls, node.object, 0, *count, [&node](std::optional<std::string> text) {
                    if (text) node.content = std::move(*text);
                });
            });
        });
    }

    static std::vector<Node> nextLevel(const std::vector<Node>& level) {
        std::vector<Node> next;
        for (const Node& node : level)
            for (const ObjectRef& child : node.children) {
                if (child.isNull()) continue;
                Node& added = next.emplace_back();
                added.object = child;
                added.inToolBar = node.inToolBar || node.role == Role::toolBar;
            }
        return next;
    }

    Toolkit m_toolkit;
    CallPipeline m_calls;
    BrowserFindings m_findings;
};

BrowserFacts nameAlone(AtspiBus& bus, const ObjectRef& window) {
    BrowserFindings findings(Toolkit::Kind::other);
    CallPipeline calls(bus, SteadyClock::now() + messagingTimeout);
    ask::name(calls, window, [&findings](const std::optional<std::string>& name) {
        findings.take({.depth = 0, .role = Role::frame, .words = {.name = name.value_or("")}});
    });
    calls.run();
    return findings.facts(false);
}

} // namespace

BrowserFacts readBrowserControls(AtspiBus& bus, const ObjectRef& window, Toolkit toolkit) {
    // Qt's programs die of being asked for all words of an object at once, and what isn't known couldn't be proved of
    // an unknown browser's controls anyway: only its window's name counts.
    if (toolkit.kind == Toolkit::Kind::other) return nameAlone(bus, window);
    return ControlsWalk(bus, toolkit).read(window);
}

} // namespace nomara::atspi
