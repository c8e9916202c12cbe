#include "platform/linux/atspi/DocumentFinder.h"

#include "core/text/Graphemes.h"
#include "platform/linux/atspi/ShownWalk.h"

#include <algorithm>
#include <array>

namespace nomara::atspi {

namespace {

// Tools for developers may stand before the page, and hold documents of their own.
constexpr std::size_t mostDocuments = 16;
// A program's own controls around its page.
constexpr std::size_t mostSearched = 500;

bool mayHoldDocument(Role role) {
    const Treatment treatment = treatmentOf(role);
    return treatment == Treatment::structure || treatment == Treatment::container;
}

} // namespace

std::optional<std::string> addressIn(const Attributes& attributes) {
    for (const char* key : {"URI", "DocURL"}) {
        const auto found = attributes.find(key);
        if (found == attributes.end() || Graphemes::trimmed(found->second).empty()) continue;
        if (found->second.starts_with("chrome-error:") || found->second == "about:blank") continue;
        return found->second;
    }
    return std::nullopt;
}

bool isBrowsersOwnAddress(std::string_view address) {
    constexpr std::array<std::string_view, 7> schemes{
        "chrome:", "chrome-untrusted:", "devtools:", "about:", "chrome-extension:", "moz-extension:", "resource:"};
    return std::any_of(schemes.begin(), schemes.end(),
                       [&](std::string_view scheme) { return address.starts_with(scheme); });
}

std::optional<std::string> DocumentFinder::address(const ObjectRef& window, const Toolkit& toolkit) {
    const auto deadline = SteadyClock::now() + messagingTimeout;
    const auto documents = search(window, toolkit, deadline);
    const auto looks = lookAt(documents, deadline);
    std::optional<std::string> own;
    for (const Look& look : looks) {
        if (!look.onShow || !look.address) continue;
        if (!isBrowsersOwnAddress(*look.address)) return look.address;
        if (!own) own = look.address;
    }
    return own;
}

std::vector<DocumentFinder::Look> DocumentFinder::lookAt(const std::vector<ObjectRef>& documents,
                                                         SteadyClock::time_point deadline) {
    std::vector<Look> looks(documents.size());
    CallPipeline calls(m_bus, deadline);
    for (std::size_t i = 0; i < documents.size(); ++i) {
        Look& look = looks[i];
        ask::states(calls, documents[i],
                    [&look](std::optional<States> states) { look.onShow = states && states->isShowing(); });
        // Pop-ups that are not open hold documents of no size that claim to show. No extents at all are no such sign.
        ask::extents(calls, documents[i], [&look](std::optional<Rect> rect) {
            if (rect && rect->isEmpty()) look.onShow = false;
        });
        ask::interfaces(calls, documents[i], [&, document = documents[i]](std::optional<Interfaces> interfaces) {
            if (!interfaces || !interfaces->document) return;
            ask::documentAttributes(calls, document, [&look](const std::optional<Attributes>& found) {
                if (found) look.address = addressIn(*found);
            });
        });
    }
    calls.run();
    return looks;
}

/// The document that the window names as the one it is a frame around, else those that show.
std::vector<ObjectRef> DocumentFinder::search(const ObjectRef& window, const Toolkit& toolkit,
                                              SteadyClock::time_point deadline) {
    std::vector<ObjectRef> documents;
    CallPipeline calls(m_bus, deadline);
    ask::embedded(calls, window, [&](std::optional<ObjectRef> document) {
        if (document && !document->isNull()) documents.push_back(*document);
    });
    if (calls.run() != CallPipeline::Outcome::answered || !documents.empty()) return documents;
    walkShown(m_bus, window, toolkit, mostSearched, deadline, [&](const ShownNode& node) {
        if (!isPage(node.role)) return mayHoldDocument(node.role) ? WalkStep::enter : WalkStep::pass;
        documents.push_back(node.object);
        return documents.size() < mostDocuments ? WalkStep::pass : WalkStep::finish;
    });
    return documents;
}

} // namespace nomara::atspi
