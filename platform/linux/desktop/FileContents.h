#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace nomara {

/// Reads files that other programs have made and may have made badly. Callable from any thread.
namespace FileContents {

/// At most the first `maxBytes` of a regular file. Empty where it can't be read or is something else: a pipe in its
/// place could make the reader wait for good.
std::string read(const std::filesystem::path& file, std::size_t maxBytes);

} // namespace FileContents

} // namespace nomara
