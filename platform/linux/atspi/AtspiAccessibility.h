#pragma once

#include "platform/Accessibility.h"

#include <memory>

namespace nomara {

/// Accessibility over the desktop's accessibility bus.
///
/// It may be constructed on any thread and is then used from one. No operation waits longer than the messaging timeout
/// for a program that hangs. A bus that was not there, or went away, is looked for again by later calls, every few
/// seconds at most.
class AtspiAccessibility final : public Accessibility {
public:
    /// How a window's objects are found. Both ways give the same text; `automatic` asks fewer questions where it is
    /// known what the program's toolkit can be relied upon for.
    enum class Reading { automatic, walk };

    explicit AtspiAccessibility(Reading reading = Reading::automatic);
    ~AtspiAccessibility() override;

    bool isTrusted() override;
    std::string unavailableReason() override;
    SecureFocus focusIsSecure(ProcessID front) override;
    std::optional<AccessibleWindow> frontWindow(ProcessID pid) override;
    std::vector<AccessibleWindow> windows(ProcessID pid) override;
    std::optional<std::string> documentAddress(const AccessibleElement& window) override;
    BrowserFacts browserFacts(const AccessibleElement& window, bool deep) override;
    WindowText text(const AccessibleElement& element, const std::optional<Rect>& frame,
                    const TextLimits& limits) override;

    /// Questions put to programs so far. What reading costs them, and us, goes with this number.
    std::uint64_t callsSent() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace nomara
