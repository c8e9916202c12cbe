#pragma once

#include "core/base/Clock.h"
#include "quillshadectl/Media.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace nomara::ctl {

/// What the standard output is.
struct Terminal {
    bool isTerminal = false;
    bool wantsColor = true;   ///< what the environment says; an explicit --color has the last word
    std::int64_t columns = 0; ///< of the terminal; 0 where unknown
};

/// What the commands work with.
struct Services {
    const Clock& clock;
    MediaSource media;
};

/// The terminal companion: carries out one command line (without the program's name) and gives the exit code, one of
/// ExitCode. Answers go to `out`; a fault leaves exactly one line on `err`. Throws nothing. A --data-dir becomes the
/// process's NOMARA_DATA_DIR, since the paths of the memory are read from there.
int runCtl(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err, const Terminal& terminal,
           const Services& services);

} // namespace nomara::ctl
