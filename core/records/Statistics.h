#pragma once

#include "core/records/Frames.h"

namespace nomara {

/// One stretch of foreground use.
struct ActivitySpan {
    RowID id = 0;
    Date start;
    Date end;
    std::optional<std::string> appBundleID;
    std::optional<std::string> appName;
    std::optional<std::string> project;
    std::optional<std::string> windowTitle;
    friend bool operator==(const ActivitySpan&, const ActivitySpan&) = default;
};

/// An addition to one day's counters.
struct StatsDelta {
    std::int64_t framesSaved = 0;
    std::int64_t framesSkipped = 0;
    std::int64_t ocrRuns = 0;
    double cpuSeconds = 0;
    double energyJoules = 0;
    std::int64_t bytesWritten = 0;
    friend bool operator==(const StatsDelta&, const StatsDelta&) = default;

    bool isEmpty() const { return *this == StatsDelta(); }
};

struct DayStats {
    std::string day;
    std::int64_t framesSaved = 0;
    std::int64_t framesSkipped = 0;
    std::int64_t ocrRuns = 0;
    double cpuSeconds = 0;
    double energyJoules = 0;
    std::int64_t bytesWritten = 0;
    friend bool operator==(const DayStats&, const DayStats&) = default;
};

/// Disk use, for display.
struct StorageBreakdown {
    std::int64_t segmentBytes = 0;
    std::int64_t segmentCount = 0;
    std::int64_t frameCount = 0;
    std::int64_t textOnlyCount = 0;
    std::int64_t databaseBytes = 0;
    std::optional<Date> oldest;
    friend bool operator==(const StorageBreakdown&, const StorageBreakdown&) = default;
};

/// The stored text about one day.
struct DaySummary {
    std::string text;
    std::string source;
    Date created;
    friend bool operator==(const DaySummary&, const DaySummary&) = default;
};

} // namespace nomara
