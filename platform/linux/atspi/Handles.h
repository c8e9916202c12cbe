#pragma once

#include <memory>

#include <systemd/sd-bus.h>

namespace nomara::atspi {

struct BusCloser {
    // Closed without flushing: nobody waits for what is still unsent, and the other end may be hung.
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct SlotUnref {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
struct MessageUnref {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using BusHandle = std::unique_ptr<sd_bus, BusCloser>;
using SlotHandle = std::unique_ptr<sd_bus_slot, SlotUnref>;
using MessageHandle = std::unique_ptr<sd_bus_message, MessageUnref>;

} // namespace nomara::atspi
