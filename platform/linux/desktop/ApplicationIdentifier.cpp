#include "platform/linux/desktop/ApplicationIdentifier.h"

#include "core/applications/AppCatalog.h"
#include "platform/linux/desktop/Names.h"
#include "platform/linux/desktop/ProcessFacts.h"
#include "platform/linux/desktop/WellKnownApplications.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace nomara {

namespace {

// More than anybody runs at once; beyond it the answers are found anew.
constexpr std::size_t maxKnown = 512;

// These run other people's programs: their file says nothing about the window.
bool runsPrograms(std::string_view executable) {
    constexpr std::array<std::string_view, 14> runners = {"python",   "perl", "ruby",  "java", "node",
                                                          "gjs",      "bash", "sh",    "dash", "wine",
                                                          "electron", "mono", "bwrap", "wish"};
    for (const std::string_view runner : runners) {
        if (!executable.starts_with(runner)) continue;
        // "python3.11" and "wine64-preloader" are runners, "shotwell" isn't.
        const char next = executable.size() > runner.size() ? executable[runner.size()] : '-';
        if (next == '-' || next == '.' || (next >= '0' && next <= '9')) return true;
    }
    return false;
}

// Java gives a window the class of its main class, "org-gjt-sp-jedit-jEdit"; entries have the last part alone.
std::string_view mainClass(std::string_view executable, std::string_view className) {
    const auto dash = className.rfind('-');
    if (executable != "java" || dash == std::string_view::npos) return {};
    return className.substr(dash + 1);
}

ApplicationIdentity identityOf(const DesktopEntry& entry) {
    ApplicationIdentity identity = WellKnownApplications::find(entry.id);
    if (!identity.bundleID) {
        identity.bundleID = entry.id;
        identity.name = entry.name;
    }
    identity.icon = entry.icon;
    identity.isBrowser = identity.isBrowser || entry.isBrowser;
    return identity;
}

// "SNAP_APP" goes by the name of the snap where the pair isn't known.
ApplicationIdentity findSandbox(const std::string& id) {
    auto known = WellKnownApplications::find(id);
    return known.bundleID ? known : WellKnownApplications::find(id.substr(0, id.find('_')));
}

// What programs that aren't known anywhere say about themselves: the relatives of Firefox and of Chromium give their
// windows these roles and names.
bool looksLikeBrowser(const WindowOwner& owner) {
    if (owner.role == "browser" || owner.role == "pop-up" || owner.instanceName == "Navigator") return true;
    constexpr std::string_view word = "browser";
    for (const std::string& name : {Names::lowered(owner.className), Names::lowered(owner.instanceName)}) {
        if (!name.ends_with(word) || name.size() == word.size()) continue;
        const char before = name[name.size() - word.size() - 1];
        if (before == ' ' || before == '-' || before == '_' || before == '.') return true;
    }
    return false;
}

// How much harm would be done by taking it for something else.
int sensitivity(const ApplicationIdentity& identity) {
    const auto& secret = AppCatalog::defaultExcludedApps();
    if (AppCatalog::isPasswordPrompter(identity.bundleID) ||
        std::ranges::find(secret, *identity.bundleID) != secret.end())
        return 2;
    return AppCatalog::isAlwaysPrivate(identity.bundleID) ? 1 : 0;
}

ApplicationIdentity mostCareful(const std::vector<ApplicationIdentity>& signs) {
    // The first of the most sensitive: it is the strongest sign of them.
    ApplicationIdentity result = *std::ranges::max_element(signs, {}, sensitivity);
    for (const ApplicationIdentity& sign : signs) {
        result.isBrowser = result.isBrowser || sign.isBrowser;
        if (result.icon.empty() && sign.bundleID == result.bundleID) result.icon = sign.icon;
    }
    return result;
}

} // namespace

ApplicationIdentifier::ApplicationIdentifier(DesktopFolders folders, std::filesystem::path processes)
    : m_entries(std::move(folders)), m_processes(std::move(processes)) {}

ApplicationIdentity ApplicationIdentifier::identify(const WindowOwner& owner) {
    Process process(owner.pid, {});
    if (owner.pid > 0) process.second = ProcessFacts::startTime(m_processes / std::to_string(owner.pid));
    Key key(process, owner.instanceName, owner.className, owner.role, owner.desktopFile);
    // A process that is gone has no start time; the next one with its number would get its answer.
    const bool isProcess = !process.second.empty();
    if (isProcess) {
        const std::lock_guard lock(m_mutex);
        const auto known = m_known.find(key);
        if (known != m_known.end()) return answer(process, known->second, owner.title);
    }
    const auto installed = m_entries.current();
    Found found = find(owner, *installed);
    const std::lock_guard lock(m_mutex);
    if (!isProcess) return answer(process, found, owner.title);
    if (m_known.size() >= maxKnown || m_installed != installed) m_known.clear();
    m_installed = installed;
    if (found.identity.isBrowser) {
        if (m_browsers.size() >= maxKnown) m_browsers.clear();
        m_browsers.insert(process);
    }
    if (found.hasTold && found.identity.bundleID) {
        if (m_shown.size() >= maxKnown) m_shown.clear();
        m_shown[process].insert(*found.identity.bundleID);
    }
    return answer(process, m_known.insert_or_assign(std::move(key), std::move(found)).first->second, owner.title);
}

// What is known of the process may have grown since the window was looked at first.
ApplicationIdentity ApplicationIdentifier::answer(const Process& process, const Found& found,
                                                  const std::string& title) const {
    ApplicationIdentity identity = found.identity;
    identity.isBrowser = identity.isBrowser || m_browsers.contains(process);
    const auto add = [&](const std::string& bundleID) {
        if (identity.bundleID != bundleID &&
            std::ranges::find(identity.otherBundleIDs, bundleID) == identity.otherBundleIDs.end())
            identity.otherBundleIDs.push_back(bundleID);
    };
    for (const auto& [bundleID, name] : found.relatives)
        if (!found.hasTold || (!name.empty() && title.ends_with(name))) add(bundleID);
    const auto shown = m_shown.find(process);
    if (!found.hasTold && shown != m_shown.end())
        for (const std::string& bundleID : shown->second)
            add(bundleID);
    return identity;
}

ApplicationIdentifier::Found ApplicationIdentifier::find(const WindowOwner& owner,
                                                         const InstalledPrograms& installed) const {
    Found found;
    std::vector<ApplicationIdentity> signs; // the strongest first
    const auto add = [&](ApplicationIdentity identity) {
        if (identity.bundleID) signs.push_back(std::move(identity));
    };
    const auto addEntry = [&](const DesktopEntry* entry) {
        if (entry != nullptr) add(identityOf(*entry));
    };
    const auto process = m_processes / std::to_string(owner.pid);
    const std::string executable = owner.pid > 0 ? ProcessFacts::executable(process) : std::string();
    const bool isRunner = runsPrograms(executable);
    std::string box;
    if (owner.pid > 0) {
        for (const std::string& sandbox : {ProcessFacts::flatpakID(process), ProcessFacts::snapName(process)}) {
            if (sandbox.empty()) continue;
            if (box.empty()) box = sandbox;
            add(findSandbox(sandbox));
            addEntry(installed.withID(sandbox));
            add({.bundleID = sandbox, .name = owner.className.empty() ? sandbox : owner.className});
        }
        add(WellKnownApplications::find(isRunner ? ProcessFacts::script(process) : executable));
    }
    const auto fromProcess = signs.size();
    addEntry(installed.withID(owner.desktopFile));
    for (const std::string& name : {owner.className, owner.instanceName}) {
        add(WellKnownApplications::find(name));
        addEntry(installed.withWindowClass(name));
    }
    addEntry(installed.withWindowClass(mainClass(executable, owner.className)));
    found.hasTold = signs.size() > fromProcess;
    if (!isRunner) addEntry(installed.withExecutable(executable));
    if (!owner.className.empty())
        add({.bundleID = Names::lowered(owner.className), .name = owner.className});
    else if (!executable.empty())
        add({.bundleID = executable, .name = executable});

    ApplicationIdentity& identity = found.identity;
    if (!signs.empty()) identity = mostCareful(signs);
    if (looksLikeBrowser(owner) || (!isRunner && installed.hasBrowserWithExecutable(executable)))
        identity.isBrowser = true;
    for (const ApplicationIdentity& sign : signs)
        if (sign.bundleID != identity.bundleID &&
            std::ranges::find(identity.otherBundleIDs, *sign.bundleID) == identity.otherBundleIDs.end())
            identity.otherBundleIDs.push_back(*sign.bundleID);
    const auto entries = installed.ofProgram(isRunner ? std::string() : executable, box);
    // A program with a single entry is that one, whatever its windows are called.
    if (entries.size() > 1)
        for (const DesktopEntry* entry : entries)
            found.relatives.emplace_back(*identityOf(*entry).bundleID, entry->name);
    return found;
}

} // namespace nomara
