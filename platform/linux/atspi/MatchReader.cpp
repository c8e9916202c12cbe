#include "platform/linux/atspi/NodeTexts.h"
#include "platform/linux/atspi/TextReader.h"

#include <algorithm>
#include <string>
#include <unordered_map>

namespace nomara::atspi {

namespace {

// Attributes of one chunk travel together with the texts of the one before.
constexpr std::size_t chunkSize = 128;
// Nodes that match but lie below something that is left out don't count, so more are asked for than may be visited.
constexpr std::int64_t matchesPerNode = 4;
// Where reading on is certain to be in vain; the exact limit is drawn when the text is put together.
constexpr std::size_t bytesPerCharacter = 8;

class MatchReader {
public:
    MatchReader(AtspiBus& bus, const TextRequest& request, std::vector<ObjectRef> objects)
        : m_request(request), m_calls(bus, request.deadline()),
          m_texts(m_calls, m_tree.nodes, request.frame, request.toolkit), m_objects(std::move(objects)),
          m_depths(m_objects.size(), notReached) {
        m_tree.inlineText = request.toolkit.writesInline;
        m_tree.mayHoldPages = request.toolkit.kind != Toolkit::Kind::other;
        m_tree.nodes.resize(m_objects.size());
        m_places.reserve(m_objects.size());
        for (std::size_t i = 0; i < m_objects.size(); ++i)
            m_places.emplace(elementOf(m_objects[i]).reference, i);
    }

    TextTree read() {
        m_tree.complete = false;
        std::size_t end = 0;
        while (end < m_objects.size() && !enough()) {
            const std::size_t begin = end;
            end = std::min(begin + chunkSize, m_objects.size());
            for (std::size_t i = begin; i < end; ++i)
                askAttributes(i);
            if (m_calls.run() != CallPipeline::Outcome::answered) return std::move(m_tree);
            for (; m_counted < begin; ++m_counted)
                if (m_tree.nodes[m_counted].text) m_bytes += m_tree.nodes[m_counted].text->size();
            for (std::size_t i = begin; i < end; ++i)
                askTexts(i);
        }
        m_tree.complete = end == m_objects.size();
        m_calls.run(); // a text that comes too late leaves its node unread
        return std::move(m_tree);
    }

private:
    static constexpr int notReached = -1;

    void askAttributes(std::size_t index) {
        const ObjectRef& object = m_objects[index];
        const bool needsPlace = index == 0 || !m_request.toolkit.showingIsInView;
        ask::role(m_calls, object, [this, index, object, needsPlace](std::optional<Role> role) {
            TextNode& node = m_tree.nodes[index];
            node.failed = !role;
            node.role = role.value_or(Role{});
            m_texts.tellPage(index, object);
            // Of a long field it takes its place to tell which part shows.
            if (!needsPlace && treatmentOf(node.role) == Treatment::field) askPlace(index, object);
        });
        if (index > 0)
            ask::parent(m_calls, object, [this, index](std::optional<ObjectRef> parent) {
                if (!parent) return;
                const auto found = m_places.find(elementOf(*parent).reference);
                // In document order a parent precedes its children. Without one in the list a node isn't on show,
                // whatever it says of itself.
                if (found != m_places.end() && found->second < index)
                    m_tree.nodes[index].parent = static_cast<int>(found->second);
            });
        if (needsPlace) askPlace(index, object);
    }

    void askPlace(std::size_t index, const ObjectRef& object) {
        ask::extents(m_calls, object, [this, index](std::optional<Rect> rect) { m_tree.nodes[index].rect = rect; });
    }

    void askTexts(std::size_t index) {
        const TextNode& node = m_tree.nodes[index];
        if (index == 0) {
            m_depths[0] = 0;
        } else {
            if (node.parent < 0) return;
            const auto parent = static_cast<std::size_t>(node.parent);
            if (m_depths[parent] == notReached || !TextRules::enters(m_tree.nodes[parent], m_request.frame) ||
                !TextRules::descends(m_tree.nodes[parent].role, m_depths[parent]))
                return;
            m_depths[index] = m_depths[parent] + 1;
        }
        ++m_visited;
        if (!TextRules::enters(node, m_request.frame)) return;
        m_texts.read(index, m_objects[index],
                     TextRules::readingOf(node.role, m_request.toolkit.writesInline, hasStaticChild(index)));
    }

    /// As far as the children are known by now. Text that turns out to be repeated is left out later.
    bool hasStaticChild(std::size_t index) const {
        for (std::size_t i = index + 1; i < m_tree.nodes.size() && m_tree.nodes[i].parent >= static_cast<int>(index);
             ++i)
            if (m_tree.nodes[i].parent == static_cast<int>(index) && m_tree.nodes[i].role == Role::staticText)
                return true;
        return false;
    }

    bool enough() const {
        return m_visited > m_request.limits.maxNodes ||
               m_bytes > bytesPerCharacter * static_cast<std::size_t>(m_request.limits.maxCharacters);
    }

    const TextRequest& m_request;
    TextTree m_tree;
    CallPipeline m_calls;
    NodeTexts m_texts;
    std::vector<ObjectRef> m_objects;
    std::vector<int> m_depths;
    std::unordered_map<std::string, std::size_t> m_places;
    std::int64_t m_visited = 0;
    std::size_t m_counted = 0;
    std::size_t m_bytes = 0;
};

} // namespace

SteadyClock::time_point TextRequest::deadline() const {
    return start +
           std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(limits.budgetSeconds));
}

MatchesAnswer readByMatches(AtspiBus& bus, const TextRequest& request) {
    if (request.toolkit.repeatsText) return readByMarks(bus, request);
    std::vector<ObjectRef> objects{request.root};
    bool answered = false;
    const auto most = static_cast<std::int32_t>(
        std::min<std::int64_t>(std::max<std::int64_t>(request.limits.maxNodes, 1) * matchesPerNode, 100'000));
    // One question can't be cut short, so this one has the messaging timeout rather than the budget.
    const auto asked = SteadyClock::now();
    CallPipeline question(bus, request.start + messagingTimeout);
    ask::matches(question, request.root, {.most = most}, [&](const std::optional<std::vector<ObjectRef>>& found) {
        answered = found.has_value();
        if (found) objects.insert(objects.end(), found->begin(), found->end());
    });
    const bool inTime = question.run() == CallPipeline::Outcome::answered;
    MatchesAnswer answer{std::nullopt, SteadyClock::now() - asked};
    if (!inTime || !answered) return answer;
    const bool all = objects.size() <= static_cast<std::size_t>(most);
    answer.tree = MatchReader(bus, request, std::move(objects)).read();
    answer.tree->complete = answer.tree->complete && all;
    return answer;
}

} // namespace nomara::atspi
