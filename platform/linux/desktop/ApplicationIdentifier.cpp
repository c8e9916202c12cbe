#include "platform/linux/desktop/ApplicationIdentifier.h"

#include "platform/linux/desktop/Names.h"
#include "platform/linux/desktop/ProcessFacts.h"
#include "platform/linux/desktop/WellKnownApplications.h"

#include <array>
#include <string_view>
#include <utility>

namespace nomara {

namespace {

// More than anybody runs at once; beyond it the answers are found anew.
constexpr std::size_t maxKnown = 512;

// These run other people's programs: their file says nothing about the window.
bool runsPrograms(std::string_view executable) {
    constexpr std::array<std::string_view, 13> runners = {"python", "perl", "ruby", "java",     "node", "gjs",  "bash",
                                                          "sh",     "dash", "wine", "electron", "mono", "bwrap"};
    for (const std::string_view runner : runners) {
        if (!executable.starts_with(runner)) continue;
        // "python3.11" and "wine64-preloader" are runners, "shotwell" isn't.
        const char next = executable.size() > runner.size() ? executable[runner.size()] : '-';
        if (next == '-' || next == '.' || (next >= '0' && next <= '9')) return true;
    }
    return false;
}

ApplicationIdentity identityOf(const DesktopEntry& entry) {
    ApplicationIdentity known = WellKnownApplications::find(entry.id);
    if (known.bundleID) return known;
    return {entry.id, entry.name};
}

} // namespace

ApplicationIdentifier::ApplicationIdentifier(std::vector<std::filesystem::path> dataFolders,
                                             std::filesystem::path processes)
    : m_entries(std::move(dataFolders)), m_processes(std::move(processes)) {}

ApplicationIdentity ApplicationIdentifier::identify(const WindowOwner& owner) {
    Key key{owner.pid, ProcessFacts::startTime(m_processes / std::to_string(owner.pid)), owner.instanceName,
            owner.className};
    {
        const std::lock_guard lock(m_mutex);
        const auto known = m_known.find(key);
        if (known != m_known.end()) return known->second;
    }
    ApplicationIdentity identity = find(owner);
    // A process that is gone has no start time; the next one with its number would get its answer.
    if (std::get<1>(key).empty()) return identity;
    const std::lock_guard lock(m_mutex);
    if (m_known.size() >= maxKnown) m_known.clear();
    m_known.insert_or_assign(std::move(key), identity);
    return identity;
}

ApplicationIdentity ApplicationIdentifier::find(const WindowOwner& owner) {
    const auto process = m_processes / std::to_string(owner.pid);
    const std::string executable = owner.pid > 0 ? ProcessFacts::executable(process) : std::string();
    if (owner.pid > 0) {
        for (const std::string& sandbox : {ProcessFacts::flatpakID(process), ProcessFacts::snapName(process)}) {
            if (sandbox.empty()) continue;
            if (auto known = WellKnownApplications::find(sandbox); known.bundleID) return known;
            if (const auto entry = m_entries.withID(sandbox)) return identityOf(*entry);
            return {sandbox, owner.className.empty() ? sandbox : owner.className};
        }
        if (auto known = WellKnownApplications::find(executable); known.bundleID) return known;
    }
    for (const std::string& name : {owner.className, owner.instanceName}) {
        if (auto known = WellKnownApplications::find(name); known.bundleID) return known;
        if (const auto entry = m_entries.withWindowClass(name)) return identityOf(*entry);
    }
    const bool isRunner = runsPrograms(executable);
    if (!isRunner)
        if (const auto entry = m_entries.withExecutable(executable)) return identityOf(*entry);
    if (!owner.className.empty()) return {Names::lowered(owner.className), owner.className};
    if (!executable.empty()) return {executable, executable};
    return {};
}

} // namespace nomara
