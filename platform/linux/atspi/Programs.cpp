#include "platform/linux/atspi/Programs.h"

#include <algorithm>

namespace nomara::atspi {

namespace {

const ObjectRef registryRoot{"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};

} // namespace

std::vector<ObjectRef> Programs::responsive(SteadyClock::time_point deadline) {
    std::vector<ObjectRef> programs = all(deadline);
    std::erase_if(programs, [&](const ObjectRef& program) { return m_bus.isHung(program.bus); });
    return programs;
}

std::vector<ObjectRef> Programs::ofProcess(ProcessID pid, SteadyClock::time_point deadline) {
    std::vector<ObjectRef> programs = all(deadline);
    CallPipeline calls(m_bus, deadline);
    for (const ObjectRef& program : programs)
        if (!m_processes.contains(program.bus))
            ask::processID(calls, program.bus, [this, name = program.bus](std::optional<ProcessID> process) {
                if (process) m_processes[name] = *process;
            });
    calls.run();
    std::erase_if(programs, [&](const ObjectRef& program) {
        const auto found = m_processes.find(program.bus);
        return found == m_processes.end() || found->second != pid;
    });
    return programs;
}

std::vector<ProgramWindow> Programs::windows(const std::vector<ObjectRef>& programs, SteadyClock::time_point deadline,
                                             bool* complete) {
    // Answers of several programs arrive mixed; each program's windows are kept together.
    std::vector<std::vector<ProgramWindow>> found(programs.size());
    CallPipeline calls(m_bus, deadline);
    for (std::size_t i = 0; i < programs.size(); ++i)
        ask::children(calls, programs[i], [&, i](std::optional<std::vector<ObjectRef>> children) {
            if (!children) return;
            std::erase_if(*children, [](const ObjectRef& child) { return child.isNull(); });
            auto& windows = found[i];
            windows.resize(children->size());
            for (std::size_t j = 0; j < children->size(); ++j) {
                ProgramWindow& window = windows[j];
                window.object = (*children)[j];
                ask::role(calls, window.object,
                          [&window](std::optional<Role> role) { window.role = role.value_or(Role{}); });
                ask::states(calls, window.object,
                            [&window](std::optional<States> states) { window.states = states.value_or(States{}); });
                ask::name(calls, window.object,
                          [&window](const std::optional<std::string>& name) { window.name = name.value_or(""); });
                ask::extents(calls, window.object, [&window](std::optional<Rect> rect) { window.extents = rect; });
            }
        });
    const CallPipeline::Outcome outcome = calls.run();
    if (complete != nullptr) *complete = outcome == CallPipeline::Outcome::answered;
    std::vector<ProgramWindow> windows;
    for (auto& each : found)
        std::copy_if(std::make_move_iterator(each.begin()), std::make_move_iterator(each.end()),
                     std::back_inserter(windows), [](const ProgramWindow& window) { return isWindow(window.role); });
    return windows;
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

std::vector<ObjectRef> Programs::all(SteadyClock::time_point deadline) {
    forgetOldConnection();
    std::vector<ObjectRef> programs;
    CallPipeline calls(m_bus, deadline);
    ask::children(calls, registryRoot, [&](std::optional<std::vector<ObjectRef>> children) {
        if (children) programs = std::move(*children);
    });
    calls.run();
    std::erase_if(programs, [](const ObjectRef& program) { return program.isNull(); });
    return programs;
}

void Programs::forgetOldConnection() {
    if (m_generation == m_bus.generation()) return;
    m_generation = m_bus.generation();
    m_processes.clear();
    m_toolkits.clear();
}

} // namespace nomara::atspi
