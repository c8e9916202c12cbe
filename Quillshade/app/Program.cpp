#include "Quillshade/app/Program.h"

#include "Quillshade/app/AppModel.h"
#include "Quillshade/app/ControlService.h"
#include "Quillshade/app/MainThread.h"
#include "Quillshade/app/OwnProcess.h"
#include "Quillshade/app/RunningProgram.h"
#include "Quillshade/app/TerminationSignals.h"
#include "Quillshade/app/Texts.h"
#include "Quillshade/store/FolderLock.h"
#include "Version.h"
#include "core/base/Paths.h"
#include "platform/PlatformError.h"

#include <QCoreApplication>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>

#include <unistd.h>

namespace nomara {

namespace {

constexpr const char* ownBundleID = "com.brindlewick.Quillshade";

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

int record(AppSettings& settings, const Executor& mainThread, FolderLock& lock, PlatformProvider& provider) {
    const Platform platform = provider.open([mainThread] {
        say("The display has gone; ending.");
        mainThread([] { QCoreApplication::quit(); });
    });
    const SystemClock clock;
    StoreHub hub(mainThread, clock, &lock);
    AppModel model(hub, settings, clock, platform, {mainThread, ownBundleID});
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

} // namespace

int runProgram(int argc, char** argv, const Arguments& arguments, PlatformProvider& provider) {
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
    PreferencesStore& preferences = provider.preferences();
    AppSettings settings(preferences, &provider.knownApplications());
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
        return record(settings, mainThreadExecutor(application), lock, provider);
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

} // namespace nomara
