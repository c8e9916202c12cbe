#include "tests/desktop/backends/DesktopProgram.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nomara {

namespace {

/// The child leads a process group, so that what it starts can be ended with it.
pid_t start(const std::vector<std::string>& command, const DesktopProgram::Environment& environment) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& each : command)
        arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child > 0) return child;
    setpgid(0, 0);
    for (const auto& [key, value] : environment)
        setenv(key.c_str(), value.c_str(), 1);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int descriptor : {0, 1, 2})
        dup2(nowhere, descriptor);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

bool hasEnded(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) != 0;
}

} // namespace

DesktopProgram::DesktopProgram(const std::vector<std::string>& command, const Environment& environment)
    : m_pid(start(command, environment)) {
    setpgid(m_pid, m_pid); // whoever comes first; signals must not go to the tests' own group
}

DesktopProgram::~DesktopProgram() {
    signal(SIGCONT);
    signal(SIGTERM);
    if (!waitUntil([this] { return hasEnded(m_pid); }, std::chrono::seconds(3))) {
        signal(SIGKILL);
        waitpid(m_pid, nullptr, 0);
        return;
    }
    signal(SIGKILL);
}

void DesktopProgram::signal(int number) const {
    kill(-m_pid, number);
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::seconds longest) {
    const auto deadline = std::chrono::steady_clock::now() + longest;
    for (;;) {
        if (condition()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

int runCommand(const std::vector<std::string>& command) {
    int status = 0;
    const pid_t child = start(command, {});
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string newFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/test.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    return pattern;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) throw std::runtime_error("can't write " + path);
}

} // namespace nomara
