#pragma once

#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "tests/support/TemporaryData.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace nomara {

namespace fs = std::filesystem;

inline void write(const fs::path& file, std::string_view text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

inline std::string entry(std::string_view name, std::string_view exec, std::string_view more = "") {
    return "[Desktop Entry]\nType=Application\nName=" + std::string(name) + "\nExec=" + std::string(exec) + "\n" +
           std::string(more) + "\n";
}

// Installed programs and running processes, as files.
class Machine {
public:
    fs::path home() const { return m_folder.root() / "home"; }
    fs::path system() const { return m_folder.root() / "system"; }
    fs::path processes() const { return m_folder.root() / "proc"; }
    fs::path configuration() const { return m_folder.root() / "configuration"; }
    ApplicationIdentifier identifier() const {
        return ApplicationIdentifier({{home(), system()}, {configuration()}}, processes());
    }

    void install(const std::string& file, std::string_view text) const {
        write(system() / "applications" / file, text);
    }
    void run(ProcessID pid, const std::string& executable, const std::string& startTime = "100") const {
        const fs::path process = processes() / std::to_string(pid);
        fs::remove_all(process);
        // The name in brackets may itself hold brackets and spaces.
        std::string fields = std::to_string(pid) + " (a (b) c) S";
        for (int field = 4; field < 22; ++field)
            fields += " " + std::to_string(field);
        write(process / "stat", fields + " " + startTime + " 23 24\n");
        fs::create_symlink(executable, process / "exe");
    }
    void give(ProcessID pid, const std::string& file, std::string_view text) const {
        write(processes() / std::to_string(pid) / file, text);
    }

private:
    testing::TemporaryData m_folder;
};

} // namespace nomara
