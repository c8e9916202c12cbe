#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace nomara {

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread. To be made before any other thread starts, so that
/// all of them leave these signals alone.
class TerminationSignals {
public:
    explicit TerminationSignals(std::function<void()> onSignal);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    int m_file = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace nomara
