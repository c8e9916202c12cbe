#pragma once

#include <stdexcept>

namespace nomara::ctl {

/// What the program answers its caller with.
namespace ExitCode {
constexpr int fine = 0;
constexpr int nothing = 1; ///< no hit, no such frame, not running
constexpr int fault = 2;
} // namespace ExitCode

/// Why a command can't be carried out: one whole sentence for the person at the terminal.
class Fault final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace nomara::ctl
