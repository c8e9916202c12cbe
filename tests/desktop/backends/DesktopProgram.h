#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace nomara {

/// A real program of the virtual desktop, ended with everything it started when this goes away.
class DesktopProgram {
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;
    /// Whether the test reads what the program prints and writes what it reads; otherwise both lead nowhere.
    enum class Streams { none, piped };

    explicit DesktopProgram(const std::vector<std::string>& command, const Environment& environment = {},
                            Streams streams = Streams::none);
    ~DesktopProgram();
    DesktopProgram(const DesktopProgram&) = delete;
    DesktopProgram& operator=(const DesktopProgram&) = delete;

    pid_t pid() const { return m_pid; }
    /// To the program and what it started.
    void signal(int number) const;
    /// Gently first; nothing the second time.
    void end();

    void writeLine(std::string_view line) const;
    /// The next line that it prints; empty when it prints no more.
    std::string readLine() const;
    /// Everything that it prints until it ends.
    std::string readAll() const;

private:
    pid_t m_pid = -1;
    int m_input = -1, m_output = -1; ///< our ends; -1 where they lead nowhere
};

/// Looks until the condition holds. False when it doesn't within a time that is generous for a busy machine.
bool waitUntil(const std::function<bool()>& condition, std::chrono::seconds longest = std::chrono::seconds(20));
/// Runs a command to its end; its exit code.
int runCommand(const std::vector<std::string>& command);
/// What a command prints until it ends.
std::string outputOf(const std::vector<std::string>& command);
/// A new folder below the desktop's temporary one, which is removed with the desktop.
std::string newFolder();
void writeFile(const std::string& path, const std::string& content);

} // namespace nomara
