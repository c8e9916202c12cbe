#pragma once

#include "platform/linux/x11/X11Connection.h"

#include <fstream>
#include <string>

#include <sys/socket.h>

namespace nomara::bench {

/// The process at the other end of the connection to the display; its first thread does the drawing and the copying.
class ServerClock {
public:
    ServerClock() {
        const X11Connection connection(nullptr);
        ucred owner{};
        socklen_t size = sizeof owner;
        getsockopt(xcb_get_file_descriptor(connection.get()), SOL_SOCKET, SO_PEERCRED, &owner, &size);
        m_file = "/proc/" + std::to_string(owner.pid) + "/schedstat";
    }
    double cpuSeconds() const {
        double nanoseconds = 0;
        std::ifstream(m_file) >> nanoseconds;
        return nanoseconds / 1e9;
    }

private:
    std::string m_file;
};

} // namespace nomara::bench
