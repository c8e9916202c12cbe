#pragma once

#include <functional>

namespace nomara {

/// Hands work to another thread and returns at once; the application gives one that reaches the main thread.
using Executor = std::function<void(std::function<void()>)>;

} // namespace nomara
