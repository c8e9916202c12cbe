#pragma once

#include "platform/Accessibility.h"
#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara::atspi {

/// What the controls of one browser window told. It is filled by a walk through the window that never enters a page,
/// and judged without the bus.
class BrowserFindings {
public:
    /// Levels below the window on which a mark of a private window counts, and to which elements are looked at.
    static constexpr int deepestMark = 8, deepest = 14;

    explicit BrowserFindings(Toolkit::Kind kind) : m_kind(kind) {}

    struct Element {
        int depth = 0;
        Role role{};
        Wording words{};
        Attributes attributes{};
        bool inToolBar = false; ///< below a tool bar
    };
    /// An element of the browser's own.
    void take(const Element& element);
    /// An element that could not be read.
    void fail(int depth);
    /// Whether this element is the field that holds the address.
    bool isAddressField(const Element& element) const;
    /// What the address field holds while nobody types into it.
    void takeTyped(const std::string& content);
    /// A page that shows, by its title and its address.
    void takePage(const std::string& title, const std::optional<std::string>& address);

    /// `finished`: the walk came to its end, or at least through the levels that count.
    BrowserFacts facts(bool finished) const;

private:
    bool titleIsOfNormalWindow() const;
    std::optional<std::string> address() const;

    struct Page {
        std::string title;
        std::optional<std::string> address;
    };

    Toolkit::Kind m_kind;
    std::string m_title;
    std::string m_typed;
    std::vector<Page> m_pages;
    int m_failures = 0;
    bool m_private = false, m_fieldSeen = false;
};

namespace BrowserRules {

/// Whether a control's folded label says that its window is private.
bool isPrivateLabel(std::string_view folded);
/// Whether a field's folded label says that it holds an address.
bool isAddressLabel(std::string_view folded);
/// Whether a window's name is what the browser calls a window that isn't private, in whatever language: it ends with
/// the product, or is the page's own title.
bool isNormalName(std::string_view name, Toolkit::Kind kind, const std::vector<std::string>& pageTitles);

} // namespace BrowserRules

} // namespace nomara::atspi
