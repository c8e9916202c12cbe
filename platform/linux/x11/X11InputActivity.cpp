#include "platform/linux/x11/X11InputActivity.h"

#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11PasswordPrompters.h"

#include <utility>

#include <xcb/screensaver.h>

namespace nomara {

X11InputActivity::X11InputActivity(IsPasswordPrompter isPasswordPrompter, std::function<void()> onConnectionLost,
                                   const std::string& display)
    : m_isPasswordPrompter(std::move(isPasswordPrompter)),
      m_connection(std::make_unique<X11Connection>(std::move(onConnectionLost), display)) {}

X11InputActivity::~X11InputActivity() = default;

std::optional<double> X11InputActivity::secondsSinceLastInput() {
    xcb_connection_t* const server = m_connection->get();
    if (!m_connection->isAlive() || !m_connection->hasExtension(xcb_screensaver_id)) return std::nullopt;
    const X11Reply<xcb_screensaver_query_info_reply_t> info(
        xcb_screensaver_query_info_reply(server, xcb_screensaver_query_info(server, m_connection->root()), nullptr));
    if (!m_connection->isAlive() || !info) return std::nullopt;
    return info->ms_since_user_input / 1000.0;
}

SecureInput X11InputActivity::secureInput(const WindowList& windows) {
    if (m_isPasswordPrompter && isPasswordAskedFor(*m_connection, windows, m_isPasswordPrompter))
        return SecureInput::certain;
    return SecureInput::unknown;
}

} // namespace nomara
