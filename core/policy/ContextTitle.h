#pragma once

#include <deque>
#include <optional>
#include <string>

namespace nomara {

/// Which title stands for what the window in front shows. Most titles name a document, and another one means another
/// document. One that keeps changing (a progress, a spinner, a timer) means nothing: from then on the title that it had
/// stands for the window, until it comes to rest. A plain value; times in monotonic seconds.
class ContextTitle {
public:
    using Title = std::optional<std::string>;

    /// To be asked at each look. `window` tells windows apart.
    const Title& of(const std::string& window, const Title& title, double now);

private:
    std::string m_window;
    Title m_last, m_context;
    std::deque<double> m_changes; // the latest last
    bool m_isRestless = false;
};

} // namespace nomara
