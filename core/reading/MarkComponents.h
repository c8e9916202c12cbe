#pragma once

#include "core/reading/EdgeMarks.h"

#include <cstddef>
#include <vector>

namespace nomara {

/// Neighbouring strokes of one row, from the first to behind the last.
struct StrokeRun {
    int y = 0;
    int left = 0;
    int right = 0;
};

/// Strokes that hang together: near each other in a row, or one above the other.
class MarkComponents {
public:
    /// Strokes of a row belong together where at most `gap` pixels without a border lie between them.
    MarkComponents(const EdgeMarks& marks, int gap);

    std::size_t count() const { return m_starts.size() - 1; }
    /// The runs of one component, from the top.
    const StrokeRun* begin(std::size_t component) const { return m_runs.data() + m_starts[component]; }
    const StrokeRun* end(std::size_t component) const { return m_runs.data() + m_starts[component + 1]; }

private:
    std::vector<StrokeRun> m_runs;
    std::vector<std::size_t> m_starts; // of each component's runs, and of what would come behind the last
};

} // namespace nomara
