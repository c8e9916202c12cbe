#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace nomara {

/// The applications that people have on Linux and that the shared tables don't know. An identifier is that of the
/// desktop entry in the packaging that most people have; programs that the shared tables name keep their name there.
/// Immutable; callable from any thread.
namespace LinuxApplications {

/// What an application is; one may be several things.
enum class Kind : std::uint32_t {
    browser = 1U << 0U,
    alwaysPrivate = 1U << 1U, ///< a browser whose every window is private
    media = 1U << 2U,
    call = 1U << 3U,
    ocrPreferred = 1U << 4U,
    messenger = 1U << 5U,
    passwordManager = 1U << 6U,  ///< also keyrings and one-time codes
    passwordPrompter = 1U << 7U, ///< asks for a secret, or guards the screen
    editor = 1U << 8U,
    projectEditor = 1U << 9U, ///< a development environment whose title begins with the project
    terminal = 1U << 10U,
    document = 1U << 11U,
    fileManager = 1U << 12U,
};

constexpr Kind operator|(Kind a, Kind b) {
    return static_cast<Kind>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}

struct Application {
    std::string_view id;
    std::string_view name;
    Kind kinds;
};

/// Every application once.
std::span<const Application> all();

/// Whether the identifier, compared whole and with case, is one of this kind.
bool is(std::string_view id, Kind kind);

/// The application's name in English; empty if it isn't known.
std::string_view name(std::string_view id);

} // namespace LinuxApplications

} // namespace nomara
