#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara::atspi {

/// The address among a document's attributes, which each toolkit names in its own way. A page that stands in for one
/// that could not be loaded has none, nor has one that another page has written.
std::optional<std::string> addressIn(const Attributes& attributes);

/// Whether an address is one of the browser's own and of what stands beside a page: tools for developers, side bars.
bool isBrowsersOwnAddress(std::string_view address);

/// The address of the document that a window shows. It is searched for each time: in Chromium the document of a tab
/// that has gone to the back still says of itself that it shows.
class DocumentFinder {
public:
    explicit DocumentFinder(AtspiBus& bus) : m_bus(bus) {}

    std::optional<std::string> address(const ObjectRef& window, const Toolkit& toolkit);

private:
    /// What one look at a document that might be the one on show finds.
    struct Look {
        bool onShow = false;
        std::optional<std::string> address;
    };

    std::vector<Look> lookAt(const std::vector<ObjectRef>& documents, SteadyClock::time_point deadline);
    std::vector<ObjectRef> search(const ObjectRef& window, const Toolkit& toolkit, SteadyClock::time_point deadline);

    AtspiBus& m_bus;
};

} // namespace nomara::atspi
