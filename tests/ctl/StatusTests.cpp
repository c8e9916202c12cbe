#include "quillshadectl/SessionBus.h"
#include "tests/ctl/CtlTest.h"

#include <array>
#include <csignal>
#include <memory>
#include <thread>

#include <sys/wait.h>
#include <systemd/sd-bus.h>

namespace nomara::testing {

namespace {

/// A session bus of the test's own, in the environment while this lives.
class PrivateBus {
public:
    PrivateBus() {
        std::array<int, 2> address{};
        EXPECT_EQ(pipe(address.data()), 0);
        m_process = fork();
        if (m_process == 0) {
            dup2(address[1], STDOUT_FILENO);
            execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address", nullptr);
            _exit(127);
        }
        close(address[1]);
        std::string text;
        for (char character; read(address[0], &character, 1) == 1 && character != '\n';)
            text += character;
        close(address[0]);
        EXPECT_FALSE(text.empty()) << "dbus-daemon did not start";
        setenv("DBUS_SESSION_BUS_ADDRESS", text.c_str(), 1);
    }
    ~PrivateBus() {
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

private:
    pid_t m_process = -1;
};

/// Stands for the running program: answers Status with a text, or never where the text is absent.
class RunningProgram {
public:
    explicit RunningProgram(std::optional<std::string> answer) : m_answer(std::move(answer)) {
        sd_bus* bus = nullptr;
        EXPECT_GE(sd_bus_open_user(&bus), 0);
        m_bus.reset(bus);
        EXPECT_GE(sd_bus_add_object(bus, nullptr, "/com/brindlewick/Quillshade", handle, this), 0);
        EXPECT_GE(sd_bus_request_name(bus, "com.brindlewick.Quillshade", 0), 0);
        m_thread = std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested())
                if (sd_bus_process(m_bus.get(), nullptr) == 0) sd_bus_wait(m_bus.get(), 20'000);
        });
    }

private:
    static int handle(sd_bus_message* message, void* self, sd_bus_error* error) {
        const auto& answer = static_cast<RunningProgram*>(self)->m_answer;
        if (sd_bus_message_is_method_call(message, "com.brindlewick.Quillshade1", "Status") == 0) return 0;
        if (!answer) return 1;
        if (*answer == "error") return sd_bus_error_set_const(error, "org.example.Broken", "It broke");
        return sd_bus_reply_method_return(message, "s", answer->c_str());
    }

    const std::optional<std::string> m_answer;
    std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)> m_bus{nullptr, sd_bus_flush_close_unref};
    std::jthread m_thread; // last: it ends before what it uses
};

struct CtlStatus : CtlTest {
    PrivateBus bus;

    nlohmann::json report() const {
        return {{"version", "0.1.0"},
                {"pid", 4711},
                {"dataDirectory", data.folder()},
                {"status", "Recording text only"},
                {"recording", true},
                {"textOnly", true},
                {"detail", nullptr},
                {"skipReason", "none"},
                {"policy", "textOnly"},
                {"accessibility", {{"available", true}}},
                {"databaseDamaged", false},
                {"frontApplication", {{"pid", 12}, {"id", "org.example.Editor"}, {"name", "Editor"}}},
                {"lastSaved", {{"id", 17}, {"timestamp", 1'699'999'940}, {"appName", "Editor"}}}};
    }
};

TEST_F(CtlStatus, PrintsWhatTheRunningProgramSays) {
    {
        const RunningProgram program(report().dump());
        const Answer answer = run({"status"});
        EXPECT_EQ(answer.code, 0) << answer.err;
        EXPECT_EQ(answer.out, "Quillshade 0.1.0 is running (process 4711).\n"
                              "Status         Recording text only\n"
                              "In front       Editor (org.example.Editor)\n"
                              "Accessibility  Available\n"
                              "Data folder    " +
                                  data.folder().string() +
                                  "\n"
                                  "Last saved     #17  Today 22:12  Editor\n");
        EXPECT_EQ(run({"status", "--json"}).json()["running"], true);
        EXPECT_EQ(run({"status", "--data-dir", data.folder() / "." / ""}).code, 0);
    }
    auto troubled = report();
    troubled["detail"] = "Not recording \x1b[31mprivate browser windows";
    troubled["skipReason"] = "privateWindow";
    troubled["accessibility"] = {{"available", false}, {"reason", "There is no accessibility bus."}};
    troubled["databaseDamaged"] = true;
    troubled["displays"] = nlohmann::json::parse(R"([
        {"id":1,"name":"HDMI-1","width":1920,"height":1080,"active":true,"streaming":true,"lastLook":"windowsMoving",
         "lookedAt":1699999940},
        {"id":2,"name":"DP-2","width":1280,"height":800.5,"active":false,"streaming":false,"lastLook":"none",
         "lookedAt":null}, 7])");
    troubled["openSegments"] = {"segments/2023-11-14/1-1.mp4"};
    troubled["lastPicture"] = {{"id", 16}, {"displayID", 1}, {"timestamp", 1'699'999'940}};
    troubled["settings"] = nlohmann::json::parse(
        R"({"file":"/x","problems":["The setting a can't be read.",7],"unknownApplications":["org.foo"]})");
    troubled["storeTrouble"] = "The memory can't be written to.";
    troubled["memoryBegun"] = 1'699'999'940;
    troubled["frontApplication"] = troubled["lastSaved"] = nullptr;
    const RunningProgram program(troubled.dump());
    const std::string out = run({"status"}).out;
    for (const char* part :
         {"Detail         Not recording \xEF\xBF\xBD[31mprivate browser windows\n",
          "Last look      Stored nothing: the front window is a private one.\n",
          "Accessibility  Not available: There is no accessibility bus.\n",
          "Display        HDMI-1, 1920×1080, in use, pictures taken; last look Today 22:12: stored nothing, a window",
          "22:12: stored nothing, a window that must be hidden had just moved, come or gone\n",
          "Display        DP-2, 1280×800, no pictures taken\n", "Being written  segments/2023-11-14/1-1.mp4\n",
          "Settings       The setting a can't be read.\n",
          "Not known      org.foo, of excludedApps; quillshade --list-apps", "Memory         Opened anew Today 22:12",
          "Storage        The memory can't be written to.\n", "Last picture   #16  Today 22:12\n", "Damaged",
          "Last saved     Nothing yet"})
        EXPECT_NE(out.find(part), std::string::npos) << part << "\n" << out;
    EXPECT_NE(out.find("In front       No window that the window manager names"), std::string::npos) << out;

    const Answer elsewhere = run({"status", "--data-dir", data.root()});
    EXPECT_EQ(elsewhere.code, 1);
    EXPECT_NE(elsewhere.out.find("is not running on " + data.root().string()), std::string::npos) << elsewhere.out;
}

TEST_F(CtlStatus, TellsWhyPicturesWaitToBeRead) {
    const struct {
        const char* policy;
        nlohmann::json reading;
        const char* part;
    } rows[] = {
        {"normal", {{"available", true}, {"pending", 0}}, "Reading        Nothing waits to be read\n"},
        {"normal",
         {{"available", true}, {"pending", 2}, {"allowed", true}, {"running", true}},
         "Reading        2 pictures wait to be read: one after another now\n"},
        {"normal",
         {{"available", true}, {"pending", 1}, {"allowed", true}},
         "Reading        1 picture waits to be read: soon, once the video is complete\n"},
        {"battery",
         {{"available", true}, {"pending", 12}, {"allowed", false}},
         "12 pictures wait to be read: not while the computer runs on its battery\n"},
        {"textOnly", {{"available", true}, {"pending", 12}}, "read: not while text alone is recorded\n"},
        {"thermal", {{"available", true}, {"pending", 12}}, "read: not while the computer is hot\n"},
        {"battery",
         {{"available", false}, {"pending", 12}, {"problem", "Install the data."}},
         "Reading        Not available (12 pictures wait): Install the data.\n"},
        {"normal", {{"available", true}, {"problem", "No Turkish."}}, "Languages      No Turkish.\n"},
    };
    for (const auto& row : rows) {
        auto told = report();
        told["policy"] = row.policy;
        told["reading"] = row.reading;
        const RunningProgram program(told.dump());
        const std::string out = run({"status"}).out;
        EXPECT_NE(out.find(row.part), std::string::npos) << row.part << "\n" << out;
    }
}

TEST_F(CtlStatus, TellsWhyItHasNoAnswer) {
    const Answer alone = run({"status"});
    EXPECT_EQ(alone.code, 1);
    EXPECT_EQ(alone.out, "Quillshade is not running in this session.\n");
    EXPECT_EQ(run({"status", "--json"}).json()["running"], false);

    const struct {
        const char* answer;
        const char* part;
    } rows[]{
        {"error", "It broke"},
        {"no JSON", "isn't understood"},
        {"[1]", "isn't understood"},
    };
    for (const auto& row : rows) {
        const RunningProgram program(row.answer);
        const Answer answer = run({"status"});
        EXPECT_EQ(answer.code, 2);
        EXPECT_NE(answer.err.find(row.part), std::string::npos) << answer.err;
    }
    {
        // Members of another kind than expected are passed over.
        const RunningProgram program(R"({"pid":"x","status":3,"accessibility":[],"lastSaved":{"timestamp":"now"}})");
        EXPECT_EQ(run({"status"}).code, 0);
    }

    {
        const RunningProgram hung(std::nullopt);
        EXPECT_THROW(ctl::askRunningProgram(50'000), ctl::Fault);
    }

    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    const Answer noBus = run({"status"});
    EXPECT_EQ(noBus.code, 2);
    EXPECT_NE(noBus.err.find("session bus"), std::string::npos) << noBus.err;
}

} // namespace

} // namespace nomara::testing
