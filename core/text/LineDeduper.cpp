#include "core/text/LineDeduper.h"

#include "core/base/Hash.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <utility>

namespace nomara {

LineDeduper::LineDeduper(std::size_t maxContexts, std::size_t maxLinesPerContext, double contextLifetimeSeconds)
    : m_maxContexts(maxContexts), m_maxLinesPerContext(maxLinesPerContext), m_contextLifetime(contextLifetimeSeconds) {}

std::vector<std::string> LineDeduper::newLines(const std::vector<std::string>& lines, const std::string& context,
                                               Date date) {
    const std::lock_guard lock(m_lock);
    const auto [entry, isNew] = m_contexts.try_emplace(context);
    Context& known = entry->second;
    if (isNew) known.lastUsed = date;
    if (date - known.lastUsed > m_contextLifetime) {
        known.seen.clear();
        known.order.clear();
    }
    std::vector<std::string> fresh;
    for (const std::string& line : lines) {
        const std::uint64_t hash = fnv1a(TextNormalizer::normalize(line));
        if (!known.seen.insert(hash).second) continue;
        known.order.push_back(hash);
        fresh.push_back(line);
    }
    // Half the memory goes at once, so that the trim doesn't run on every call.
    if (known.order.size() > m_maxLinesPerContext)
        while (known.order.size() > m_maxLinesPerContext / 2) {
            known.seen.erase(known.order.front());
            known.order.pop_front();
        }
    known.lastUsed = date;
    evict(date, context);
    return fresh;
}

void LineDeduper::reset() {
    const std::lock_guard lock(m_lock);
    m_contexts.clear();
}

// The context in use stays, whatever the wall clock has been set to since the others were.
void LineDeduper::evict(Date date, const std::string& inUse) {
    std::erase_if(m_contexts, [&](const auto& entry) { return date - entry.second.lastUsed > m_contextLifetime; });
    const auto rank = [&](const auto& entry) { return std::pair(entry.first == inUse, entry.second.lastUsed); };
    while (m_contexts.size() > m_maxContexts)
        m_contexts.erase(std::min_element(m_contexts.begin(), m_contexts.end(),
                                          [&](const auto& a, const auto& b) { return rank(a) < rank(b); }));
}

} // namespace nomara
