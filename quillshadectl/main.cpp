#include "quillshadectl/Ctl.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return std::string_view(value == nullptr ? "" : value);
    };
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) size = {};
    std::ios::sync_with_stdio(false);
    const nomara::ctl::Terminal terminal{
        .isTerminal = isatty(STDOUT_FILENO) == 1,
        .wantsColor = variable("NO_COLOR").empty() && variable("TERM") != "dumb",
        .columns = size.ws_col,
    };
    const nomara::SystemClock clock;
    return nomara::ctl::runCtl({argv + (argc > 0 ? 1 : 0), argv + argc}, std::cout, std::cerr, terminal,
                               {clock, nomara::ctl::loadedMedia});
}
