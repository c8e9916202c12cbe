#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nomara::testing {

/// Looks again and again until the condition holds; false when it doesn't within the time.
template <typename Condition>
bool waitUntil(Condition condition, double seconds = 15) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

/// A real program in the test's desktop. It is ended with this object, gently first.
class Program {
public:
    explicit Program(std::vector<std::string> command) {
        std::vector<char*> arguments;
        for (std::string& word : command)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        const int error = posix_spawnp(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        m_output = ends[0];
        if (error != 0) {
            close(m_output);
            throw std::runtime_error("can't start " + command[0]);
        }
    }
    ~Program() {
        end();
        close(m_output);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return m_pid; }

    /// The next line that it prints; empty when it prints no more.
    std::string readLine() {
        std::string line;
        for (char c = 0; read(m_output, &c, 1) == 1 && c != '\n';)
            line += c;
        return line;
    }

    /// Everything that it prints until it ends.
    std::string readAll() {
        std::string text;
        for (char c = 0; read(m_output, &c, 1) == 1;)
            text += c;
        return text;
    }

    void end() {
        if (m_pid == 0) return;
        kill(m_pid, SIGTERM);
        const auto hasEnded = [&] { return waitpid(m_pid, nullptr, WNOHANG) != 0; };
        if (!waitUntil(hasEnded, 2)) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        m_pid = 0;
    }

private:
    pid_t m_pid = 0;
    int m_output = -1;
};

/// What a command prints; for short ones.
inline std::string outputOf(std::vector<std::string> command) {
    return Program(std::move(command)).readAll();
}

} // namespace nomara::testing
