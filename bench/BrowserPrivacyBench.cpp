// What it costs to be sure of six browser windows at every look: what has been proved is remembered, against asking
// anew each time. Counts the calls on the accessibility bus; needs a virtual desktop.

#include "Quillshade/windows/BrowserPrivacy.h"
#include "Quillshade/windows/CaptureDiagnostics.h"
#include "bench/Measure.h"
#include "core/base/Clock.h"
#include "platform/linux/atspi/AtspiAccessibility.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/x11/X11WindowServer.h"
#include "tests/desktop/backends/DesktopProgram.h"

#include <chrono>
#include <cstdio>
#include <list>
#include <string>
#include <vector>

using namespace nomara;
using WindowPrivacy::Verdict;

namespace {

constexpr int windowCount = 6, rounds = 60, rivalRounds = 10;

struct Desk {
    AtspiAccessibility accessibility;
    X11WindowServer server;
    ApplicationIdentifier identifier;
    SystemClock clock;
    WindowInspector inspector{accessibility, server};
    RecorderConfig config, withSites;

    BrowserPrivacy privacy() {
        return {inspector, server, [this](const WindowOwner& owner) { return identifier.identify(owner); }, clock};
    }
};

int allowed(const WindowPrivacy::Verdicts& verdicts) {
    int count = 0;
    for (const auto& [window, verdict] : verdicts)
        if (verdict == Verdict::allow) ++count;
    return count;
}

struct Cost {
    std::vector<double> times;
    double calls = 0, reads = 0; ///< per round
};

template <typename Round>
Cost measure(Desk& desk, int count, Round round) {
    Cost cost;
    const auto calls = desk.accessibility.callsSent();
    const auto reads = CaptureDiagnostics::counters().urlReads;
    for (int i = 0; i < count; ++i)
        cost.times.push_back(bench::timed(round));
    cost.calls = double(desk.accessibility.callsSent() - calls) / count;
    cost.reads = double(CaptureDiagnostics::counters().urlReads - reads) / count;
    return cost;
}

void print(const char* what, const Cost& cost) {
    std::printf("%-44s %7.2f ms %7.2f ms %9.1f %7.1f\n", what, bench::percentile(cost.times, 0.5) * 1e3,
                bench::percentile(cost.times, 0.95) * 1e3, cost.calls, cost.reads);
}

} // namespace

int main() {
    const std::string folder = newFolder();
    const auto open = [&](const std::string& name, bool newWindow) {
        const std::string file = folder + "/" + name + ".html";
        writeFile(file, "<!doctype html><title>" + name + "</title><p>A page named " + name + ".");
        std::vector<std::string> command{"chromium",
                                         "--no-sandbox",
                                         "--disable-gpu",
                                         "--force-renderer-accessibility",
                                         "--no-first-run",
                                         "--disable-background-networking",
                                         "--disable-sync",
                                         "--password-store=basic",
                                         "--password-store=basic",
                                         "--user-data-dir=" + folder + "/profile"};
        if (newWindow) command.emplace_back("--new-window");
        command.push_back("file://" + file);
        return command;
    };
    Desk desk;
    desk.withSites.excludedSites = {"excluded.example"};
    std::list<DesktopProgram> browser;
    for (int i = 0; i < windowCount; ++i) {
        browser.emplace_back(open("window" + std::to_string(i), true));
        // The first call starts the program; the others hand it their page.
        const bool shown = waitUntil(
            [&] {
                BrowserPrivacy fresh = desk.privacy();
                return allowed(fresh.verdicts(fresh.visibleWindows(), std::nullopt, desk.clock.uptime(),
                                              desk.config)) == i + 1;
            },
            std::chrono::seconds(60));
        if (!shown) {
            std::printf("Window %d never proved itself.\n", i);
            return 1;
        }
    }

    BrowserPrivacy privacy = desk.privacy();
    const auto look = [&] {
        return allowed(privacy.verdicts(privacy.visibleWindows(), std::nullopt, desk.clock.uptime(), desk.config));
    };
    const auto lookForSites = [&] {
        return allowed(privacy.verdicts(privacy.visibleWindows(), std::nullopt, desk.clock.uptime(), desk.withSites));
    };
    const Cost first = measure(desk, 1, look);
    const Cost proved = measure(desk, rounds, look);
    const Cost sites = measure(desk, rounds, lookForSites);
    const Cost anew = measure(desk, rivalRounds, [&] {
        BrowserPrivacy fresh = desk.privacy();
        fresh.verdicts(fresh.visibleWindows(), std::nullopt, desk.clock.uptime(), desk.config);
    });
    // What every look at any front window costs, proved or not.
    const Cost front = measure(desk, rounds, [&] {
        desk.inspector.focusIsSecure(browser.front().pid());
        desk.inspector.snapshot(browser.front().pid(), desk.inspector.onScreen());
    });
    browser.emplace_back(open("another", false));
    const bool tabShown = waitUntil([&] {
        for (const ScreenWindow& window : privacy.visibleWindows())
            if (window.title && window.title->starts_with("another")) return true;
        return false;
    });
    const Cost tab = measure(desk, 1, look);
    const Cost afterwards = measure(desk, 1, look);

    std::printf("Grading %d windows of a Chromium.\n\n", windowCount);
    std::printf("%-44s %10s %10s %9s %7s\n", "a look at", "median", "p95", "calls", "reads");
    print("six windows never seen", first);
    print("six proved windows", proved);
    print("six proved windows while sites are excluded", sites);
    print("six windows, asked anew each time", anew);
    print("a new tab in one of them", tab);
    print("the same again", afterwards);
    print("the front window's focus, title and place", front);
    const bool quiet = proved.calls == 0 && afterwards.calls == 0;
    const bool noRead = tabShown && tab.reads == 0;
    const bool oneRead = sites.reads <= windowCount;
    std::printf("\nshare of asking anew, time       %.4f\n",
                bench::percentile(proved.times, 0.5) / bench::percentile(anew.times, 0.5));
    std::printf("no call for what is proved       %s\n", quiet ? "met" : "NOT MET");
    std::printf("no read for a new tab            %s\n", noRead ? "met" : "NOT MET");
    std::printf("one read a window for sites      %s\n", oneRead ? "met" : "NOT MET");
    return quiet && noRead && oneRead ? 0 : 1;
}
