#include "tests/desktop/backends/AtspiTest.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>

#include <systemd/sd-bus.h>

namespace nomara {
namespace {

using AtspiFailure = AtspiTest;
using Clock = std::chrono::steady_clock;

/// The messaging timeout, and what a busy machine may add to it.
constexpr double longestWaitSeconds = 0.3 + 0.15;

double secondsFor(const std::function<void()>& operation) {
    const auto start = Clock::now();
    operation();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The process that serves the accessibility bus, with its daemon as a child of it; 0 where there is none.
pid_t accessibilityService() {
    sd_bus* opened = nullptr;
    if (sd_bus_open_user(&opened) < 0) return 0;
    const std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)> bus(opened, sd_bus_flush_close_unref);
    sd_bus_creds* creds = nullptr;
    if (sd_bus_get_name_creds(bus.get(), "org.a11y.Bus", SD_BUS_CREDS_PID, &creds) < 0) return 0;
    pid_t pid = 0;
    sd_bus_creds_get_pid(creds, &pid);
    sd_bus_creds_unref(creds);
    return pid;
}

/// Another value for a variable of the environment, until this goes away.
class ChangedVariable {
public:
    ChangedVariable(const char* name, const char* value) : m_name(name) {
        if (const char* before = std::getenv(name)) m_before = before;
        setenv(name, value, 1);
    }
    ~ChangedVariable() {
        if (m_before)
            setenv(m_name, m_before->c_str(), 1);
        else
            unsetenv(m_name);
    }
    ChangedVariable(const ChangedVariable&) = delete;
    ChangedVariable& operator=(const ChangedVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_before;
};

TEST_F(AtspiFailure, HungProgramCostsOneTimeoutAnOperation) {
    const DesktopProgram hung({"zenity", "--password", "--title=Hung"});
    const DesktopProgram other({"zenity", "--info", "--title=Other", "--text=other text"});
    const auto window = windowShowing(hung, "Type your password");
    ASSERT_TRUE(window);
    ASSERT_TRUE(windowShowing(other, "other text"));

    hung.signal(SIGSTOP);
    std::optional<AccessibleWindow> front;
    WindowText text;
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"focus", [&] { accessibility.focusIsSecure(hung.pid()); }},
        {"front window", [&] { front = accessibility.frontWindow(hung.pid()); }},
        {"windows", [&] { accessibility.windows(hung.pid()); }},
        {"text", [&] { text = accessibility.text(window->element, window->frame, patientLimits); }},
        {"address", [&] { accessibility.documentAddress(window->element); }},
        {"focus, for the second time", [&] { accessibility.focusIsSecure(hung.pid()); }},
    };
    for (const auto& [what, operation] : operations)
        EXPECT_LE(secondsFor(operation), longestWaitSeconds) << what;
    EXPECT_FALSE(front);
    EXPECT_TRUE(text.text.empty());
    EXPECT_FALSE(text.finished);
    EXPECT_TRUE(accessibility.isTrusted()) << "one program that hangs is not the service's fault";

    const auto otherWindow = windowShowing(other, "other text");
    ASSERT_TRUE(otherWindow) << "the others are read as before";
    hung.signal(SIGCONT);
    EXPECT_TRUE(windowShowing(hung, "Type your password"));
}

TEST_F(AtspiFailure, PasswordFieldIsSeenWhateverElseHangs) {
    const DesktopProgram hung({"zenity", "--info", "--title=Hung", "--text=hangs"});
    ASSERT_TRUE(windowShowing(hung, "hangs"));
    hung.signal(SIGSTOP);
    const DesktopProgram dialog({"zenity", "--password", "--title=Secret"});
    AtspiAccessibility late; // was not there when the field took the focus
    ASSERT_TRUE(waitUntil([&] { return accessibility.frontWindow(dialog.pid()).has_value(); }));
    ASSERT_EQ(runCommand({"xdotool", "type", "h"}), 0); // of some toolkits an empty field tells nothing
    ASSERT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::yes; }));
    for (int look = 0; look < 20; ++look) {
        EXPECT_EQ(accessibility.focusIsSecure(0), SecureFocus::yes) << look;
        EXPECT_EQ(late.focusIsSecure(0), SecureFocus::yes) << look;
    }
    hung.signal(SIGCONT);
}

TEST_F(AtspiFailure, ProgramThatEndsLeavesNothing) {
    std::optional<AccessibleWindow> window;
    pid_t pid = 0;
    {
        const DesktopProgram zenity({"zenity", "--info", "--text=short life"});
        window = windowShowing(zenity, "short life");
        ASSERT_TRUE(window);
        pid = zenity.pid();
    }
    EXPECT_TRUE(waitUntil([&] { return !accessibility.frontWindow(pid); }));
    EXPECT_TRUE(accessibility.text(window->element, window->frame, patientLimits).text.empty());
    EXPECT_FALSE(accessibility.documentAddress(window->element));
    EXPECT_TRUE(accessibility.text({"no reference"}, {}, patientLimits).text.empty());
}

TEST_F(AtspiFailure, WithoutASessionBusThereIsAReason) {
    auto bus = std::make_unique<ChangedVariable>("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/bus");
    AtspiAccessibility alone;
    EXPECT_FALSE(alone.isTrusted());
    EXPECT_NE(alone.unavailableReason().find("no session bus"), std::string::npos) << alone.unavailableReason();
    EXPECT_EQ(alone.focusIsSecure(0), SecureFocus::unknown);
    EXPECT_FALSE(alone.frontWindow(1));
    EXPECT_TRUE(alone.windows(1).empty());

    bus.reset();
    EXPECT_TRUE(waitUntil([&] { return alone.isTrusted(); })) << "a bus that comes later is found";
    EXPECT_EQ(alone.unavailableReason(), "");
}

TEST_F(AtspiFailure, ServiceThatDiesAndComesBackIsUsedAgain) {
    ASSERT_TRUE(accessibility.isTrusted());
    EXPECT_TRUE(accessibility.unavailableReason().empty());
    const pid_t service = accessibilityService();
    ASSERT_GT(service, 0);
    ASSERT_EQ(runCommand({"pkill", "-KILL", "-P", std::to_string(service)}), 0) << "its daemon";
    kill(service, SIGKILL);

    double longest = 0;
    bool reasoned = false;
    EXPECT_TRUE(waitUntil([&] {
        bool trusted = true;
        longest = std::max(longest, secondsFor([&] { trusted = accessibility.isTrusted(); }));
        reasoned = reasoned || (!trusted && !accessibility.unavailableReason().empty());
        return reasoned;
    })) << "a lost service is noticed, and told";
    // The session bus starts it again for whoever asks.
    EXPECT_TRUE(waitUntil([&] {
        bool trusted = false;
        longest = std::max(longest, secondsFor([&] { trusted = accessibility.isTrusted(); }));
        return trusted;
    }));
    EXPECT_LE(longest, 3 * longestWaitSeconds) << "the session bus, its answer, and the accessibility bus";
    const DesktopProgram zenity({"zenity", "--info", "--text=after the fall"});
    EXPECT_TRUE(windowShowing(zenity, "after the fall"));
}

} // namespace
} // namespace nomara
