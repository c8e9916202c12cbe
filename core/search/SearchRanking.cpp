#include "core/search/SearchRanking.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <unordered_map>
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

/// The groups of one window, by the times of their representatives. Those lie ten minutes apart, so that a row is near
/// three of them at most.
class WindowGroups {
public:
    /// The group that was made first of those near enough; absent for none.
    std::optional<std::size_t> find(Date timestamp) const {
        std::optional<std::size_t> first;
        for (auto group = m_byTime.lower_bound(timestamp.seconds - sameMomentSeconds);
             group != m_byTime.end() && group->first <= timestamp.seconds + sameMomentSeconds; ++group)
            if (std::abs(group->first - timestamp.seconds) < sameMomentSeconds && (!first || group->second < *first))
                first = group->second;
        return first;
    }
    void add(Date timestamp, std::size_t group) { m_byTime.emplace(timestamp.seconds, group); }

private:
    std::map<double, std::size_t> m_byTime;
};

} // namespace

std::string windowKey(const std::optional<std::string>& appBundleID, const std::optional<std::string>& windowTitle) {
    // Absent and empty differ, and no text runs into the next one.
    std::string key;
    for (const auto* text : {&appBundleID, &windowTitle}) {
        key += *text ? std::to_string((*text)->size()) : "-";
        key += ':';
        if (*text) key += **text;
    }
    return key;
}

std::vector<Group> folded(std::vector<Row>&& rows) {
    std::vector<Group> groups;
    std::unordered_map<std::string, WindowGroups> windows;
    for (Row& row : rows) {
        WindowGroups& window = windows[row.window];
        if (const auto group = window.find(row.timestamp)) {
            ++groups[*group].count;
        } else {
            window.add(row.timestamp, groups.size());
            groups.push_back({std::move(row), 1});
        }
    }
    return groups;
}

double score(const Group& group, Date now) {
    const double age = std::max(now - group.representative.timestamp, 0.0);
    const double recency = std::exp(age / -daySeconds / recencyDays) * recencyShare + oldestShare;
    const double repetition = std::log(static_cast<double>(group.count)) * repetitionShare + 1.0;
    return repetition * (std::max(group.representative.relevance, leastRelevance) * recency);
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
