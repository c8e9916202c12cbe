#pragma once

#include "core/base/Clock.h"
#include "quillshadectl/CommandLine.h"
#include "quillshadectl/Media.h"

#include <filesystem>
#include <iosfwd>

namespace nomara::ctl {

/// What every command works with.
struct Context {
    std::ostream& out;
    std::ostream& err;
    const CommandLine& line;
    bool colored = false;
    std::int64_t columns = 0; ///< of the terminal; 0 where the answer goes elsewhere
    const Clock& clock;
    MediaSource media;
    Date now;
    std::filesystem::path folder; ///< of the memory
};

/// The commands. Each gives an ExitCode and throws Fault or SQLiteError.
int search(Context& context);
int recent(Context& context);
int show(Context& context);
int status(Context& context);
int stats(Context& context);
int ocr(Context& context);

} // namespace nomara::ctl
