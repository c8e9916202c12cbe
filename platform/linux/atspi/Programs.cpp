#include "platform/linux/atspi/Programs.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace nomara::atspi {

namespace {

const ObjectRef registryRoot{"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};

// Of both there are some dozens in earnest.
constexpr std::int32_t mostPrograms = 2000, mostWindows = 500;

// Two questions of one look follow each other within a few milliseconds.
constexpr std::chrono::milliseconds sameMoment{20};

template <typename Fits>
std::vector<ProgramWindow*> those(std::vector<ProgramWindow>& windows, Fits fits) {
    std::vector<ProgramWindow*> found;
    for (ProgramWindow& window : windows)
        if (fits(window)) found.push_back(&window);
    return found;
}

/// Programs in a sandbox speak to the bus through such a process, and their windows belong to another one.
bool isRelay(ProcessID pid) {
    std::string name;
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    return !std::getline(file, name) || name == "xdg-dbus-proxy";
}

/// True also where it can't be told.
bool mayHaveLoadedWebKit(ProcessID pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/maps");
    bool isRead = false;
    for (std::string line; std::getline(file, line); isRead = true)
        if (line.find("webkit") != std::string::npos) return true;
    return !isRead;
}

std::vector<ProgramWindow> properOnes(std::vector<ProgramWindow> windows) {
    std::erase_if(windows, [](const ProgramWindow& window) { return !isWindow(window.role); });
    return windows;
}

} // namespace

std::vector<ObjectRef> Programs::ofProcess(ProcessID pid, SteadyClock::time_point deadline) {
    std::vector<ObjectRef> programs = all(deadline).value_or(std::vector<ObjectRef>());
    learnProcesses(programs, deadline);
    std::erase_if(programs, [&](const ObjectRef& program) {
        const auto found = m_processes.find(program.bus);
        return found == m_processes.end() || found->second != pid;
    });
    return programs;
}

std::vector<ProgramWindow> Programs::windows(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline) {
    bool complete = false;
    std::vector<ProgramWindow> all = children(programs, deadline, complete);
    readWhole(those(all, [](const ProgramWindow&) { return true; }), deadline);
    return properOnes(std::move(all));
}

std::vector<ProgramWindow> Programs::activeWindows(const std::vector<ObjectRef>& programs,
                                                   SteadyClock::time_point deadline, bool& complete) {
    // One program that hangs doesn't use up the time for the others' windows.
    const auto now = SteadyClock::now();
    std::vector<ProgramWindow> all = children(programs, now + (deadline - now) * 2 / 3, complete);
    std::erase_if(all, [](const ProgramWindow& window) { return !window.states.isActive(); });
    complete = readWhole(those(all, [](const ProgramWindow&) { return true; }), deadline) && complete;
    return properOnes(std::move(all));
}

// A browser keeps a dozen windows for pop-ups that aren't open; what each is called and where it lies is asked of none.
std::vector<ProgramWindow> Programs::frontWindows(const std::vector<ObjectRef>& programs,
                                                  SteadyClock::time_point deadline) {
    bool complete = false;
    std::vector<ProgramWindow> all = children(programs, deadline, complete, Answers::ofThisLook);
    std::erase_if(all, [](const ProgramWindow& window) { return !window.states.isShowing(); });
    const auto active = those(all, [](const ProgramWindow& window) { return window.states.isActive(); });
    // Where an active one doesn't answer, the others aren't asked: one of them would be taken for it.
    const bool isRead = readWhole(active, deadline);
    const bool isFound = std::any_of(active.begin(), active.end(), [](const ProgramWindow* window) {
        return isWindow(window->role) && window->isUsable();
    });
    if (isRead && !isFound)
        readWhole(those(all, [](const ProgramWindow& window) { return !window.states.isActive(); }), deadline);
    return properOnes(std::move(all));
}

/// All windows with their states, and nothing else. Each look asks for the focus and then for the front window, and
/// what the first question has only just brought is good enough for the second.
std::vector<ProgramWindow> Programs::children(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline,
                                              bool& complete, Answers answers) {
    const auto now = SteadyClock::now();
    std::erase_if(m_moments, [&](const auto& entry) { return now - entry.second.asked > sameMoment; });
    // Answers of several programs arrive mixed; each program's windows are kept together.
    std::vector<std::vector<ProgramWindow>> found(programs.size());
    CallPipeline calls(m_bus, deadline);
    for (std::size_t i = 0; i < programs.size(); ++i) {
        const auto known = m_moments.find(programs[i].bus);
        if (known != m_moments.end() && answers == Answers::ofThisLook) {
            found[i] = known->second.windows;
            continue;
        }
        ask::children(calls, programs[i], mostWindows, [&, i](std::optional<std::vector<ObjectRef>> children) {
            if (!children) return;
            std::erase_if(*children, [](const ObjectRef& child) { return child.isNull(); });
            auto& windows = found[i];
            windows.resize(children->size());
            for (std::size_t j = 0; j < children->size(); ++j) {
                ProgramWindow& window = windows[j];
                window.object = (*children)[j];
                ask::states(calls, window.object,
                            [&window](std::optional<States> states) { window.states = states.value_or(States{}); });
            }
        });
    }
    complete = calls.run() == CallPipeline::Outcome::answered;
    std::vector<ProgramWindow> windows;
    for (std::size_t i = 0; i < programs.size(); ++i) {
        if (complete && answers == Answers::fresh) m_moments.insert_or_assign(programs[i].bus, Moment{found[i], now});
        std::move(found[i].begin(), found[i].end(), std::back_inserter(windows));
    }
    return windows;
}

/// False where a program didn't answer in time.
bool Programs::readWhole(const std::vector<ProgramWindow*>& windows, SteadyClock::time_point deadline) {
    CallPipeline calls(m_bus, deadline);
    for (ProgramWindow* const window : windows) {
        ask::role(calls, window->object, [window](std::optional<Role> role) { window->role = role.value_or(Role{}); });
        ask::name(calls, window->object,
                  [window](const std::optional<std::string>& name) { window->name = name.value_or(""); });
        ask::extents(calls, window->object, [window](std::optional<Rect> rect) { window->extents = rect; });
    }
    return calls.run() == CallPipeline::Outcome::answered;
}

Toolkit Programs::toolkit(const std::string& program, SteadyClock::time_point deadline) {
    forgetOldConnection();
    if (const auto known = m_toolkits.find(program); known != m_toolkits.end()) return known->second;
    Toolkit toolkit;
    CallPipeline calls(m_bus, deadline);
    ask::toolkit(calls, {program, registryRoot.path}, [&](const std::optional<std::string>& name) {
        if (!name) return;
        toolkit = Toolkit::named(*name);
        m_toolkits[program] = toolkit;
    });
    calls.run();
    return toolkit;
}

std::optional<std::vector<ObjectRef>> Programs::all(SteadyClock::time_point deadline) {
    forgetOldConnection();
    std::optional<std::vector<ObjectRef>> programs;
    CallPipeline calls(m_bus, deadline);
    ask::children(calls, registryRoot, mostPrograms,
                  [&](std::optional<std::vector<ObjectRef>> children) { programs = std::move(children); });
    calls.run();
    if (programs) std::erase_if(*programs, [](const ObjectRef& program) { return program.isNull(); });
    return programs;
}

void Programs::learnProcesses(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline) {
    CallPipeline calls(m_bus, deadline);
    for (const ObjectRef& program : programs)
        if (!m_processes.contains(program.bus))
            ask::processID(calls, program.bus, [this, name = program.bus](std::optional<ProcessID> process) {
                if (process) m_processes[name] = *process;
            });
    calls.run();
}

bool Programs::mayBelongTo(const std::string& program, ProcessID pid, SteadyClock::time_point deadline) {
    learnProcesses({{program, registryRoot.path}}, deadline);
    const auto found = m_processes.find(program);
    return pid <= 0 || found == m_processes.end() || found->second == pid || isRelay(found->second);
}

bool Programs::mayShowPages(const std::string& program, SteadyClock::time_point deadline) {
    const Pages pages = toolkit(program, deadline).pages;
    if (pages != Pages::withWebKit) return pages == Pages::any;
    learnProcesses({{program, registryRoot.path}}, deadline);
    const auto found = m_processes.find(program);
    return found == m_processes.end() || isRelay(found->second) || mayHaveLoadedWebKit(found->second);
}

void Programs::forgetOldConnection() {
    if (m_generation == m_bus.generation()) return;
    m_generation = m_bus.generation();
    m_processes.clear();
    m_toolkits.clear();
    m_moments.clear();
}

} // namespace nomara::atspi
