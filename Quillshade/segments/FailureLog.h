#pragma once

#include "platform/WindowServer.h"

#include <map>
#include <mutex>
#include <set>
#include <string>

namespace nomara {

/// Failures that come again with every picture, for as long as a disk is full, are told once. Callable from any thread.
class FailureLog {
public:
    /// Logs the sentence unless it stands for another display, or for this one since its last `recovered`.
    void tell(DisplayID display, const std::string& message);
    /// A picture of that display has been stored.
    void recovered(DisplayID display);
    /// Recording ends, or pauses: nothing stands any more.
    void clear();

private:
    std::mutex m_mutex; // guards m_standing
    std::map<std::string, std::set<DisplayID>> m_standing;
};

} // namespace nomara
