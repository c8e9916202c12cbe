#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace nomara {

/// A real program of the virtual desktop, ended with everything it started when this goes away.
class DesktopProgram {
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    explicit DesktopProgram(const std::vector<std::string>& command, const Environment& environment = {});
    ~DesktopProgram();
    DesktopProgram(const DesktopProgram&) = delete;
    DesktopProgram& operator=(const DesktopProgram&) = delete;

    pid_t pid() const { return m_pid; }
    /// To the program and what it started.
    void signal(int number) const;

private:
    pid_t m_pid = -1;
};

/// Looks until the condition holds. False when it doesn't within a time that is generous for a busy machine.
bool waitUntil(const std::function<bool()>& condition, std::chrono::seconds longest = std::chrono::seconds(20));
/// Runs a command to its end; its exit code.
int runCommand(const std::vector<std::string>& command);
/// A new folder below the desktop's temporary one, which is removed with the desktop.
std::string newFolder();
void writeFile(const std::string& path, const std::string& content);

} // namespace nomara
