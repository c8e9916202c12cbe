#include "quillshadectl/CommandLine.h"

#include "Version.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/TimePoint.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

#include <CLI/CLI.hpp>

namespace nomara::ctl {

namespace {

constexpr std::int64_t mostHits = 10'000;
constexpr std::int64_t mostDays = 36'500;

const char* const overview = R"(Times for --since and --until:
  90m, 24h, 7d, 2w        so long before now
  today, yesterday        that day
  2026-11-01              that day, from its start or up to its end
  14:05                   a time of today
  "2026-11-01 14:05"      a time of that day

Examples:
  quillshadectl search invoice march
  quillshadectl search '"exact phrase"' --newest --since 7d
  quillshadectl search site:example.org release --json
  quillshadectl show 1234 --image screen.png

Exit codes:
  0  fine
  1  nothing found: no hit, no such frame, Quillshade not running
  2  a fault, with one sentence on the standard error)";

const char* const searchNotes = R"(Query:
  several words           all of them must occur; the last one may be a beginning
  "several words"         exactly these words side by side (quote them for the shell)
  site:example.org        only pages whose address holds this
  app:mail                only applications whose name holds this
  Upper case, accents and dotted letters make no difference.

Examples:
  quillshadectl search invoice march
  quillshadectl search '"quarterly report"' --since yesterday
  quillshadectl search app:firefox recipe --newest --limit 5
  quillshadectl search budget --json | jq -r '.[].windowTitle'
  quillshadectl search -- -Wall            words that begin with a dash

Exit codes: 0 hits, 1 no hit, 2 a fault.)";

const char* const recentNotes =
    R"(Frames of the same application and title that follow one another are one row, with their number as "×12".

Examples:
  quillshadectl recent --limit 5
  quillshadectl recent --since 2h --app firefox

Exit codes: 0 rows, 1 none, 2 a fault.)";

const char* const showNotes = R"(The number stands in front of each hit of "search" and each row of "recent".

Example:
  quillshadectl show 1234 --image screen.png

Exit codes: 0 shown, 1 no such frame or it has no picture, 2 a fault.)";

const char* const statusNotes = R"(Asks the program that runs in this session.

Exit codes: 0 running, 1 not running, 2 a fault.)";

const char* const statsNotes = R"(Examples:
  quillshadectl stats --days 30
  quillshadectl stats --json | jq .storage.databaseBytes

Exit codes: 0 fine, 2 a fault.)";

const char* const ocrNotes = R"(Reads any picture, a screenshot for example; the memory isn't touched.

Examples:
  quillshadectl ocr screen.png
  quillshadectl ocr screen.png --region 0,0,800,600 --language de
  quillshadectl ocr screen.png --json | jq -r '.[].text'

Exit codes: 0 text found, 1 none, 2 a fault.)";

template <typename Number>
bool readWhole(const std::string& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

/// The texts of the options whose values are checked here, so that their faults read like all others.
struct Raw {
    std::vector<std::string> words;
    std::string limit, since, until, frame, image, days, dataDirectory, picture, region;
    std::string color = "auto";
};

std::int64_t numberUpTo(std::int64_t most, const char* option, const std::string& text) {
    std::int64_t number = 0;
    if (!readWhole(text, number) || number < 1 || number > most)
        throw Fault(std::string(option) + " takes a whole number from 1 to " + std::to_string(most) + ", not \"" +
                    text + "\".");
    return number;
}

std::optional<Date> bound(const char* option, const std::string& text, TimePoint::Bound which, Date now) {
    if (text.empty()) return std::nullopt;
    const auto date = TimePoint::parse(text, which, now);
    if (!date)
        throw Fault(std::string(option) + " takes a time such as 7d, 24h, 90m, today, 2026-11-01 or " +
                    "\"2026-11-01 14:05\", not \"" + text + "\".");
    return date;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words)
        text.append(text.empty() ? "" : " ").append(word);
    return text;
}

ColorMode colorMode(const std::string& text) {
    if (text == "auto") return ColorMode::automatic;
    if (text == "always") return ColorMode::always;
    if (text == "never") return ColorMode::never;
    throw Fault("--color takes auto, always or never, not \"" + text + "\".");
}

Rect region(const std::string& text) {
    std::array<int, 4> numbers{};
    const char* at = text.data();
    const char* const end = text.data() + text.size();
    std::size_t count = 0;
    for (; count < numbers.size(); ++count) {
        const auto [next, error] = std::from_chars(at, end, numbers[count]);
        if (error != std::errc() || (next != end) != (count < 3) || (next != end && *next != ',')) break;
        at = next == end ? end : next + 1;
    }
    if (count < 4 || numbers[0] < 0 || numbers[1] < 0 || numbers[2] < 1 || numbers[3] < 1)
        throw Fault("--region takes pixels as X,Y,WIDTH,HEIGHT, such as 0,0,800,600, not \"" + text + "\".");
    return {double(numbers[0]), double(numbers[1]), double(numbers[2]), double(numbers[3])};
}

void check(CommandLine& line, const Raw& raw, Date now) {
    line.query = joined(raw.words);
    line.color = colorMode(raw.color);
    if (!raw.dataDirectory.empty()) line.dataDirectory = raw.dataDirectory;
    if (!raw.limit.empty()) line.limit = numberUpTo(mostHits, "--limit", raw.limit);
    if (!raw.days.empty()) line.days = static_cast<int>(numberUpTo(mostDays, "--days", raw.days));
    line.since = bound("--since", raw.since, TimePoint::Bound::from, now);
    line.until = bound("--until", raw.until, TimePoint::Bound::until, now);
    if (line.since && line.until && *line.since >= *line.until) throw Fault("--since must lie before --until.");
    if (!raw.image.empty()) line.imageFile = raw.image;
    line.picture = raw.picture;
    if (!raw.region.empty()) line.region = region(raw.region);
    if (line.command == Command::show && !readWhole(raw.frame, line.frame))
        throw Fault("show takes the number of a frame, not \"" + raw.frame + "\".");
}

/// An empty value is a slip (an unset shell variable, say), not a wish; of several, the last one counts.
void addValue(CLI::App& app, const std::string& name, std::string& value, const std::string& description,
              const char* placeholder) {
    const auto refuseEmpty = [](const std::string& text) { return std::string(text.empty() ? "is empty" : ""); };
    app.add_option(name, value, description)->type_name(placeholder)->take_last()->check(refuseEmpty, "");
}

/// One program's worth of arguments: CLI11 keeps references into `line` and `raw`.
class Grammar {
public:
    Grammar() {
        m_app.set_version_flag("--version", std::string("quillshadectl ") + QUILLSHADE_VERSION,
                               "Print the version and leave");
        m_app.get_formatter()->column_width(28);
        m_app.footer(overview);
        m_app.require_subcommand(1);
        addCommon(m_app);

        CLI::App& search = add(Command::search, "search", "Find what was on the screen", searchNotes);
        search.add_option("QUERY", m_raw.words, "What to look for; several words are one query")
            ->required()
            ->type_name("");
        search.add_flag("--newest", m_line.newest, "Order by time instead of relevance");
        addLimit(search, "At most so many hits");
        addBounds(search);
        addCommon(search);

        CLI::App& recent = add(Command::recent, "recent", "List what was seen last, newest first", recentNotes);
        addLimit(recent, "At most so many rows");
        addBounds(recent);
        addCommon(recent);

        CLI::App& show = add(Command::show, "show", "Print all that is known about one frame", showNotes);
        show.add_option("ID", m_raw.frame, "The frame's number")->required()->type_name("");
        addValue(show, "--image", m_raw.image, "Write the frame's picture to this PNG file", "FILE");
        addCommon(show);

        addCommon(add(Command::status, "status", "Tell whether Quillshade runs, and what it does", statusNotes));

        CLI::App& stats = add(Command::stats, "stats", "Print daily counters and disk use", statsNotes);
        addValue(stats, "--days", m_raw.days, "So many days, today included (7)", "N");
        addCommon(stats);

        CLI::App& ocr = add(Command::ocr, "ocr", "Read the text in a picture", ocrNotes);
        ocr.add_option("FILE", m_raw.picture, "The picture: PNG, JPEG, WebP")->required()->type_name("");
        ocr.add_option("--language", m_line.languages, "Its language, such as en-US or de; may be given several times")
            ->type_name("CODE")
            ->expected(1)
            ->allow_extra_args(false)
            ->take_all();
        addValue(ocr, "--region", m_raw.region, "Only this part, in pixels from the top left", "X,Y,W,H");
        addCommon(ocr);
    }

    std::variant<CommandLine, Notice> parse(std::vector<std::string> arguments, Date now) {
        std::reverse(arguments.begin(), arguments.end()); // the order in which CLI11 consumes them
        try {
            m_app.parse(arguments);
        } catch (const CLI::CallForVersion& version) {
            return Notice{std::string(version.what()) + "\n"};
        } catch (const CLI::Success&) {
            return Notice{m_app.help()};
        } catch (const CLI::ParseError& error) {
            throw Fault(sentence(error));
        }
        m_line.command = m_commands.at(m_app.get_subcommands().front());
        check(m_line, m_raw, now);
        return m_line;
    }

private:
    CLI::App& add(Command command, const char* name, const char* description, const char* notes) {
        CLI::App& app = *m_app.add_subcommand(name, description);
        app.footer(notes);
        m_commands.emplace(&app, command);
        return app;
    }

    void addCommon(CLI::App& app) {
        app.set_help_flag("-h,--help", "Print this help and leave");
        addValue(app, "--data-dir", m_raw.dataDirectory,
                 "The memory's folder (else $NOMARA_DATA_DIR, else the user's own)", "DIR");
        app.add_flag("--json", m_line.json, "Print JSON");
        addValue(app, "--color", m_raw.color, "auto (on a terminal), always or never", "WHEN");
    }

    void addLimit(CLI::App& app, const char* description) {
        addValue(app, "--limit", m_raw.limit, std::string(description) + " (20)", "N");
    }

    void addBounds(CLI::App& app) {
        addValue(app, "--since", m_raw.since, "Not before then", "TIME");
        addValue(app, "--until", m_raw.until, "Not after then", "TIME");
        app.add_option("--app", m_line.applications, "Only this application; may be given several times")
            ->type_name("ID")
            ->expected(1)
            ->allow_extra_args(false)
            ->take_all();
    }

    std::string sentence(const CLI::ParseError& error) const {
        const std::string help = "; --help explains the arguments.";
        const std::string unknown = joined(m_app.remaining(true));
        if (m_app.get_subcommands().empty() && (unknown.empty() || unknown.front() != '-'))
            return (unknown.empty() ? "A command is missing" : "There is no command \"" + unknown + "\"") +
                   ": it is search, recent, show, status, stats or ocr" + help;
        if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)
            return "Unknown argument \"" + unknown + "\"" + help;
        const std::string text = error.what();
        if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr)
            return text.substr(0, text.find(':')) + " takes one value" + help;
        return text + help;
    }

    CommandLine m_line;
    Raw m_raw;
    CLI::App m_app{"Finds again what was seen on this computer, in the memory that Quillshade keeps.", "quillshadectl"};
    std::map<const CLI::App*, Command> m_commands;
};

} // namespace

std::variant<CommandLine, Notice> parseArguments(const std::vector<std::string>& arguments, Date now) {
    return Grammar().parse(arguments, now);
}

} // namespace nomara::ctl
