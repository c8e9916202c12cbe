#pragma once

#include "platform/linux/atspi/AtspiBus.h"

#include <deque>
#include <functional>
#include <list>
#include <string>

namespace nomara::atspi {

/// Calls that are under way together. A round trip costs the same for one call as for fifty, so whoever reads a tree
/// asks for everything it can name, and asks on from within the answers.
///
/// At most a few dozen calls are under way at a time: what a program still has to answer when the caller gives up is
/// work done for nothing. Nothing is asked of a program that still owes answers to an earlier caller: one that has only
/// just been given up is waited for, every other is refused.
class CallPipeline {
public:
    /// Takes the answer, or null where the call failed. It may ask for more calls.
    using Answer = std::function<void(sd_bus_message*)>;
    enum class Outcome { answered, late, disconnected };

    /// Nothing is waited for after `deadline`, nor longer than the messaging timeout for any one answer.
    CallPipeline(AtspiBus& bus, SteadyClock::time_point deadline) : m_bus(bus), m_deadline(deadline) {}
    CallPipeline(const CallPipeline&) = delete;
    CallPipeline& operator=(const CallPipeline&) = delete;

    /// A call without arguments, or with those that `append` writes.
    void call(const ObjectRef& object, const char* interface, const char* member, Answer answer,
              const std::function<void(sd_bus_message*)>& append = {});
    /// Sends what was asked for and takes answers until none is open. `answered` only where every call was; a call that
    /// was refused has failed and makes the outcome `late`. After anything but `answered` the open calls are forgotten
    /// without their answers being called, and the programs that owe one are asked nothing before they answer a ping.
    Outcome run();

private:
    struct Waiting {
        MessageHandle message;
        Answer answer;
    };
    struct Open {
        CallPipeline* pipeline = nullptr;
        std::string program;
        SteadyClock::time_point sent;
        Answer answer;
        SlotHandle slot;
        std::list<Open>::iterator self;
    };

    enum class Sending { now, later, never };

    static int onAnswer(sd_bus_message* answer, void* userdata, sd_bus_error* error);
    void send();
    void sendNow(Waiting next);
    Sending sending(const Waiting& call);
    void leaveOpen();
    void forget();

    AtspiBus& m_bus;
    SteadyClock::time_point m_deadline;
    std::deque<Waiting> m_waiting;
    std::list<Open> m_open;
    SteadyClock::time_point m_lastAnswer{};
    bool m_refused = false;
};

} // namespace nomara::atspi
