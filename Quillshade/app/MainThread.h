#pragma once

#include "core/base/Executor.h"

class QCoreApplication;

namespace nomara {

/// Hands work to the thread of the application object, which is also the one to call this. Work that is still waiting
/// when the application ends is dropped.
Executor mainThreadExecutor(QCoreApplication& application);

} // namespace nomara
