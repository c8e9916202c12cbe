#include "core/search/SearchRanking.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace nomara::SearchRanking {

namespace {

constexpr double sameMomentSeconds = 600;
constexpr double daySeconds = 86400;
constexpr double recencyDays = 7;
constexpr double recencyShare = 0.4;
constexpr double oldestShare = 0.6;
constexpr double repetitionShare = 0.05;
/// In a memory where nearly every frame has the word, its relevance rounds to nothing; this keeps the factors at work.
constexpr double leastRelevance = 0.0001;

bool belongs(const Group& group, const FrameSummary& row) {
    const FrameSummary& seen = group.representative;
    return std::abs(seen.timestamp - row.timestamp) < sameMomentSeconds && seen.windowTitle == row.windowTitle &&
           seen.appBundleID == row.appBundleID;
}

} // namespace

void addRow(std::vector<Group>& groups, FrameSummary&& row, double relevance) {
    const auto group =
        std::find_if(groups.begin(), groups.end(), [&row](const Group& candidate) { return belongs(candidate, row); });
    if (group == groups.end()) {
        groups.push_back({std::move(row), relevance, 1});
    } else {
        ++group->count;
    }
}

double score(const Group& group, Date now) {
    const double age = std::max(now - group.representative.timestamp, 0.0);
    const double recency = std::exp(age / -daySeconds / recencyDays) * recencyShare + oldestShare;
    const double repetition = std::log(static_cast<double>(group.count)) * repetitionShare + 1.0;
    return repetition * (std::max(group.relevance, leastRelevance) * recency);
}

void sortByScore(std::vector<Group>& groups, Date now) {
    std::vector<std::pair<double, std::size_t>> order;
    order.reserve(groups.size());
    for (std::size_t i = 0; i < groups.size(); ++i)
        order.emplace_back(score(groups[i], now), i);
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<Group> sorted;
    sorted.reserve(groups.size());
    for (const auto& place : order)
        sorted.push_back(std::move(groups[place.second]));
    groups = std::move(sorted);
}

} // namespace nomara::SearchRanking
