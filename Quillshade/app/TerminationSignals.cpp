#include "Quillshade/app/TerminationSignals.h"

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace nomara {

TerminationSignals::TerminationSignals(std::function<void()> onSignal) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_file = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    m_notifier = std::make_unique<QSocketNotifier>(m_file, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [file = m_file, onSignal = std::move(onSignal)] {
        signalfd_siginfo signal{};
        while (read(file, &signal, sizeof signal) == sizeof signal)
            onSignal();
    });
}

TerminationSignals::~TerminationSignals() {
    m_notifier.reset();
    if (m_file >= 0) close(m_file);
}

} // namespace nomara
