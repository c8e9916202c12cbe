#include "platform/linux/x11/X11InputActivity.h"

#include "platform/linux/x11/X11Connection.h"

#include <utility>

#include <xcb/screensaver.h>

namespace nomara {

X11InputActivity::X11InputActivity(std::function<bool()> mayBeSecure, std::function<void()> onConnectionLost,
                                   const std::string& display)
    : m_mayBeSecure(std::move(mayBeSecure)),
      m_connection(std::make_unique<X11Connection>(std::move(onConnectionLost), display)) {}

X11InputActivity::~X11InputActivity() = default;

double X11InputActivity::secondsSinceLastInput() {
    xcb_connection_t* const server = m_connection->get();
    if (!m_connection->isAlive() || !m_connection->hasExtension(xcb_screensaver_id)) return 0;
    const X11Reply<xcb_screensaver_query_info_reply_t> info(
        xcb_screensaver_query_info_reply(server, xcb_screensaver_query_info(server, m_connection->root()), nullptr));
    if (!m_connection->isAlive() || !info) return 0;
    return info->ms_since_user_input / 1000.0;
}

SecureInput X11InputActivity::secureInput() {
    return m_mayBeSecure && m_mayBeSecure() ? SecureInput::possible : SecureInput::off;
}

} // namespace nomara
