#pragma once

#include "core/geometry/Geometry.h"
#include "core/records/Frames.h"

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace nomara::ctl {

enum class Command { search, recent, show, status, stats, ocr };
enum class ColorMode { automatic, always, never };

/// What was asked for, checked and in the units of the store. Each command reads the fields that are its own.
struct CommandLine {
    Command command = Command::search;
    std::optional<std::filesystem::path> dataDirectory;
    ColorMode color = ColorMode::automatic;
    bool json = false;

    std::string query;
    std::int64_t limit = 20;
    bool newest = false;
    std::optional<Date> since; ///< inclusive
    std::optional<Date> until; ///< exclusive
    std::vector<std::string> applications;
    RowID frame = 0;
    std::optional<std::filesystem::path> imageFile; ///< where `show` puts the picture
    int days = 7;
    std::filesystem::path picture;
    std::vector<std::string> languages;
    std::optional<Rect> region; ///< in pixels, from the top left
};

/// A text that was asked for instead of a command: help or the version.
struct Notice {
    std::string text;
};

/// Reads the arguments, without the program's name; `now` is what "7d" counts back from. Throws Fault.
std::variant<CommandLine, Notice> parseArguments(const std::vector<std::string>& arguments, Date now);

} // namespace nomara::ctl
