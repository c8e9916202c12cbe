#include "platform/linux/desktop/WellKnownApplications.h"

#include "core/applications/AppCatalog.h"
#include "core/applications/LinuxApplications.h"
#include "platform/linux/desktop/Names.h"
#include "platform/linux/desktop/WellKnownPrograms.h"

#include <algorithm>
#include <string>
#include <unordered_map>

namespace nomara::WellKnownApplications {

namespace {

struct Known {
    std::string_view bundleID, name;
};
using Table = std::unordered_map<std::string, Known>;

void add(Table& table, std::string_view aliases, const Known& known) {
    while (!aliases.empty()) {
        const auto end = std::min(aliases.find('|'), aliases.size());
        if (end > 0) table.emplace(aliases.substr(0, end), known);
        aliases.remove_prefix(std::min(end + 1, aliases.size()));
    }
}

Table byName() {
    Table table;
    std::unordered_map<std::string_view, std::string_view> names;
    // An identifier is sure; only then come the names that programs go by.
    for (const auto& application : LinuxApplications::all()) {
        names.emplace(application.id, application.name);
        table.emplace(Names::lowered(application.id), Known{application.id, application.name});
    }
    for (const WellKnownProgram& program : sharedPrograms())
        add(table, program.aliases, {program.bundleID, program.name});
    for (const WellKnownProgram& program : linuxPrograms()) {
        const auto name = names.find(program.bundleID);
        if (name != names.end()) add(table, program.aliases, {program.bundleID, name->second});
    }
    return table;
}

// There are more of these than anybody can list, and each of them says what it is.
std::string_view familyOf(std::string_view lowered) {
    if (lowered.starts_with("pinentry")) return "pinentry";
    if (lowered.find("askpass") != std::string_view::npos) return "ssh-askpass";
    return {};
}

} // namespace

ApplicationIdentity find(std::string_view name) {
    static const Table table = byName();
    const std::string lowered = Names::lowered(name);
    auto found = table.find(lowered);
    if (found == table.end()) found = table.find(std::string(familyOf(lowered)));
    if (found == table.end()) return {};
    const Known& known = found->second;
    return {.bundleID = std::string(known.bundleID),
            .name = std::string(known.name),
            .isBrowser = AppCatalog::isBrowser(known.bundleID)};
}

} // namespace nomara::WellKnownApplications
