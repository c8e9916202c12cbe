#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace nomara::atspi {

/// One top-level window of a program.
struct ProgramWindow {
    ObjectRef object;
    Role role{};
    States states;
    std::string name;
    std::optional<Rect> extents;

    /// Programs keep nameless windows without a size for pop-ups that are not open.
    bool isUsable() const { return extents && !extents->isEmpty(); }
};

/// The programs on the accessibility bus and their windows. What never changes about a program is asked once.
class Programs {
public:
    explicit Programs(AtspiBus& bus) : m_bus(bus) {}

    /// Root objects of every program, of which there may be none. Absent where the registry doesn't tell in time.
    std::optional<std::vector<ObjectRef>> all(SteadyClock::time_point deadline);
    std::vector<ObjectRef> ofProcess(ProcessID pid, SteadyClock::time_point deadline);
    /// In the programs' own order; those of a program that doesn't answer in time are missing.
    std::vector<ProgramWindow> windows(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline);
    /// Those alone that say they have the keyboard. `complete` says whether all programs have answered in time.
    std::vector<ProgramWindow> activeWindows(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline,
                                             bool& complete);
    /// Those alone that decide which one is in front: active ones, or all that show where there is none.
    std::vector<ProgramWindow> frontWindows(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline);
    Toolkit toolkit(const std::string& program, SteadyClock::time_point deadline);
    /// Whether a window of the program can show a page that has an address.
    bool mayShowPages(const std::string& program, SteadyClock::time_point deadline);
    /// Whether a window of this process can be one of the program's. Certainly not only where the process that speaks
    /// for the program is known, is another one, and doesn't pass on messages of programs from elsewhere.
    bool mayBelongTo(const std::string& program, ProcessID pid, SteadyClock::time_point deadline);

private:
    enum class Answers { fresh, ofThisLook };

    std::vector<ProgramWindow> children(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline,
                                        bool& complete, Answers answers = Answers::fresh);
    bool readWhole(const std::vector<ProgramWindow*>& windows, SteadyClock::time_point deadline);
    void learnProcesses(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline);
    void forgetOldConnection();

    /// A program's windows with their states, as they were a moment ago.
    struct Moment {
        std::vector<ProgramWindow> windows;
        SteadyClock::time_point asked;
    };

    AtspiBus& m_bus;
    std::uint64_t m_generation = 0;
    std::unordered_map<std::string, Moment> m_moments;
    std::unordered_map<std::string, ProcessID> m_processes;
    std::unordered_map<std::string, Toolkit> m_toolkits;
};

} // namespace nomara::atspi
