#pragma once

#include "platform/linux/atspi/Handles.h"
#include "platform/linux/atspi/ObjectRef.h"
#include "platform/linux/atspi/ProgramAnswers.h"

#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>

namespace nomara::atspi {

/// A call to a hung program is given up after this long.
inline constexpr std::chrono::milliseconds messagingTimeout = ProgramAnswers::lateAfter;

/// The connection to the accessibility bus. It is found through the session bus, where programs are also told to build
/// their trees. A lost connection is made anew by the next use, at most every few seconds.
///
/// One thread at a time; it may be made on another one. Nothing here blocks longer than the messaging timeout, but for
/// connecting, which takes a few questions to the session's services.
class AtspiBus {
public:
    /// Focus changes as programs report them: the object, and whether it has the focus now.
    using FocusObserver = std::function<void(const ObjectRef&, bool)>;

    explicit AtspiBus(FocusObserver observer);

    /// Takes in what has arrived, and connects when there is no connection and the last attempt is long enough ago.
    bool ready();
    /// A sentence for the user while `ready` is false, else empty.
    const std::string& reason() const { return m_reason; }
    /// Grows with every connection made; names of programs mean something within one connection only.
    std::uint64_t generation() const { return m_generation; }

    /// Only while connected.
    sd_bus* handle() const { return m_bus.get(); }
    bool isConnected() const { return m_bus != nullptr; }
    /// Takes in what has arrived, without waiting. False when the connection is gone.
    bool process();
    /// Waits for something to arrive. False when the connection is gone.
    bool wait(SteadyClock::duration longest);

    /// Whether a program may be asked something now. Everything asked through a pipeline keeps to it.
    bool mayAsk(const std::string& program) { return m_answers.mayAsk(program, SteadyClock::now()); }
    ProgramAnswers::Standing standing(const std::string& program) {
        return m_answers.standing(program, SteadyClock::now());
    }
    /// The caller no longer waits for what this program was asked; it has owed an answer since `silentSince`. It is
    /// pinged, and may be asked again after it has answered that.
    void leaveOpen(const std::string& program, SteadyClock::time_point silentSince);
    /// Waits for the answers to pings until then, while those who owe them are worth waiting for: how long a program
    /// was silent is known only while somebody listens, and whoever asks comes back a second later.
    void awaitPings(SteadyClock::time_point until);

    void countCall() { ++m_callsSent; }
    std::uint64_t callsSent() const { return m_callsSent; }

private:
    bool connect();
    bool findAddress(std::string& address);
    bool listen();
    void drop(const char* why);
    static int onPingAnswered(sd_bus_message* answer, void* userdata, sd_bus_error* error);

    /// A ping that is under way.
    struct Ping {
        AtspiBus* bus = nullptr;
        std::string program;
        SlotHandle slot;
    };

    FocusObserver m_observer;
    BusHandle m_bus;
    SlotHandle m_focusSlot;
    std::string m_reason = "The accessibility service has not been asked yet.";
    std::uint64_t m_generation = 0;
    std::uint64_t m_callsSent = 0;
    SteadyClock::time_point m_nextAttempt{};
    SteadyClock::time_point m_connectedAt{};
    std::chrono::milliseconds m_backOff{};
    ProgramAnswers m_answers;
    std::unordered_map<std::string, Ping> m_pings;
};

} // namespace nomara::atspi
