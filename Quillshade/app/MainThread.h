#pragma once

#include "core/base/Executor.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <utility>

namespace nomara {

/// Hands work to the thread of the application object. Work that is still waiting when the application ends is dropped.
inline Executor mainThreadExecutor(QCoreApplication& application) {
    return [&application](std::function<void()> work) {
        QMetaObject::invokeMethod(&application, std::move(work), Qt::QueuedConnection);
    };
}

} // namespace nomara
