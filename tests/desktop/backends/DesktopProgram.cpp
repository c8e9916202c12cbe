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

// What the child has instead of our own streams; -1 for nowhere.
struct Ends {
    int input = -1, output = -1;
};

/// The child leads a process group, so that what it starts can be ended with it.
pid_t start(const std::vector<std::string>& command, const DesktopProgram::Environment& environment, Ends ends = {}) {
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
    dup2(ends.input >= 0 ? ends.input : nowhere, STDIN_FILENO);
    dup2(ends.output >= 0 ? ends.output : nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

bool hasEnded(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) != 0;
}

} // namespace

DesktopProgram::DesktopProgram(const std::vector<std::string>& command, const Environment& environment,
                               Streams streams) {
    if (streams == Streams::none) {
        m_pid = start(command, environment);
    } else {
        int input[2], output[2];
        if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        m_pid = start(command, environment, {input[0], output[1]});
        close(input[0]);
        close(output[1]);
        m_input = input[1];
        m_output = output[0];
    }
    setpgid(m_pid, m_pid); // whoever comes first; signals must not go to the tests' own group
}

DesktopProgram::~DesktopProgram() {
    end();
    for (const int stream : {m_input, m_output})
        if (stream >= 0) close(stream);
}

void DesktopProgram::end() {
    if (m_pid < 0) return;
    signal(SIGCONT);
    signal(SIGTERM);
    const bool isGone = waitUntil([this] { return hasEnded(m_pid); }, std::chrono::seconds(3));
    signal(SIGKILL); // also to what it started
    if (!isGone) waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

void DesktopProgram::signal(int number) const {
    if (m_pid > 0) kill(-m_pid, number);
}

void DesktopProgram::writeLine(std::string_view line) const {
    const std::string text = std::string(line) + "\n";
    if (write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("the program doesn't read");
}

std::string DesktopProgram::readLine() const {
    std::string line;
    for (char c = 0; read(m_output, &c, 1) == 1 && c != '\n';)
        line += c;
    return line;
}

std::string DesktopProgram::readAll() const {
    std::string text;
    for (char c = 0; read(m_output, &c, 1) == 1;)
        text += c;
    return text;
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

std::string outputOf(const std::vector<std::string>& command) {
    return DesktopProgram(command, {}, DesktopProgram::Streams::piped).readAll();
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
