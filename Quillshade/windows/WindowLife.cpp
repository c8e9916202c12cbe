#include "Quillshade/windows/WindowLife.h"

#include "core/privacy/PrivacyRules.h"

#include <cstddef>

namespace nomara {

namespace {

using WindowPrivacy::Verdict;

// Two looks one after the other lie one to two seconds apart; a page that goes elsewhere and comes back in less than
// this isn't noticed.
constexpr double maxReadingGapSeconds = 3;
// Browsers go on showing the page before until the new one can be painted, half a second at most.
constexpr double paintSeconds = 0.5;
// A page whose address changes all the time must not hold back all pictures: then it counts as unknown.
constexpr double maxUnconfirmedSeconds = 6;
constexpr double recentSeconds = 60; // how long a title's address counts as known
constexpr std::size_t manyAddresses = 20;

} // namespace

void AddressProof::read(const std::optional<std::string>& url, double begin, double end) {
    const bool isSame = m_readAt && m_url == url;
    if (!isSame)
        m_since = end + paintSeconds;
    else if (begin - m_readUntil > maxReadingGapSeconds)
        m_since = end;
    m_url = url;
    m_readAt = begin;
    m_readUntil = end;
}

void WindowLife::sawTitle(const std::optional<std::string>& title) {
    if (!title || title == m_privateTitle || !PrivacyRules::isPrivateTitle(title)) return;
    m_privateTitle = title;
    if (m_marker.value_or(false)) return;
    m_marker.reset();
    m_attemptedAt.reset();
}

void WindowLife::sawAttempt(const std::optional<std::string>& title, double now) {
    m_attemptedAt = now;
    m_attemptedTitle = title;
}

void WindowLife::sawControls(const std::optional<AccessibleElement>& element, std::optional<bool> marker) {
    // What another object of the bus proved isn't proved of this one.
    if (element && m_element && *element != *m_element && m_marker == false) m_marker.reset();
    if (element) m_element = element;
    if (marker) m_marker = *marker || m_marker.value_or(false);
}

void WindowLife::sawAddress(const std::optional<std::string>& title, const std::optional<std::string>& url,
                            double begin, double end) {
    m_address.read(url, begin, end);
    m_addresses[title] = {url, begin};
    if (m_addresses.size() > manyAddresses)
        std::erase_if(m_addresses, [begin](const auto& entry) { return begin - entry.second.readAt >= recentSeconds; });
}

std::optional<std::string> WindowLife::recentAddress(const std::optional<std::string>& title, double now) const {
    const auto found = m_addresses.find(title);
    if (found == m_addresses.end() || now - found->second.readAt >= recentSeconds) return std::nullopt;
    return found->second.url;
}

Verdict WindowLife::verdict(const std::optional<std::string>& title, const RecorderConfig& config) const {
    const auto marker = m_isAlwaysPrivate ? std::optional(true) : m_marker;
    return WindowPrivacy::verdict(title, m_address.url(), marker, config.skipPrivateWindows, config.excludedSites);
}

Verdict WindowLife::verdictForImage(const std::optional<std::string>& title, const RecorderConfig& config,
                                    double imageAt, double now) {
    const Verdict latest = verdict(title, config);
    if (latest != Verdict::allow) return latest;
    if (config.excludedSites.empty() || m_address.holdsAt(imageAt)) {
        m_unconfirmedSince.reset();
        return Verdict::allow;
    }
    if (!m_unconfirmedSince) m_unconfirmedSince = now;
    return now - *m_unconfirmedSince <= maxUnconfirmedSeconds ? Verdict::unconfirmed : Verdict::unknown;
}

} // namespace nomara
