#pragma once

#include "core/records/Frames.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Folds rows of the same window into one and ranks what is left. A window left open yields hundreds of almost equal
/// frames; without this they would be all there is to see.
/// Pure; callable from any thread.
namespace SearchRanking {

/// What folding looks at.
struct Row {
    RowID id = 0;
    Date timestamp;
    std::string window;   ///< of `windowKey`
    double relevance = 0; ///< higher is better
};

struct Group {
    Row representative;     ///< the first row that fell into it
    std::int64_t count = 1; ///< rows folded into it
};

/// The same for two frames of one window: of the same application, known or not, with the same title.
std::string windowKey(const std::optional<std::string>& appBundleID, const std::optional<std::string>& windowTitle);

/// Folds each row into the first group whose representative shows the same window within ten minutes; otherwise it
/// begins a group of its own behind the others. Text isn't compared.
std::vector<Group> folded(std::vector<Row>&& rows);

/// Relevance, lowered by age to no less than 60 % (with a time constant of a week), and raised a little by repetition.
double score(const Group& group, Date now);

/// Best first; groups of equal score keep their order.
void sortByScore(std::vector<Group>& groups, Date now);

} // namespace SearchRanking

} // namespace nomara
