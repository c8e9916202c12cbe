#include "core/search/SearchRanking.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

/// What folding means, a group at a time.
struct SimpleGroup {
    FrameSummary first;
    std::int64_t count;
};

void addSimply(std::vector<SimpleGroup>& groups, const FrameSummary& row) {
    for (SimpleGroup& group : groups) {
        if (group.first.appBundleID != row.appBundleID || group.first.windowTitle != row.windowTitle) continue;
        if (std::abs(group.first.timestamp - row.timestamp) >= 600) continue;
        ++group.count;
        return;
    }
    groups.push_back({row, 1});
}

} // namespace

TEST(SearchRanking, FoldsIntoTheSameGroupsAsAScanOfAllOfThem) {
    // Near in what their keys are made of.
    const std::optional<std::string> names[] = {std::nullopt, "", "a", "1:a", "a1:a", "-"};
    std::mt19937 random(5);
    for (const double step : {1.0, 150.0, 599.999'999, 600.0}) {
        std::vector<SearchRanking::Row> rows;
        std::vector<SimpleGroup> simple;
        for (RowID id = 1; id <= 3'000; ++id) {
            FrameSummary row{.id = id, .timestamp = Date{1.7e9 + static_cast<double>(random() % 60) * step}};
            row.appBundleID = names[random() % std::size(names)];
            row.windowTitle = names[random() % std::size(names)];
            addSimply(simple, row);
            rows.push_back({id, row.timestamp, SearchRanking::windowKey(row.appBundleID, row.windowTitle), 1});
        }
        const auto folded = SearchRanking::folded(std::move(rows));
        ASSERT_EQ(folded.size(), simple.size()) << step;
        for (std::size_t i = 0; i < folded.size(); ++i) {
            EXPECT_EQ(folded[i].representative.id, simple[i].first.id) << step;
            EXPECT_EQ(folded[i].count, simple[i].count) << step;
        }
    }
}

} // namespace nomara
