#include "Quillshade/settings/SettingsCommands.h"

#include "Quillshade/settings/Spelling.h"
#include "core/privacy/AppCatalog.h"
#include "platform/PreferenceText.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <set>

namespace nomara {

namespace {

using Texts = std::vector<std::string>;

std::string inQuotes(const std::string& text) {
    return "“" + text + "”";
}

std::string joined(const Texts& texts) {
    std::string all;
    for (const std::string& text : texts)
        all.append(all.empty() ? "" : ", ").append(text);
    return all;
}

bool contains(const Texts& texts, const std::string& text) {
    return std::ranges::find(texts, text) != texts.end();
}

/// "bitwarden" is near "com.bitwarden.desktop" as well as near "Bitwarden".
bool isNear(const std::string& written, const KnownApplication& application) {
    const std::string wanted = PreferenceText::foldedKey(written);
    const std::string id = PreferenceText::foldedKey(application.id);
    const std::string last = id.substr(id.rfind('.') + 1);
    return Spelling::isClose(wanted, id) || Spelling::isClose(wanted, last) ||
           Spelling::isClose(wanted, PreferenceText::foldedKey(application.name));
}

/// One of the two lists, and how its entries are told apart.
class ListEditor {
public:
    ListEditor(AppSettings& settings, Texts& notes, bool isApplications)
        : m_settings(settings), m_notes(notes),
          m_kind(isApplications ? ListText::Kind::applications : ListText::Kind::sites) {}

    const std::string& key() const {
        return isApplications() ? m_settings.excludedApps.key() : m_settings.excludedSites.key();
    }
    const SettingBase& row() const {
        if (isApplications()) return m_settings.excludedApps;
        return m_settings.excludedSites;
    }

    void set(const std::string& text) {
        const Texts before = entries();
        const Texts now = ListText::parse(text, m_kind).entries;
        store(now);
        Texts lost;
        for (const std::string& entry : before)
            if (!holds(now, entry)) lost.push_back(nameOf(entry));
        if (!lost.empty()) m_notes.push_back(key() + " no longer holds: " + joined(lost) + ".");
        noteUnknown(now);
    }

    void add(const std::string& text) {
        Texts now = entries();
        const Texts added = ListText::parse(text, m_kind).entries;
        for (const std::string& entry : added) {
            if (holds(now, entry))
                m_notes.push_back(key() + " holds " + inQuotes(entry) + " already.");
            else
                now.push_back(entry);
        }
        store(now);
        noteUnknown(added);
    }

    void remove(const std::string& text) {
        Texts now = entries();
        for (const std::string& entry : ListText::parse(text, m_kind).entries)
            if (std::erase_if(now, [&](const std::string& held) { return isSame(held, entry); }) == 0)
                m_notes.push_back(key() + " doesn't hold " + inQuotes(entry) + ".");
        store(now);
    }

private:
    bool isApplications() const { return m_kind == ListText::Kind::applications; }
    const Texts& entries() const { return isApplications() ? m_settings.excludedApps() : m_settings.excludedSites(); }
    void store(const Texts& entries) {
        if (isApplications())
            m_settings.excludedApps.set(entries);
        else
            m_settings.excludedSites.set(entries);
    }

    Texts identifiers(const std::string& entry) const {
        KnownApplications* const applications = m_settings.applications();
        return isApplications() && applications != nullptr ? applications->identifiers(entry) : Texts();
    }
    bool isSame(const std::string& one, const std::string& other) const {
        return ListText::folded(one, m_kind) == ListText::folded(other, m_kind) || contains(identifiers(one), other) ||
               contains(identifiers(other), one);
    }
    bool holds(const Texts& list, const std::string& entry) const {
        return std::ranges::any_of(list, [&](const std::string& held) { return isSame(held, entry); });
    }
    std::string nameOf(const std::string& entry) const {
        const auto& names = AppCatalog::passwordManagerNames();
        const auto known = names.find(entry);
        return !isApplications() || known == names.end() ? entry : known->second;
    }

    void noteUnknown(const Texts& entries) {
        KnownApplications* const applications = m_settings.applications();
        if (!isApplications() || applications == nullptr) return;
        for (const std::string& entry : entries) {
            if (!identifiers(entry).empty()) continue;
            std::string note = inQuotes(entry) + " is no application that is known or installed here; it stays in " +
                               key() + " all the same.";
            for (const KnownApplication& application : applications->all()) {
                if (!isNear(entry, application)) continue;
                note += " Did you mean " + application.id +
                        (application.name.empty() ? "" : " (" + application.name + ")") + "?";
                break;
            }
            m_notes.push_back(note + " quillshade --list-apps shows the identifiers.");
        }
    }

    AppSettings& m_settings;
    Texts& m_notes;
    const ListText::Kind m_kind;
};

struct Command {
    std::string option, text, key, value;
    SettingBase* row = nullptr;
};

std::string checkRow(AppSettings& settings, Command& command) {
    const std::size_t equals = command.text.find('=');
    if (equals == std::string::npos) return command.option + " wants KEY=VALUE, not " + inQuotes(command.text) + ".";
    command.key = command.text.substr(0, equals);
    command.value = command.text.substr(equals + 1);
    for (SettingBase* const row : settings.rows())
        if (row->key() == command.key) command.row = row;
    if (command.row == nullptr) return "There is no setting " + inQuotes(command.key) + ".";
    const std::string problem = command.row->check(command.value);
    return problem.empty() ? "" : "The setting " + command.key + " can't be that: " + problem + ".";
}

} // namespace

SettingsCommands::Outcome SettingsCommands::apply(AppSettings& settings) const {
    Outcome outcome;
    ListEditor sites(settings, outcome.notes, false), applications(settings, outcome.notes, true);
    const auto listOf = [&](const Command& command) -> ListEditor* {
        if (command.row == &sites.row()) return &sites;
        return command.row == &applications.row() ? &applications : nullptr;
    };
    std::vector<std::function<void()>> work;
    std::set<const SettingBase*> isSet;
    const auto prepare = [&](const char* option, const Texts& texts, const auto& body) {
        for (const std::string& text : texts) {
            Command command{option, text, {}, {}, nullptr};
            outcome.problem = checkRow(settings, command);
            if (outcome.problem.empty()) outcome.problem = body(command);
            if (!outcome.problem.empty()) return false;
        }
        return true;
    };
    const auto edit = [&](void (ListEditor::*operation)(const std::string&)) {
        return [&, operation](const Command& command) -> std::string {
            ListEditor* const list = listOf(command);
            if (list == nullptr) return command.key + " is no list; use --set.";
            // An unreadable list would be replaced by what is added to it.
            if (!isSet.contains(command.row) && !command.row->problem().empty())
                return "The setting " + command.key + " can't be read as it stands: " + command.row->problem() +
                       ". Mend it" + (settings.store().place().empty() ? "" : " in " + settings.store().place()) +
                       ", or use --set to replace it.";
            work.emplace_back([list, operation, value = command.value] { (list->*operation)(value); });
            return {};
        };
    };
    const auto replace = [&](const Command& command) -> std::string {
        isSet.insert(command.row);
        work.emplace_back([list = listOf(command), row = command.row, value = command.value] {
            if (list != nullptr)
                list->set(value);
            else
                row->setFromText(value);
        });
        return {};
    };
    if (prepare("--set", set, replace) && prepare("--add", add, edit(&ListEditor::add)) &&
        prepare("--remove", remove, edit(&ListEditor::remove)))
        for (const auto& each : work)
            each();
    return outcome;
}

std::vector<std::string> listApplications(const AppSettings& settings) {
    Texts lines;
    if (settings.applications() == nullptr) return lines;
    const auto excluded = settings.recorderConfig().excludedApps;
    for (const KnownApplication& application : settings.applications()->all()) {
        const bool isExcluded = excluded.contains(application.id);
        if (!isExcluded && !application.isInstalled) continue;
        lines.push_back(application.id + "  " + application.name + (isExcluded ? "  (excluded)" : ""));
    }
    return lines;
}

} // namespace nomara
