#include "Quillshade/app/AppModel.h"
#include "Quillshade/app/ControlService.h"
#include "Quillshade/app/MainThread.h"
#include "Quillshade/app/OwnProcess.h"
#include "Quillshade/app/RunningProgram.h"
#include "Quillshade/app/TerminationSignals.h"
#include "Quillshade/app/Texts.h"
#include "Quillshade/settings/SettingsCommands.h"
#include "Quillshade/store/FolderLock.h"
#include "Version.h"
#include "core/base/Paths.h"
#include "core/privacy/AppCatalog.h"
#include "platform/PlatformError.h"
#include "platform/linux/atspi/AtspiAccessibility.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/desktop/InstalledApplications.h"
#include "platform/linux/desktop/PreferredLanguages.h"
#include "platform/linux/files/DiskVolume.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "platform/linux/process/OwnProcessUsage.h"
#include "platform/linux/settings/IniPreferencesStore.h"
#include "platform/linux/tesseract/TesseractRecognizer.h"
#include "platform/linux/x11/X11DisplayStream.h"
#include "platform/linux/x11/X11InputActivity.h"
#include "platform/linux/x11/X11RunningApplications.h"
#include "platform/linux/x11/X11WindowServer.h"

#include <QCoreApplication>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <unistd.h>

namespace {

using namespace nomara;

constexpr int exitFailure = 1, exitUsage = 2;
constexpr const char* ownBundleID = "com.brindlewick.Quillshade";

struct Arguments {
    std::string dataDirectory;
    SettingsCommands settings;
    bool listsApplications = false;
    bool storesOnly = false;
};

void say(const std::string& sentence) {
    std::cerr << "quillshade: " << sentence << std::endl;
}

int fail(const std::string& sentence) {
    say(sentence);
    return exitFailure;
}

std::string alreadyRunning(unsigned process) {
    return "Quillshade is already running in this session (process " + std::to_string(process) + ")";
}

/// False where a command makes no sense; nothing is stored then.
bool tell(const SettingsCommands::Outcome& outcome) {
    for (const std::string& note : outcome.notes)
        say(note);
    if (!outcome.problem.empty()) say(outcome.problem + " Nothing was stored.");
    return outcome.problem.empty();
}

void sayUnwritable(const std::string& place) {
    say("The settings can't be written to " + place + "; they hold until Quillshade ends.");
}

int handOver(const SettingsCommands& commands, unsigned process) {
    const RunningProgram::Answer answer = RunningProgram::changeSettings(commands);
    if (!answer.failure.empty()) return fail(alreadyRunning(process) + ". " + answer.failure);
    if (!tell(answer.outcome)) return exitUsage;
    if (answer.isWritten)
        say(alreadyRunning(process) + " and has stored the settings in " + answer.place + ".");
    else
        sayUnwritable(answer.place);
    return answer.isWritten ? 0 : exitFailure;
}

// A display server that stands still, or a disk, could keep an orderly end waiting for good: it has this long, and a
// second signal cuts it short.
constexpr unsigned longestEndSeconds = 20;

void endInOrder() {
    static bool ending = false;
    if (std::exchange(ending, true)) _exit(exitFailure);
    std::signal(SIGALRM, [](int) { _exit(exitFailure); });
    alarm(longestEndSeconds);
    QCoreApplication::quit();
}

void sayWhatIsMissing(const AppSettings& settings) {
    if (!settings.onboardingCompleted())
        say("Setup needed: nothing is recorded until you allow it with --set onboardingCompleted=true.");
}

std::string describe(const SQLiteError& error) {
    const std::string file = NomaraPaths::databaseURL().string();
    if (error.isDamage())
        return "The memory database " + file +
               " is damaged or no database at all. It stays as it is; move it away to begin a new memory.";
    return "The memory database " + file + " can't be opened: " + error.message() + ".";
}

// Whoever it is, it can't be asked over the bus of this session.
std::string folderInUse(const std::string& settingsFile, bool isStored) {
    const std::filesystem::path folder = NomaraPaths::dataDirectory();
    const pid_t holder = FolderLock::holder(folder);
    return "Quillshade is already running" + (holder == 0 ? "" : " (process " + std::to_string(holder) + ")") +
           " in another session, with the memory in " + folder.string() + "." +
           (isStored ? " The settings were stored in " + settingsFile + "; it goes by them if that file is its own."
                     : "");
}

int record(AppSettings& settings, const Executor& mainThread, FolderLock& lock) {
    // Each of the connections to the display tells; once is enough.
    const auto told = std::make_shared<std::atomic<bool>>(false);
    const auto displayLost = [mainThread, told] {
        if (told->exchange(true)) return;
        say("The display has gone; ending.");
        mainThread([] { QCoreApplication::quit(); });
    };
    const SystemClock clock;
    AtspiAccessibility accessibility;
    ApplicationIdentifier identifier;
    X11WindowServer windowServer(displayLost);
    const IdentityResolver identify = [&identifier](const WindowOwner& owner) { return identifier.identify(owner); };
    const auto isPasswordPrompter = [&identifier](const WindowOwner& owner) {
        return AppCatalog::isPasswordPrompter(identifier.identify(owner).bundleID);
    };
    X11InputActivity input(isPasswordPrompter, displayLost);
    X11RunningApplications applications(identify, displayLost);
    X11DisplayStreams streams(identify);
    LibavVideoCodec codec;
    DiskVolume volume;
    OwnProcessUsage usage;
    TesseractRecognizer recognizer;
    StoreHub hub(mainThread, clock, &lock);
    AppModel model(hub, settings, clock,
                   {accessibility, windowServer, input, applications, streams, codec, volume, recognizer, mainThread,
                    identify, ownBundleID, PreferredLanguages::current(), std::nullopt, &usage});
    ControlService control(model);
    switch (control.registerOnSessionBus()) {
    case ControlService::Registration::done:
        break;
    case ControlService::Registration::nameTaken:
        say(alreadyRunning(RunningProgram::process()) + ".");
        return 0;
    case ControlService::Registration::noBus:
        say("There is no session bus, so nobody can ask for the status.");
        break;
    }
    sayWhatIsMissing(settings);
    model.start();
    const int code = QCoreApplication::exec();
    model.shutdown();
    return code;
}

int run(int argc, char** argv, const Arguments& arguments) {
    keepToOurselves();
    returnFreedMemory();
    if (!arguments.dataDirectory.empty()) setenv("NOMARA_DATA_DIR", arguments.dataDirectory.c_str(), 1);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Quillshade"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLSHADE_VERSION));
    EnglishCatalogue english;
    QCoreApplication::installTranslator(&english);
    const TerminationSignals signals(endInOrder);

    // Only the one that runs knows which settings it goes by.
    if (const unsigned process = RunningProgram::process(); process != 0 && !arguments.listsApplications) {
        if (!arguments.settings.isEmpty()) return handOver(arguments.settings, process);
        if (!arguments.storesOnly) say(alreadyRunning(process) + ".");
        return 0;
    }
    IniPreferencesStore preferences;
    InstalledApplications installed;
    AppSettings settings(preferences, &installed);
    if (arguments.listsApplications) {
        for (const std::string& line : listApplications(settings))
            std::cout << line << '\n';
        return 0;
    }
    if (!tell(arguments.settings.apply(settings))) return exitUsage;
    if (!preferences.isWritable()) sayUnwritable(preferences.place());
    if (arguments.storesOnly) return preferences.isWritable() ? 0 : exitFailure;

    try {
        FolderLock lock;
        // Where there is none yet, the store takes the lock of the one that it makes.
        const std::filesystem::path folder = NomaraPaths::dataDirectory();
        if (std::filesystem::exists(folder) && !lock.take(folder))
            return say(folderInUse(preferences.place(), !arguments.settings.isEmpty())), 0;
        return record(settings, mainThreadExecutor(application), lock);
    } catch (const PlatformError& error) {
        return fail(error.what());
    } catch (const SQLiteError& error) {
        return fail(describe(error));
    } catch (const std::filesystem::filesystem_error& error) {
        return fail("The data folder " + error.path1().string() + " can't be used: " + error.code().message() + ".");
    } catch (const std::exception& error) {
        return fail(std::string("Quillshade can't go on: ") + error.what() + ".");
    }
}

} // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    CLI::App parser("Quillshade, a private memory of everything you see on your computer.\n"
                    "Starts in the background of a session and records; quillshadectl searches.",
                    "quillshade");
    parser.set_version_flag("--version", "quillshade " QUILLSHADE_VERSION);
    parser.add_option("--data-dir", arguments.dataDirectory, "Keep the memory in this folder")->type_name("DIR");
    const auto settings = [&](const char* option, std::vector<std::string>& texts, const char* help) {
        parser.add_option(option, texts, help)->type_name("KEY=VALUE")->allow_extra_args(false);
    };
    settings("--set", arguments.settings.set, "Store a setting before starting; may be given again");
    settings("--add", arguments.settings.add, "Add entries to a setting that is a list");
    settings("--remove", arguments.settings.remove, "Remove entries from a setting that is a list");
    parser.add_flag("--no-start", arguments.storesOnly, "Store the settings and end");
    parser.add_flag("--list-apps", arguments.listsApplications, "Print the identifiers of applications and end");
    parser.footer("Exit codes: 0 ended in order or already running, 1 could not start, 2 wrong usage.");
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return parser.exit(error) == 0 ? 0 : exitUsage;
    }
    return run(argc, argv, arguments);
}
