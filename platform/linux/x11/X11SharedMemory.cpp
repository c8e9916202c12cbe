#include "platform/linux/x11/X11SharedMemory.h"

#include <sys/ipc.h>
#include <sys/shm.h>

namespace nomara {

X11SharedMemory::X11SharedMemory(const X11Connection& connection) : m_connection(connection) {
    if (!connection.hasExtension(xcb_shm_id)) return;
    const X11Reply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(connection.get(), xcb_shm_query_version(connection.get()), nullptr));
    m_canShare = version != nullptr;
}

X11SharedMemory::~X11SharedMemory() {
    release();
}

bool X11SharedMemory::reserve(std::size_t bytes) {
    if (m_bytes && m_capacity >= bytes) return true;
    release();
    if (!m_canShare) return false;
    const int memory = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (memory < 0) return false; // none left now; the next image may find some
    void* const address = shmat(memory, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) { // NOLINT: the system's own sign of failure
        shmctl(memory, IPC_RMID, nullptr);
        return false;
    }
    m_segment = xcb_generate_id(m_connection.get());
    const FreeReply freeReply;
    auto* const error = xcb_request_check(
        m_connection.get(), xcb_shm_attach_checked(m_connection.get(), m_segment, std::uint32_t(memory), 0));
    shmctl(memory, IPC_RMID, nullptr); // it lives on until both have let go of it
    if (error) {
        // The server is on another machine, or may not share.
        freeReply(error);
        shmdt(address);
        m_canShare = false;
        return false;
    }
    m_bytes = static_cast<std::uint8_t*>(address);
    m_capacity = bytes;
    return true;
}

void X11SharedMemory::release() {
    if (!m_bytes) return;
    xcb_shm_detach(m_connection.get(), m_segment);
    shmdt(m_bytes);
    m_bytes = nullptr;
    m_capacity = 0;
}

} // namespace nomara
