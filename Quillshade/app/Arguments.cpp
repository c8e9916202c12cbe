#include "Quillshade/app/Arguments.h"

#include "Version.h"

#include <vector>

#include <CLI/CLI.hpp>

namespace nomara {

std::variant<Arguments, int> parseArguments(int argc, char** argv) {
    Arguments arguments;
    CLI::App parser("Quillshade, a private memory of everything you see on your computer.\n"
                    "Starts in the background of a session and records; quillshadectl searches.",
                    "quillshade");
    parser.set_version_flag("--version", "quillshade " QUILLSHADE_VERSION);
    parser.add_option("--data-dir", arguments.dataDirectory, "Keep the memory in this folder")->type_name("DIR");
    const auto settings = [&](const char* option, std::vector<std::string>& texts, const char* help) {
        parser.add_option(option, texts, help)->type_name("KEY=VALUE")->allow_extra_args(false);
    };
    settings("--set", arguments.settings.set, "Store a setting before starting; may be given again");
    settings("--add", arguments.settings.add, "Add entries to a setting that is a list");
    settings("--remove", arguments.settings.remove, "Remove entries from a setting that is a list");
    parser.add_flag("--no-start", arguments.storesOnly, "Store the settings and end");
    parser.add_flag("--list-apps", arguments.listsApplications, "Print the identifiers of applications and end");
    parser.footer("Exit codes: 0 ended in order or already running, 1 could not start, 2 wrong usage.");
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return parser.exit(error) == 0 ? 0 : exitUsage;
    }
    return arguments;
}

} // namespace nomara
