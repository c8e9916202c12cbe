#include "core/text/LineDeduper.h"

#include "core/base/Hash.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <utility>

namespace nomara {

namespace {

std::uint64_t hashOf(const std::string& line) {
    return fnv1a(TextNormalizer::normalize(line));
}

} // namespace

LineDeduper::LineDeduper(std::size_t maxContexts, std::size_t maxLinesPerContext, double contextLifetimeSeconds)
    : m_maxContexts(maxContexts), m_maxLinesPerContext(maxLinesPerContext), m_contextLifetime(contextLifetimeSeconds) {}

std::vector<std::string> LineDeduper::newLines(const std::vector<std::string>& lines, const std::string& context,
                                               double now) {
    const std::lock_guard lock(m_lock);
    Context& known = contextAt(context, now);
    known.exact.add(lines);
    auto fresh = take(known, lines, false);
    evict(now, context);
    return fresh;
}

std::vector<std::string> LineDeduper::newReadLines(const std::vector<std::string>& lines, const std::string& context,
                                                   double now) {
    const std::lock_guard lock(m_lock);
    auto fresh = take(contextAt(context, now), lines, true);
    evict(now, context);
    return fresh;
}

LineDeduper::Context& LineDeduper::contextAt(const std::string& name, double now) {
    const auto [entry, isNew] = m_contexts.try_emplace(name);
    Context& known = entry->second;
    if (!isNew && now - known.lastUsed > m_contextLifetime) {
        known.seen.clear();
        known.order.clear();
        known.exact.clear();
    }
    known.lastUsed = now;
    return known;
}

std::vector<std::string> LineDeduper::take(Context& known, const std::vector<std::string>& lines, bool areRead) {
    std::vector<std::string> fresh;
    for (const std::string& line : lines) {
        const std::uint64_t hash = hashOf(line);
        if (!known.seen.insert(hash).second) continue;
        known.order.push_back(hash);
        if (areRead && known.exact.knows(line)) continue;
        fresh.push_back(line);
    }
    // Half the memory goes at once, so that the trim doesn't run on every call.
    if (known.order.size() > m_maxLinesPerContext)
        while (known.order.size() > m_maxLinesPerContext / 2) {
            known.seen.erase(known.order.front());
            known.order.pop_front();
        }
    return fresh;
}

void LineDeduper::forget(const std::vector<std::string>& lines, const std::string& context) {
    const std::lock_guard lock(m_lock);
    const auto known = m_contexts.find(context);
    if (known == m_contexts.end()) return;
    for (const std::string& line : lines)
        if (const std::uint64_t hash = hashOf(line); known->second.seen.erase(hash) > 0)
            std::erase(known->second.order, hash);
}

void LineDeduper::reset() {
    const std::lock_guard lock(m_lock);
    m_contexts.clear();
}

// The context in use stays, also where what is older comes later.
void LineDeduper::evict(double now, const std::string& inUse) {
    std::erase_if(m_contexts, [&](const auto& entry) { return now - entry.second.lastUsed > m_contextLifetime; });
    const auto rank = [&](const auto& entry) { return std::pair(entry.first == inUse, entry.second.lastUsed); };
    while (m_contexts.size() > m_maxContexts)
        m_contexts.erase(std::min_element(m_contexts.begin(), m_contexts.end(),
                                          [&](const auto& a, const auto& b) { return rank(a) < rank(b); }));
}

} // namespace nomara
