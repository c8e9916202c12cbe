#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace nomara::ctl {

constexpr std::uint64_t answerMicroseconds = 3'000'000; // a busy program takes a tenth of that

/// The running program's own report, as it gave it; absent when it doesn't run in this session. Waits so long at most
/// and never starts the program. Throws Fault where there is no bus, or no answer.
std::optional<std::string> askRunningProgram(std::uint64_t microseconds = answerMicroseconds);

} // namespace nomara::ctl
