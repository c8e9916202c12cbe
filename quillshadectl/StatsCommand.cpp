#include "core/base/Calendar.h"
#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/Json.h"
#include "quillshadectl/Listing.h"
#include "quillshadectl/Memory.h"
#include "quillshadectl/TerminalText.h"
#include "quillshadectl/TimePoint.h"

#include <array>
#include <cstdio>
#include <ostream>

namespace nomara::ctl {

namespace {

constexpr std::size_t mostApplications = 10;

struct Report {
    StorageBreakdown storage;
    std::vector<DayStats> days;
    std::vector<AppCount> applications;
};

Report read(const Context& context) {
    MemoryStore memory = openMemory(context.folder, context.clock);
    const Date firstDay = Calendar::addingDays(Calendar::startOfDay(context.now), 1 - context.line.days);
    Report report{memory.storageBreakdown(), memory.stats(Calendar::dayKey(firstDay), Calendar::dayKey(context.now)),
                  memory.appCounts(firstDay, Calendar::addingDays(Calendar::startOfDay(context.now), 1))};
    if (report.applications.size() > mostApplications)
        report.applications.erase(report.applications.begin() + mostApplications, report.applications.end());
    return report;
}

void printJson(const Context& context, const Report& report) {
    const StorageBreakdown& storage = report.storage;
    Json days = Json::array(), applications = Json::array();
    for (const auto& day : report.days)
        days.push_back({{"day", day.day},
                        {"framesSaved", day.framesSaved},
                        {"framesSkipped", day.framesSkipped},
                        {"ocrRuns", day.ocrRuns},
                        {"cpuSeconds", day.cpuSeconds},
                        {"energyJoules", day.energyJoules},
                        {"bytesWritten", day.bytesWritten}});
    for (const auto& application : report.applications)
        applications.push_back({{"appBundleID", JsonText::text(application.bundleID)},
                                {"appName", JsonText::text(application.name)},
                                {"frames", application.count}});
    JsonText::printObject(context.out, {{"dataDirectory", JsonText::text(context.folder.string())},
                                        {"storage",
                                         {{"frames", storage.frameCount},
                                          {"textOnlyFrames", storage.textOnlyCount},
                                          {"databaseBytes", storage.databaseBytes},
                                          {"segments", storage.segmentCount},
                                          {"segmentBytes", storage.segmentBytes},
                                          {"oldest", storage.oldest ? Json(storage.oldest->seconds) : Json()}}},
                                        {"days", days},
                                        {"applications", applications}});
}

void printDays(const Context& context, const std::vector<DayStats>& days) {
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), "%-10s %10s %10s %11s %9s %10s", "Day", "Saved", "Skipped", "Recognized",
                  "CPU", "Written");
    context.out << '\n' << TerminalText::styled(text.data(), TerminalText::Look::aside, context.colored) << '\n';
    for (const auto& day : days) {
        std::snprintf(text.data(), text.size(), " %10s %10s %11s %7.1f s %10s",
                      FrameText::grouped(day.framesSaved).c_str(), FrameText::grouped(day.framesSkipped).c_str(),
                      FrameText::grouped(day.ocrRuns).c_str(), day.cpuSeconds,
                      FrameText::bytes(day.bytesWritten).c_str());
        context.out << TerminalText::singleLine(day.day) << text.data() << '\n';
    }
}

std::string textOnlyShare(const StorageBreakdown& storage) {
    if (storage.textOnlyCount == 0) return "";
    if (storage.textOnlyCount == storage.frameCount) return ", all text only";
    return ", " + FrameText::grouped(storage.textOnlyCount) + " of them text only";
}

void print(const Context& context, const Report& report) {
    const StorageBreakdown& storage = report.storage;
    const Listing list(context);
    list.add("Data folder", context.folder.string());
    list.add("Frames", FrameText::grouped(storage.frameCount) + textOnlyShare(storage));
    list.add("Database", FrameText::bytes(storage.databaseBytes));
    if (storage.segmentCount > 0)
        list.add("Pictures", FrameText::bytes(storage.segmentBytes) + " in " +
                                 FrameText::grouped(storage.segmentCount) + " video segment" +
                                 (storage.segmentCount == 1 ? "" : "s"));
    list.add("Oldest frame", storage.oldest ? TimePoint::label(*storage.oldest, context.now) : "");
    if (!report.days.empty()) printDays(context, report.days);
    if (report.applications.empty()) return;
    context.out << '\n'
                << TerminalText::styled("    Frames  Application", TerminalText::Look::aside, context.colored) << '\n';
    for (const auto& application : report.applications) {
        const std::string count = FrameText::grouped(application.count);
        context.out << std::string(count.size() < 10 ? 10 - count.size() : 0, ' ') << count << "  "
                    << TerminalText::singleLine(application.name) << " ("
                    << TerminalText::singleLine(application.bundleID) << ")\n";
    }
}

} // namespace

int stats(Context& context) {
    const Report report = read(context);
    if (context.line.json)
        printJson(context, report);
    else
        print(context, report);
    return ExitCode::fine;
}

} // namespace nomara::ctl
