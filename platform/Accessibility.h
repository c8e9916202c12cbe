#pragma once

#include "core/geometry/Geometry.h"
#include "core/reading/TextCoverage.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

using ProcessID = std::int32_t;

/// One object of a program's accessibility tree; its content means something to the backend alone.
struct AccessibleElement {
    std::string reference;
    friend bool operator==(const AccessibleElement&, const AccessibleElement&) = default;
};

struct AccessibleWindow {
    AccessibleElement element;
    std::optional<std::string> title; ///< absent when only white space would be left
    std::optional<Rect> frame;        ///< global display coordinates, in the program's own terms
    bool isActive = false;            ///< has the keyboard, as its program says
    friend bool operator==(const AccessibleWindow&, const AccessibleWindow&) = default;
};

/// Whether the element with the keyboard focus hides what is typed, or can't be told from one that does.
enum class SecureFocus {
    no,
    yes,
    unknown, ///< a program that ought to know didn't say, or there is nobody to ask
};

/// How far a walk through a window may go.
struct TextLimits {
    double budgetSeconds = 0.07;
    std::int64_t maxNodes = 1500;
    std::int64_t maxCharacters = 30'000;
};

/// What an editable line holds, as its program says, where nothing tells whether it shows that or dots instead.
struct UnprovenLine {
    std::string text;
    Rect place; ///< global display coordinates
    friend bool operator==(const UnprovenLine&, const UnprovenLine&) = default;
};

struct WindowText {
    /// One piece a line. What the controls of a window are called is no part of it, but for what somebody typed there.
    std::string text;
    /// Not to be kept, unless a picture shows the same at the same place.
    std::vector<UnprovenLine> unproven = {};
    std::int64_t visited = 0;
    bool finished = true; ///< false when a limit ended the walk
    /// The text is that of a page which the window shows, and nothing else.
    bool isPage = false;
    std::string language = {}; ///< as the page says, "de-AT" say; empty where it doesn't
    /// What is known of which part of the window; the later one counts where they meet.
    std::vector<TextPlace> places = {};
};

/// What a browser window's own controls tell about it. The page itself has no say in it.
struct BrowserFacts {
    std::optional<std::string> url; ///< of the page on show
    bool privateMarker = false;     ///< some control says that the window is private
    /// Whether `privateMarker` can be relied on: false where the controls could not be searched as far as it counts,
    /// and where there were none to search.
    bool markerKnown = false;
    friend bool operator==(const BrowserFacts&, const BrowserFacts&) = default;
};

/// Reads other programs' windows. All calls are synchronous and made on one thread. A program that hangs costs at most
/// the messaging timeout of 0.3 seconds a call. Nothing here fails: what can't be read is absent.
class Accessibility {
public:
    virtual ~Accessibility() = default;

    /// Whether there is anybody to ask. Asked again on every call, so a service that comes back is used again.
    virtual bool isTrusted() = 0;
    /// Why `isTrusted` is false, as a sentence for the user; empty while it is true.
    virtual std::string unavailableReason() = 0;

    /// `no` also where nothing has the focus. `front` is the process whose window is in front: the silence of another
    /// one makes nothing unknown. Nor does a process that can't be asked at all, because it doesn't take part in
    /// accessibility.
    virtual SecureFocus focusIsSecure(ProcessID front) = 0;
    /// The window of a process that has the focus, else its only one. Absent where it can't be told for certain.
    virtual std::optional<AccessibleWindow> frontWindow(ProcessID pid) = 0;
    virtual std::vector<AccessibleWindow> windows(ProcessID pid) = 0;
    /// The address of the document that a window shows.
    virtual std::optional<std::string> documentAddress(const AccessibleElement& window) = 0;
    /// The address that a browser's window shows, and with `deep` whether its controls say that it is a private one.
    virtual BrowserFacts browserFacts(const AccessibleElement& window, bool deep) = 0;
    /// The visible text below an element, in document order. Password fields are never read, nor what lies outside
    /// `frame`.
    virtual WindowText text(const AccessibleElement& element, const std::optional<Rect>& frame,
                            const TextLimits& limits) = 0;
};

} // namespace nomara
