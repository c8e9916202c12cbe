#include "Quillshade/settings/SettingsCommands.h"

#include "Quillshade/settings/Spelling.h"
#include "core/applications/AppCatalog.h"
#include "platform/PreferenceText.h"

#include <algorithm>
#include <set>
#include <utility>

namespace nomara {

namespace {

using Texts = std::vector<std::string>;
using SettingText::inQuotes;

std::string joined(const Texts& texts) {
    std::string all;
    for (const std::string& text : texts)
        all.append(all.empty() ? "" : ", ").append(text);
    return all;
}

/// "bitwarden" is near "com.bitwarden.desktop" as well as near "Bitwarden".
bool isNear(const std::string& written, const KnownApplication& application) {
    const std::string wanted = PreferenceText::foldedKey(written);
    const std::string id = PreferenceText::foldedKey(application.id);
    const std::string last = id.substr(id.rfind('.') + 1);
    return Spelling::isClose(wanted, id) || Spelling::isClose(wanted, last) ||
           Spelling::isClose(wanted, PreferenceText::foldedKey(application.name));
}

/// The entries of a list, and which others count as the same.
class Entries {
public:
    Entries(const Texts& list, ListText::Kind kind, KnownApplications* applications)
        : m_kind(kind), m_applications(applications) {
        for (const std::string& entry : list) {
            m_written.insert(entry);
            m_folded.insert(ListText::folded(entry, kind));
            for (std::string& id : identifiers(entry))
                m_identifiers.insert(std::move(id));
        }
    }

    bool holds(const std::string& entry) const {
        const Texts ids = identifiers(entry);
        return m_folded.contains(ListText::folded(entry, m_kind)) || m_identifiers.contains(entry) ||
               std::ranges::any_of(ids, [this](const std::string& id) { return m_written.contains(id); });
    }

private:
    Texts identifiers(const std::string& entry) const {
        return m_applications == nullptr ? Texts() : m_applications->identifiers(entry);
    }

    const ListText::Kind m_kind;
    KnownApplications* const m_applications;
    std::set<std::string> m_written, m_folded, m_identifiers;
};

/// One of the two lists while it is worked on; nothing is stored.
class ListEditor {
public:
    ListEditor(AppSettings& settings, Texts& notes, ListText::Kind kind)
        : m_notes(notes), m_kind(kind), m_applications(isApplications() ? settings.applications() : nullptr),
          m_row(isApplications() ? static_cast<SettingBase&>(settings.excludedApps) : settings.excludedSites),
          m_entries(isApplications() ? settings.excludedApps() : settings.excludedSites()) {}

    const SettingBase& row() const { return m_row; }
    std::string text() const { return ListText::print(m_entries); }

    void set(const std::string& text) {
        const Texts before = std::exchange(m_entries, ListText::parse(text, m_kind).entries);
        const Entries now(m_entries, m_kind, m_applications);
        Texts lost;
        for (const std::string& entry : before)
            if (!now.holds(entry)) lost.push_back(nameOf(entry));
        if (!lost.empty()) m_notes.push_back(m_row.key() + " no longer holds: " + joined(lost) + ".");
        noteUnknown(m_entries);
    }

    void add(const std::string& text) {
        const Entries before(m_entries, m_kind, m_applications);
        const Texts added = ListText::parse(text, m_kind).entries;
        for (const std::string& entry : added) {
            if (before.holds(entry))
                m_notes.push_back(m_row.key() + " holds " + inQuotes(entry) + " already.");
            else
                m_entries.push_back(entry);
        }
        noteUnknown(added);
    }

    void remove(const std::string& text) {
        const Texts removed = ListText::parse(text, m_kind).entries;
        const Entries before(m_entries, m_kind, m_applications), gone(removed, m_kind, m_applications);
        for (const std::string& entry : removed)
            if (!before.holds(entry)) m_notes.push_back(m_row.key() + " doesn't hold " + inQuotes(entry) + ".");
        std::erase_if(m_entries, [&](const std::string& entry) { return gone.holds(entry); });
    }

private:
    bool isApplications() const { return m_kind == ListText::Kind::applications; }
    std::string nameOf(const std::string& entry) const {
        const auto& names = AppCatalog::passwordManagerNames();
        const auto known = names.find(entry);
        return !isApplications() || known == names.end() ? entry : known->second;
    }

    void noteUnknown(const Texts& entries) {
        if (m_applications == nullptr) return;
        for (const std::string& entry : entries) {
            if (!m_applications->identifiers(entry).empty()) continue;
            std::string note = inQuotes(entry) + " is no application that is known or installed here; it stays in " +
                               m_row.key() + " all the same.";
            for (const KnownApplication& application : m_applications->all()) {
                if (!isNear(entry, application)) continue;
                note += " Did you mean " + application.id +
                        (application.name.empty() ? "" : " (" + application.name + ")") + "?";
                break;
            }
            m_notes.push_back(note + " quillshade --list-apps shows the identifiers.");
        }
    }

    Texts& m_notes;
    const ListText::Kind m_kind;
    KnownApplications* const m_applications;
    const SettingBase& m_row;
    Texts m_entries;
};

std::string noSetting(const AppSettings& settings, const std::string& key) {
    Texts keys;
    for (const SettingBase* const row : settings.rows())
        keys.push_back(row->key());
    const SettingBase* const near = settings.rowNear(key);
    return "There is no setting " + inQuotes(key) + "." +
           (near == nullptr ? "" : " Did you mean " + near->key() + "?") + " The settings are " + joined(keys) + ".";
}

/// The commands of one go, worked out before any of them counts.
class Changes {
public:
    Changes(AppSettings& settings, Texts& notes)
        : m_settings(settings), m_notes(notes), m_sites(settings, notes, ListText::Kind::sites),
          m_applications(settings, notes, ListText::Kind::applications) {}

    using Operation = void (ListEditor::*)(const std::string&);
    /// Why this makes no sense, as a sentence; empty where it does.
    std::string work(const std::string& option, const std::string& command, Operation operation) {
        const std::size_t equals = command.find('=');
        if (equals == std::string::npos) return option + " wants KEY=VALUE, not " + inQuotes(command) + ".";
        const std::string key = command.substr(0, equals), value = command.substr(equals + 1);
        SettingBase* const row = m_settings.rowNamed(key);
        if (row == nullptr) return noSetting(m_settings, key);
        const bool isSet = m_texts.contains(row->key()), sets = operation == &ListEditor::set;
        if (const std::string problem = row->check(value); !problem.empty())
            return "The setting " + row->key() + " can't be that: " + problem + ".";
        if (sets && isSet) m_notes.push_back(row->key() + " is set twice; the last one counts.");
        ListEditor* const list = listOf(*row);
        if (list == nullptr && !sets) return row->key() + " is no list; use --set.";
        // An unreadable list would be replaced by what is added to it.
        if (!sets && !isSet && !row->problem().empty()) {
            const std::string place = m_settings.store().place();
            return "The setting " + row->key() + " can't be read as it stands: " + row->problem() + ". Mend it" +
                   (place.empty() ? "" : " in " + place) + ", or use --set to replace it.";
        }
        if (list != nullptr) (list->*operation)(value);
        const std::string text = list == nullptr ? value : list->text();
        m_texts[row->key()] = row->stored(text);
        const std::string problem = row->check(text);
        return problem.empty() ? "" : "The setting " + row->key() + " can't be that: " + problem + ".";
    }

    const PreferencesStore::Changes& texts() const { return m_texts; }

private:
    ListEditor* listOf(const SettingBase& row) {
        if (&row == &m_sites.row()) return &m_sites;
        return &row == &m_applications.row() ? &m_applications : nullptr;
    }

    AppSettings& m_settings;
    Texts& m_notes;
    ListEditor m_sites, m_applications;
    PreferencesStore::Changes m_texts;
};

} // namespace

SettingsCommands::Outcome SettingsCommands::apply(AppSettings& settings) const {
    Outcome outcome;
    Changes changes(settings, outcome.notes);
    const auto workAll = [&](const char* option, const Texts& commands, Changes::Operation operation) {
        for (const std::string& command : commands)
            if (outcome.problem.empty()) outcome.problem = changes.work(option, command, operation);
    };
    workAll("--set", set, &ListEditor::set);
    workAll("--add", add, &ListEditor::add);
    workAll("--remove", remove, &ListEditor::remove);
    if (!outcome.problem.empty())
        outcome.notes.clear();
    else if (!changes.texts().empty())
        settings.change(changes.texts());
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
