#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/Json.h"
#include "quillshadectl/Listing.h"
#include "quillshadectl/SessionBus.h"
#include "quillshadectl/TerminalText.h"
#include "quillshadectl/TimePoint.h"

#include <ostream>
#include <string_view>
#include <system_error>
#include <vector>

namespace nomara::ctl {

namespace {

namespace fs = std::filesystem;

/// Members of the report; one that is absent, or of another kind than expected, reads as nothing.
std::string text(const Json& object, const char* member) {
    const auto found = object.find(member);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool isTrue(const Json& object, const char* member) {
    const auto found = object.find(member);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

template <typename Number>
std::optional<Number> number(const Json& object, const char* member) {
    const auto found = object.find(member);
    if (found == object.end() || !found->is_number()) return std::nullopt;
    return found->get<Number>();
}

Json part(const Json& object, const char* member) {
    const auto found = object.find(member);
    return found != object.end() && found->is_object() ? *found : Json::object();
}

std::string skipSentence(const std::string& reason, const std::string& frontApplication) {
    const auto because = [](const std::string& why) { return "Stored nothing: " + why + "."; };
    if (reason.empty() || reason == "none") return "";
    if (reason == "excludedApp")
        return because((frontApplication.empty() ? "the front application" : frontApplication) + " is excluded");
    if (reason == "ownApp") return because("the front window is Quillshade's own");
    if (reason == "secureInput") return because("a password is being typed");
    if (reason == "unknownFocus") return "Storing titles alone: it can't be told whether a password is being typed.";
    if (reason == "privateWindow") return because("the front window is a private one");
    if (reason == "excludedSite") return because("the page in front belongs to an excluded website");
    if (reason == "unverifiedBrowser") return because("it couldn't be told whether the browser window is private");
    return because(reason);
}

std::string accessibilityText(const Json& accessibility) {
    if (isTrue(accessibility, "available")) return "Available";
    const std::string reason = text(accessibility, "reason");
    return reason.empty() ? "Not available" : "Not available: " + reason;
}

std::string applicationText(const Json& application) {
    const std::string name = text(application, "name"), id = text(application, "id");
    if (name.empty() || id.empty() || name == id) return name + (name == id ? "" : id);
    return name + " (" + id + ")";
}

FrameSummary lastSavedFrame(const Json& saved) {
    const auto optional = [&](const char* member) {
        const std::string value = text(saved, member);
        return value.empty() ? std::nullopt : std::optional(value);
    };
    FrameSummary frame;
    frame.id = number<RowID>(saved, "id").value_or(0);
    frame.timestamp = {number<double>(saved, "timestamp").value_or(0)};
    frame.appName = optional("appName");
    return frame;
}

std::string lastSavedText(const Context& context, const Json& saved) {
    if (saved.empty()) return "Nothing yet in this session";
    Context bare = context;
    bare.colored = false;
    return FrameText::heading(bare, lastSavedFrame(saved), 1);
}

std::string lookSentence(const std::string& result) {
    if (result == "stored") return "stored";
    if (result == "storedText") return "stored without a picture";
    if (result == "unchanged") return "stored nothing, nothing was new";
    if (result == "noImage") return "stored nothing, there was no picture yet";
    if (result == "staleImage") return "stored nothing, the picture may still have shown what was held back before";
    if (result == "heldBack") return "stored nothing, the front window must not be recorded";
    if (result == "windowsMoving") return "stored nothing, a window that must be hidden had just moved, come or gone";
    if (result == "failed") return "stored nothing, the log tells why";
    return "";
}

/// "HDMI-1, 1920×1080, in use, pictures taken; last look Today 14:03: stored".
std::string displayText(const Context& context, const Json& display) {
    const auto whole = [&](const char* member) {
        return std::to_string(number<std::int64_t>(display, member).value_or(0));
    };
    std::string line = text(display, "name") + ", " + whole("width") + "×" + whole("height");
    if (isTrue(display, "active")) line += ", in use";
    line += isTrue(display, "streaming") ? ", pictures taken" : ", no pictures taken";
    const std::string sentence = lookSentence(text(display, "lastLook"));
    if (const auto at = number<double>(display, "lookedAt"); at && !sentence.empty())
        line += "; last look " + TimePoint::label({*at}, context.now) + ": " + sentence;
    return line;
}

void printPictures(const Context& context, const Listing& list, const Json& report) {
    const auto displays = report.find("displays");
    if (displays != report.end() && displays->is_array())
        for (const Json& display : *displays)
            if (display.is_object()) list.add("Display", displayText(context, display));
    list.add("Trouble", text(report, "streamTrouble"));
    const auto segments = report.find("openSegments");
    if (segments != report.end() && segments->is_array())
        for (const Json& segment : *segments)
            if (segment.is_string()) list.add("Being written", segment.get<std::string>());
    const Json picture = part(report, "lastPicture");
    if (const auto id = number<RowID>(picture, "id"))
        list.add("Last picture", "#" + std::to_string(*id) + "  " +
                                     TimePoint::label({number<double>(picture, "timestamp").value_or(0)}, context.now));
}

std::string waitingReason(const Json& reading, const std::string& policy) {
    if (isTrue(reading, "running")) return "one after another now";
    if (isTrue(reading, "allowed")) return "soon, once the video is complete";
    if (policy == "battery" || policy == "lowBattery") return "not while the computer runs on its battery";
    if (policy == "lowPower") return "not while the power saver is on";
    if (policy == "thermal") return "not while the computer is hot";
    if (policy == "textOnly") return "not while text alone is recorded";
    return "later";
}

/// "12 pictures wait to be read: not while the computer runs on its battery".
void printReading(const Listing& list, const Json& report) {
    const Json reading = part(report, "reading");
    if (reading.empty()) return;
    const auto pending = number<std::int64_t>(reading, "pending").value_or(0);
    const std::string count = pending == 1 ? "1 picture waits" : std::to_string(pending) + " pictures wait";
    const std::string problem = text(reading, "problem");
    if (!isTrue(reading, "available")) return list.add("Reading", "Not available (" + count + "): " + problem);
    list.add("Reading", pending == 0 ? "Nothing waits to be read"
                                     : count + " to be read: " + waitingReason(reading, text(report, "policy")));
    list.add("Languages", problem);
}

std::vector<std::string> texts(const Json& object, const char* member) {
    std::vector<std::string> all;
    if (const auto found = object.find(member); found != object.end() && found->is_array())
        for (const Json& item : *found)
            if (item.is_string()) all.push_back(item.get<std::string>());
    return all;
}

void printSettings(const Listing& list, const Json& settings) {
    for (const std::string& problem : texts(settings, "problems"))
        list.add("Settings", problem);
    for (const std::string& application : texts(settings, "unknownApplications"))
        list.add("Not known", application + ", of excludedApps; quillshade --list-apps shows identifiers");
}

void print(const Context& context, const Json& report) {
    const auto process = number<std::int64_t>(report, "pid");
    context.out << "Quillshade " << TerminalText::singleLine(text(report, "version")) << " is running";
    if (process) context.out << " (process " << *process << ")";
    context.out << ".\n";
    const Json front = part(report, "frontApplication");
    const Listing list(context);
    list.add("Status", text(report, "status"));
    list.add("Detail", text(report, "detail"));
    list.add("Last look", skipSentence(text(report, "skipReason"), text(front, "name")));
    const auto recording = report.find("recording");
    const bool isNothingInFront = front.empty() && recording != report.end() && *recording == true;
    list.add("In front", isNothingInFront ? "No window that the window manager names; nothing is recorded meanwhile"
                                          : applicationText(front));
    list.add("Accessibility", accessibilityText(part(report, "accessibility")));
    printSettings(list, part(report, "settings"));
    list.add("Data folder", text(report, "dataDirectory"));
    if (const auto begun = number<double>(report, "memoryBegun"))
        list.add("Memory",
                 "Opened anew " + TimePoint::label({*begun}, context.now) + ", as it had been removed or replaced");
    list.add("Storage", text(report, "storeTrouble"));
    printPictures(context, list, report);
    printReading(list, report);
    if (isTrue(report, "databaseDamaged")) list.add("Database", "Damaged; nothing can be stored");
    list.add("Last saved", lastSavedText(context, part(report, "lastSaved")));
}

int notRunning(const Context& context, const std::string& sentence) {
    if (context.line.json)
        JsonText::printObject(context.out, {{"running", false}, {"detail", sentence}});
    else
        context.out << TerminalText::singleLine(sentence) << '\n';
    return ExitCode::nothing;
}

bool isSameFolder(const fs::path& one, const fs::path& other) {
    std::error_code error;
    return one == other || fs::equivalent(one, other, error);
}

} // namespace

int status(Context& context) {
    const auto answer = askRunningProgram();
    if (!answer) return notRunning(context, "Quillshade is not running in this session.");
    const Json report = Json::parse(*answer, nullptr, false);
    if (!report.is_object()) throw Fault("Quillshade gave an answer that isn't understood; is it of another version?");
    const std::string folder = text(report, "dataDirectory");
    if (context.line.dataDirectory && !isSameFolder(*context.line.dataDirectory, folder))
        return notRunning(context, "Quillshade is not running on " + context.line.dataDirectory->string() +
                                       "; the one in this session keeps its memory in " + folder + ".");
    if (context.line.json) {
        Json object{{"running", true}};
        object.update(report);
        JsonText::printObject(context.out, object);
    } else {
        print(context, report);
    }
    return ExitCode::fine;
}

} // namespace nomara::ctl
