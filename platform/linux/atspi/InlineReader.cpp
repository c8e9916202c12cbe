#include "platform/linux/atspi/NodeTexts.h"
#include "platform/linux/atspi/TextReader.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace nomara::atspi {

namespace {

// Parts of what shows may be left out and don't count as visited, so somewhat more is read than may be visited.
constexpr std::size_t spareNodes = 512;
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
        : m_bus(bus), m_request(request), m_calls(bus, request.deadline()),
          m_texts(m_calls, m_tree.nodes, request.frame, request.toolkit) {}

    MatchesAnswer read() {
        MatchesAnswer answer;
        const auto asked = SteadyClock::now();
        const bool found = findObjects() && leaveOutWhatIsBelowSecrets();
        answer.questionTook = SteadyClock::now() - asked;
        if (!found) return answer;
        const std::size_t most = static_cast<std::size_t>(std::max<std::int64_t>(m_request.limits.maxNodes, 0));
        const std::size_t end = std::min(m_objects.size(), most + spareNodes);
        for (std::size_t i = 0; i < end; ++i)
            askNode(i);
        m_tree.complete = m_calls.run() == CallPipeline::Outcome::answered && end == m_objects.size();
        answer.tree = std::move(m_tree);
        return answer;
    }

private:
    bool findObjects() {
        m_objects.push_back(m_request.root);
        bool answered = false;
        std::vector<ObjectRef> apart, parting;
        CallPipeline question(m_bus, m_request.start + messagingTimeout);
        ask::matches(question, m_request.root,
                     {.roles = rolesWhere([](Role role) { return role != Role::staticText; })},
                     [&](const std::optional<std::vector<ObjectRef>>& found) {
                         answered = found.has_value();
                         if (found) m_objects.insert(m_objects.end(), found->begin(), found->end());
                     });
        ask::matches(question, m_request.root, {.roles = rolesWhere(isTreatedApart)},
                     [&](const std::optional<std::vector<ObjectRef>>& found) {
                         answered = answered && found;
                         if (found) apart = *found;
                     });
        ask::matches(question, m_request.root, {.roles = rolesWhere(partsPages)},
                     [&](const std::optional<std::vector<ObjectRef>>& found) {
                         answered = answered && found;
                         if (found) parting = *found;
                     });
        if (question.run() != CallPipeline::Outcome::answered || !answered) return false;

        m_tree.inlineText = true;
        m_tree.mayHoldPages = m_request.toolkit.kind != Toolkit::Kind::other;
        m_tree.nodes.resize(m_objects.size());
        for (std::size_t i = 0; i < m_objects.size(); ++i) {
            m_tree.nodes[i].role = Role::unknown;
            m_places.emplace(elementOf(m_objects[i]).reference, i);
        }
        for (const ObjectRef& object : apart) {
            const auto place = placeOf(object);
            if (!place) continue;
            m_apart.insert(*place);
            ask::role(question, object, [this, node = *place](std::optional<Role> role) {
                m_tree.nodes[node].failed = !role;
                m_tree.nodes[node].role = role.value_or(Role{});
            });
        }
        for (const ObjectRef& object : parting)
            if (const auto place = placeOf(object))
                ask::role(question, object, [this, node = *place, object](std::optional<Role> role) {
                    m_tree.nodes[node].failed = !role;
                    m_tree.nodes[node].role = role.value_or(Role{});
                    m_texts.tellPage(node, object);
                });
        return question.run() == CallPipeline::Outcome::answered;
    }

    /// Nothing below a password field may be asked for its text, and parents are not known yet.
    bool leaveOutWhatIsBelowSecrets() {
        CallPipeline calls(m_bus, m_request.start + messagingTimeout);
        for (const std::size_t node : m_apart)
            if (m_tree.nodes[node].failed || treatmentOf(m_tree.nodes[node].role) == Treatment::secure)
                ask::matches(calls, m_objects[node], {}, [this](const std::optional<std::vector<ObjectRef>>& below) {
                    if (!below) return;
                    for (const ObjectRef& object : *below)
                        if (const auto place = placeOf(object)) m_tree.nodes[*place].failed = true;
                });
        return calls.run() == CallPipeline::Outcome::answered;
    }

    void askNode(std::size_t index) {
        TextNode& node = m_tree.nodes[index];
        if (!TextRules::enters(node, std::nullopt)) return;
        const ObjectRef& object = m_objects[index];
        if (m_apart.contains(index)) {
            // Of a long field it takes its place to tell which part shows.
            ask::extents(m_calls, object, [this, index](std::optional<Rect> rect) { m_tree.nodes[index].rect = rect; });
            m_texts.read(index, object, TextRules::readingOf(node.role, true, false));
            if (TextRules::descends(node.role, 0)) askChildren(index);
            return;
        }
        node.unread = true;
        ask::text(m_calls, object, 0, TextRules::mostTextCharacters,
                  [this, index, object](std::optional<std::string> text) {
                      TextNode& answered = m_tree.nodes[index];
                      answered.unread = false;
                      answered.text = std::move(text);
                      if (!answered.text || answered.text->find(objectReplacement) != std::string::npos)
                          askChildren(index);
                      if (answered.text && !answered.text->empty()) return;
                      ask::role(m_calls, object, [this, index](std::optional<Role> role) {
                          if (role) m_tree.nodes[index].role = *role;
                      });
                      ask::name(m_calls, object, [this, index](std::optional<std::string> name) {
                          m_tree.nodes[index].name = std::move(name);
                      });
                  });
    }

    void askChildren(std::size_t index) {
        ask::children(m_calls, m_objects[index], [this, index](const std::optional<std::vector<ObjectRef>>& children) {
            if (!children) return;
            for (const ObjectRef& child : *children)
                if (const auto place = placeOf(child); place && *place > index)
                    m_tree.nodes[*place].parent = static_cast<int>(index);
        });
    }

    std::optional<std::size_t> placeOf(const ObjectRef& object) const {
        const auto found = m_places.find(elementOf(object).reference);
        if (found == m_places.end()) return std::nullopt;
        return found->second;
    }

    AtspiBus& m_bus;
    const TextRequest& m_request;
    TextTree m_tree;
    CallPipeline m_calls;
    NodeTexts m_texts;
    std::vector<ObjectRef> m_objects;
    std::unordered_map<std::string, std::size_t> m_places;
    std::unordered_set<std::size_t> m_apart;
};

} // namespace

MatchesAnswer readByMarks(AtspiBus& bus, const TextRequest& request) {
    return InlineReader(bus, request).read();
}

} // namespace nomara::atspi
