#include "quillshadectl/Ctl.h"

#include "core/base/Paths.h"
#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/Memory.h"
#include "quillshadectl/TerminalText.h"

#include <cstdlib>
#include <ostream>
#include <system_error>

namespace nomara::ctl {

namespace {

bool isColored(ColorMode mode, const Terminal& terminal) {
    if (mode == ColorMode::automatic) return terminal.isTerminal && terminal.wantsColor;
    return mode == ColorMode::always;
}

int run(Context& context) {
    switch (context.line.command) {
    case Command::search:
        return search(context);
    case Command::recent:
        return recent(context);
    case Command::show:
        return show(context);
    case Command::status:
        return status(context);
    case Command::stats:
        return stats(context);
    case Command::ocr:
        return ocr(context);
    }
    return ExitCode::fault;
}

int answer(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err, const Terminal& terminal,
           const Services& services) {
    const Date now = services.clock.now();
    const auto parsed = parseArguments(arguments, now);
    if (const auto* notice = std::get_if<Notice>(&parsed)) {
        out << notice->text;
        return ExitCode::fine;
    }
    const auto& line = std::get<CommandLine>(parsed);
    if (line.dataDirectory) setenv("NOMARA_DATA_DIR", line.dataDirectory->c_str(), 1);
    Context context{.out = out,
                    .err = err,
                    .line = line,
                    .colored = isColored(line.color, terminal),
                    .columns = terminal.isTerminal ? terminal.columns : 0,
                    .clock = services.clock,
                    .media = services.media,
                    .now = now,
                    .folder = NomaraPaths::dataDirectory()};
    return run(context);
}

int complain(std::ostream& err, const std::string& sentence) {
    err << "quillshadectl: " << TerminalText::singleLine(sentence) << '\n';
    return ExitCode::fault;
}

} // namespace

int runCtl(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err, const Terminal& terminal,
           const Services& services) {
    try {
        const int code = answer(arguments, out, err, terminal, services);
        if (!out.flush()) return complain(err, "The answer can't be written to the standard output.");
        return code;
    } catch (const Fault& fault) {
        return complain(err, fault.what());
    } catch (const SQLiteError& error) {
        return complain(err, explain(error, NomaraPaths::dataDirectory()));
    } catch (const std::exception& error) {
        return complain(err, std::string("Something unforeseen happened: ") + error.what() + ".");
    }
}

} // namespace nomara::ctl
