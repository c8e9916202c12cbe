#pragma once

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nomara::testing {

/// Another process that does its work, reports numbers as it goes on, and is killed in the middle of it.
class KilledProcess {
public:
    using Report = std::function<void(std::int64_t number)>;

    explicit KilledProcess(const std::function<void(const Report&)>& work) {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) std::abort();
        m_process = fork();
        m_pipe = ends[0];
        if (m_process != 0) {
            close(ends[1]);
            return;
        }
        close(ends[0]);
        try {
            work([&](std::int64_t number) {
                if (write(ends[1], &number, sizeof number) != sizeof number) _exit(3);
            });
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    ~KilledProcess() {
        kill();
        close(m_pipe);
    }
    KilledProcess(const KilledProcess&) = delete;
    KilledProcess& operator=(const KilledProcess&) = delete;

    /// Waits for the next number; nothing once the process has ended and all have been read.
    std::optional<std::int64_t> next() const {
        std::int64_t number = 0;
        if (read(m_pipe, &number, sizeof number) != sizeof number) return std::nullopt;
        return number;
    }
    /// Fails unless the process dies of it.
    void kill() {
        if (m_process < 0) return;
        ::kill(m_process, SIGKILL);
        int status = 0;
        waitpid(m_process, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the process failed: " << status;
        m_process = -1;
    }

private:
    pid_t m_process = -1;
    int m_pipe = -1;
};

} // namespace nomara::testing
