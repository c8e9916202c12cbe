#pragma once

#include "core/text/ExactLines.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace nomara {

/// Remembers which lines were seen lately in which context, and gives back only the others: a screen mostly repeats
/// itself, and a repeated line stays findable through the frame that had it first. Lines that fold to the same text are
/// the same line. Callable from any thread; nothing is kept on disk.
class LineDeduper {
public:
    LineDeduper(std::size_t maxContexts, std::size_t maxLinesPerContext, double contextLifetimeSeconds);

    /// The lines that weren't remembered in `context`, in their order; they are from now on. `now`: in seconds, by a
    /// clock that nobody sets back.
    std::vector<std::string> newLines(const std::vector<std::string>& lines, const std::string& context, double now);
    /// The same of lines that were read from a picture, and so may be cut or have wrong letters: without those that a
    /// line given to the other operation already says.
    std::vector<std::string> newReadLines(const std::vector<std::string>& lines, const std::string& context,
                                          double now);
    /// These weren't stored after all.
    void forget(const std::vector<std::string>& lines, const std::string& context);
    void reset();

private:
    static constexpr std::size_t mostExactBytes = 131'072; // some screens of text, for each context
    struct Context {
        std::unordered_set<std::uint64_t> seen;
        std::deque<std::uint64_t> order; // the same hashes, oldest first
        ExactLines exact{mostExactBytes};
        double lastUsed = 0;
    };

    Context& contextAt(const std::string& name, double now);
    std::vector<std::string> take(Context& known, const std::vector<std::string>& lines, bool areRead);

    void evict(double now, const std::string& inUse);

    std::mutex m_lock; // guards m_contexts
    std::unordered_map<std::string, Context> m_contexts;
    const std::size_t m_maxContexts;
    const std::size_t m_maxLinesPerContext;
    const double m_contextLifetime;
};

} // namespace nomara
