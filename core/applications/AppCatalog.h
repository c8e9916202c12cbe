#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

enum class AppCategory {
    normal,
    media,        ///< a film or music player
    call,         ///< a video conference
    ocrPreferred, ///< its accessibility text isn't to be trusted: the picture is read
};

/// Fixed knowledge about other applications: the shared tables of identifiers first, then those of Linux
/// (`LinuxApplications`). An identifier is compared whole, case included. Immutable; callable from any thread.
namespace AppCatalog {

/// `normal` for an absent or unknown identifier.
AppCategory category(std::optional<std::string_view> bundleID);

/// Whether its windows can hold a private session or a website.
bool isBrowser(std::optional<std::string_view> bundleID);

/// Whether every window of this browser is private, marked or not.
bool isAlwaysPrivate(std::optional<std::string_view> bundleID);

/// Whether it does nothing but ask for a secret or guard the screen: its windows are never to be looked at, whatever
/// the user left out.
bool isPasswordPrompter(std::optional<std::string_view> bundleID);
const std::vector<std::string>& passwordPrompters();

/// Password managers: excluded from recording until the user says otherwise.
const std::vector<std::string>& defaultExcludedApps();

/// What excluded applications are called where they aren't installed, by identifier.
const std::map<std::string, std::string, std::less<>>& passwordManagerNames();

/// What the first run offers to exclude besides.
const std::vector<std::string>& messagingApps();

} // namespace AppCatalog

} // namespace nomara
