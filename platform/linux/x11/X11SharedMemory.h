#pragma once

#include "platform/linux/x11/X11Connection.h"

#include <cstddef>
#include <cstdint>

#include <xcb/shm.h>

namespace nomara {

/// Memory that the server writes pixels into, where it is on this machine. On one thread.
class X11SharedMemory {
public:
    explicit X11SharedMemory(const X11Connection& connection);
    ~X11SharedMemory();
    X11SharedMemory(const X11SharedMemory&) = delete;
    X11SharedMemory& operator=(const X11SharedMemory&) = delete;

    /// Makes room for so many bytes; what was in it is lost. False where nothing can be shared.
    bool reserve(std::size_t bytes);

    xcb_shm_seg_t segment() const { return m_segment; }
    std::uint8_t* bytes() const { return m_bytes; } ///< null before the first `reserve`
    std::size_t capacity() const { return m_capacity; }

private:
    void release();

    const X11Connection& m_connection;
    bool m_canShare = false;
    xcb_shm_seg_t m_segment = 0;
    std::uint8_t* m_bytes = nullptr;
    std::size_t m_capacity = 0;
};

} // namespace nomara
