#pragma once

#include "core/records/Frames.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// Folds rows of the same window into one and ranks what is left. A window left open yields hundreds of almost equal
/// frames; without this they would be all there is to see.
/// Pure; callable from any thread.
namespace SearchRanking {

struct Group {
    FrameSummary representative; ///< the first row that fell into it
    double relevance = 0;        ///< higher is better
    std::int64_t count = 1;      ///< rows folded into it
};

/// Puts the row into the first group whose representative shows the same window within ten minutes, or into a group of
/// its own behind the others. Text isn't compared.
void addRow(std::vector<Group>& groups, FrameSummary&& row, double relevance);

/// Relevance, lowered by age to no less than 60 % (with a time constant of a week), and raised a little by repetition.
double score(const Group& group, Date now);

/// Best first; groups of equal score keep their order.
void sortByScore(std::vector<Group>& groups, Date now);

} // namespace SearchRanking

} // namespace nomara
