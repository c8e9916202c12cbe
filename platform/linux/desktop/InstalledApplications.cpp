#include "platform/linux/desktop/InstalledApplications.h"

#include "core/applications/AppCatalog.h"
#include "core/applications/LinuxApplications.h"
#include "platform/linux/desktop/Names.h"
#include "platform/linux/desktop/WellKnownApplications.h"
#include "platform/linux/desktop/WellKnownPrograms.h"

#include <algorithm>
#include <map>
#include <utility>

namespace nomara {

namespace {

ApplicationIdentity identityOf(const DesktopEntry& entry) {
    const ApplicationIdentity known = WellKnownApplications::find(entry.id);
    return known.bundleID ? known : ApplicationIdentity{.bundleID = entry.id, .name = entry.name};
}

bool isInTables(std::string_view id) {
    const auto holds = [&](const std::vector<std::string>& ids) { return std::ranges::find(ids, id) != ids.end(); };
    return !LinuxApplications::name(id).empty() || holds(AppCatalog::defaultExcludedApps()) ||
           holds(AppCatalog::messagingApps()) ||
           std::ranges::any_of(sharedPrograms(),
                               [&](const WellKnownProgram& program) { return program.bundleID == id; });
}

} // namespace

InstalledApplications::InstalledApplications(DesktopFolders folders)
    : m_entries(std::move(folders)), m_installed(m_entries.current()) {}

std::vector<std::string> InstalledApplications::identifiers(std::string_view name) {
    std::vector<std::string> found;
    const auto add = [&](const ApplicationIdentity& identity) {
        if (identity.bundleID && std::ranges::find(found, *identity.bundleID) == found.end())
            found.push_back(*identity.bundleID);
    };
    if (isInTables(name)) add({.bundleID = std::string(name)});
    add(WellKnownApplications::find(name));
    const auto addEntry = [&](const DesktopEntry& entry) {
        // Its window may be known by any of these.
        add(identityOf(entry));
        add(WellKnownApplications::find(entry.executable));
        add(WellKnownApplications::find(entry.windowClass));
    };
    if (const DesktopEntry* const entry = m_installed->withID(name)) addEntry(*entry);
    if (const DesktopEntry* const entry = m_installed->withWindowClass(name)) addEntry(*entry);
    const std::string lowered = Names::lowered(name);
    for (const DesktopEntry& entry : m_installed->all())
        if (Names::lowered(entry.name) == lowered) addEntry(entry);
    for (const auto& [id, displayed] : AppCatalog::passwordManagerNames())
        if (Names::lowered(displayed) == lowered) add({.bundleID = id});
    return found;
}

std::vector<KnownApplication> InstalledApplications::all() {
    std::map<std::string, KnownApplication, std::less<>> byID;
    const auto add = [&](std::string_view id, std::string_view name, bool isInstalled) {
        KnownApplication& application = byID[std::string(id)];
        application.id = id;
        if (application.name.empty()) application.name = name;
        application.isInstalled = application.isInstalled || isInstalled;
    };
    for (const DesktopEntry& entry : m_installed->all()) {
        const ApplicationIdentity identity = identityOf(entry);
        add(*identity.bundleID, identity.name.value_or(entry.name), true);
    }
    for (const auto& [id, name] : AppCatalog::passwordManagerNames())
        add(id, name, false);
    for (const LinuxApplications::Application& application : LinuxApplications::all())
        add(application.id, application.name, false);
    for (const WellKnownProgram& program : sharedPrograms())
        add(program.bundleID, program.name, false);
    std::vector<KnownApplication> all;
    all.reserve(byID.size());
    for (auto& [id, application] : byID)
        all.push_back(std::move(application));
    return all;
}

} // namespace nomara
