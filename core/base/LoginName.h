#pragma once

#include <string>

namespace nomara {

/// The user's name on this machine; empty if nobody knows it. Asked once; callable from any thread.
const std::string& loginName();

} // namespace nomara
