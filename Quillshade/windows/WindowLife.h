#pragma once

#include "Quillshade/settings/RecorderConfig.h"
#include "core/privacy/WindowPrivacy.h"
#include "platform/Accessibility.h"

#include <map>
#include <optional>
#include <string>

namespace nomara {

/// Since when a window's page is known to have its address. A page may go to another address and come back without
/// changing its title, so that it had one at some moment is certain only from readings before and after that agree and
/// lie close together. Pure; monotonic seconds.
class AddressProof {
public:
    /// A reading that was made between these moments; an absent address couldn't be read.
    void read(const std::optional<std::string>& url, double begin, double end);

    /// What the last reading gave.
    const std::optional<std::string>& url() const { return m_url; }
    /// When the last reading began; absent before the first.
    std::optional<double> readAt() const { return m_readAt; }
    /// Whether what was painted at that moment was of `url`.
    bool holdsAt(double moment) const { return m_url && m_readAt && m_since < moment && moment <= *m_readAt; }

private:
    std::optional<std::string> m_url;
    std::optional<double> m_readAt;
    double m_readUntil = 0, m_since = 0;
};

/// What has been observed of one browser window from its first sight to its end: whether it is private, and its page's
/// address. Pure; times are monotonic seconds.
class WindowLife {
public:
    /// Once private, always private. True: its controls or its browser say so. False: its controls were searched and
    /// none says so. Absent: unknown.
    std::optional<bool> privateMarker() const { return m_marker; }
    const std::optional<AccessibleElement>& element() const { return m_element; }
    const AddressProof& address() const { return m_address; }
    /// When it was last tried to find it on the accessibility bus.
    std::optional<double> attemptedAt() const { return m_attemptedAt; }
    const std::optional<std::string>& attemptedTitle() const { return m_attemptedTitle; }

    /// A title that announces a private window ends the trust in a search that found none: it is to be searched again.
    void sawTitle(const std::optional<std::string>& title);
    void sawAttempt(const std::optional<std::string>& title, double now);
    /// Its controls were searched, below this element; without one it is known to be one of several that all gave this
    /// answer. An absent marker means that the search wasn't complete.
    void sawControls(const std::optional<AccessibleElement>& element, std::optional<bool> marker);
    void sawAddress(const std::optional<std::string>& title, const std::optional<std::string>& url, double begin,
                    double end);
    void sawAlwaysPrivate() { m_isAlwaysPrivate = true; }

    /// The address that was read under this title less than a minute ago; absent where there is none. Not good enough
    /// where sites are excluded.
    std::optional<std::string> recentAddress(const std::optional<std::string>& title, double now) const;

    /// What the last observations say.
    WindowPrivacy::Verdict verdict(const std::optional<std::string>& title, const RecorderConfig& config) const;
    /// The same for an image that was taken at `imageAt`. One that would be allowed, had the address been read twice,
    /// is `unconfirmed`, but not for long.
    WindowPrivacy::Verdict verdictForImage(const std::optional<std::string>& title, const RecorderConfig& config,
                                           double imageAt, double now);

private:
    struct Address {
        std::optional<std::string> url;
        double readAt = 0;
    };

    std::optional<bool> m_marker;
    std::optional<AccessibleElement> m_element;
    AddressProof m_address;
    std::map<std::optional<std::string>, Address> m_addresses; // by title
    std::optional<std::string> m_privateTitle;                 // the last that announced a private window
    std::optional<double> m_attemptedAt;
    std::optional<std::string> m_attemptedTitle;
    std::optional<double> m_unconfirmedSince;
    bool m_isAlwaysPrivate = false;
};

} // namespace nomara
