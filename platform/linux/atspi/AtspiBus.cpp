#include "platform/linux/atspi/AtspiBus.h"

#include "core/base/Log.h"

#include <algorithm>
#include <cstdint>

namespace nomara::atspi {

namespace {

// Short at first: a service that is only just being started answers the second attempt.
constexpr std::chrono::milliseconds firstBackOff{500};
constexpr std::chrono::milliseconds longestBackOff{4000};
// A connection that lives shorter wasn't worth much, and the next one waits longer.
constexpr std::chrono::seconds settledAfter{10};
// What programs report arrives here; one that reports without end doesn't keep the rest waiting.
constexpr int mostAtOnce = 1000;

constexpr const char* noSessionBus =
    "There is no session bus, so the accessibility service of this desktop can't be reached.";
constexpr const char* noAccessibilityBus =
    "The accessibility service of this desktop can't be reached; is the package at-spi2-core installed?";
constexpr const char* busGone = "The connection to the accessibility service was lost; it is tried again.";

std::uint64_t microseconds(SteadyClock::duration duration) {
    const auto count = std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
    return static_cast<std::uint64_t>(std::max<decltype(count)>(count, 0));
}

/// The library would wait for a hung daemon's greeting without end.
bool becomeReady(sd_bus* bus) {
    const auto deadline = SteadyClock::now() + messagingTimeout;
    for (;;) {
        if (sd_bus_is_ready(bus) > 0) return true;
        const int processed = sd_bus_process(bus, nullptr);
        if (processed < 0) return false;
        if (processed > 0) continue;
        const auto now = SteadyClock::now();
        if (now >= deadline || sd_bus_wait(bus, microseconds(deadline - now)) < 0) return false;
    }
}

BusHandle openSessionBus() {
    sd_bus* opened = nullptr;
    if (sd_bus_open_user(&opened) < 0) return nullptr;
    BusHandle bus(opened);
    sd_bus_set_method_call_timeout(bus.get(), microseconds(messagingTimeout));
    if (!becomeReady(bus.get())) return nullptr;
    return bus;
}

BusHandle openBusAt(const std::string& address) {
    sd_bus* made = nullptr;
    if (sd_bus_new(&made) < 0) return nullptr;
    BusHandle bus(made);
    if (sd_bus_set_address(bus.get(), address.c_str()) < 0 || sd_bus_set_bus_client(bus.get(), 1) < 0 ||
        sd_bus_start(bus.get()) < 0)
        return nullptr;
    // Longer than callers wait, so that silence is seen as such and not as an answer.
    sd_bus_set_method_call_timeout(bus.get(), microseconds(2 * messagingTimeout));
    if (!becomeReady(bus.get())) return nullptr;
    return bus;
}

int onStateChanged(sd_bus_message* signal, void* userdata, sd_bus_error* /*error*/) {
    const char* what = nullptr;
    std::int32_t on = 0;
    if (sd_bus_message_read(signal, "si", &what, &on) < 0) return 0;
    const char *sender = sd_bus_message_get_sender(signal), *path = sd_bus_message_get_path(signal);
    if (sender != nullptr && path != nullptr && std::string_view(what) == "focused")
        (*static_cast<AtspiBus::FocusObserver*>(userdata))({sender, path}, on != 0);
    return 0;
}

} // namespace

AtspiBus::AtspiBus(FocusObserver observer) : m_observer(std::move(observer)) {}

bool AtspiBus::ready() {
    if (m_bus && process()) return true;
    const auto now = SteadyClock::now();
    if (now < m_nextAttempt) return false;
    if (connect()) {
        m_reason.clear();
        m_connectedAt = SteadyClock::now();
        return true;
    }
    m_backOff = std::clamp(m_backOff * 2, firstBackOff, longestBackOff);
    m_nextAttempt = SteadyClock::now() + m_backOff;
    return false;
}

bool AtspiBus::process() {
    if (!m_bus) return false;
    for (int i = 0; i < mostAtOnce; ++i) {
        const int processed = sd_bus_process(m_bus.get(), nullptr);
        if (processed == 0) break;
        if (processed < 0) {
            drop(busGone);
            return false;
        }
    }
    if (sd_bus_is_open(m_bus.get()) > 0) return true;
    drop(busGone);
    return false;
}

bool AtspiBus::wait(SteadyClock::duration longest) {
    if (!m_bus) return false;
    if (sd_bus_wait(m_bus.get(), microseconds(longest)) >= 0) return true;
    drop(busGone);
    return false;
}

void AtspiBus::leaveOpen(const std::string& program, SteadyClock::time_point silentSince) {
    if (!m_bus || !m_answers.leaveOpen(program, silentSince)) return;
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_method_call(m_bus.get(), &made, program.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping") <
        0)
        return;
    const MessageHandle message(made);
    sd_bus_message_set_auto_start(made, 0);
    Ping& ping = m_pings[program];
    ping.bus = this;
    ping.program = program;
    sd_bus_slot* slot = nullptr;
    // However long it takes: there is one ping under way at a time, and it isn't repeated.
    if (sd_bus_call_async(m_bus.get(), &slot, made, onPingAnswered, &ping, UINT64_MAX) < 0) return;
    ping.slot.reset(slot);
    ++m_callsSent;
}

void AtspiBus::awaitPings(SteadyClock::time_point until) {
    for (;;) {
        if (!process()) return;
        const auto now = SteadyClock::now();
        const bool isAnyClose = std::any_of(m_pings.begin(), m_pings.end(), [&](const auto& ping) {
            return m_answers.standing(ping.first, now) == ProgramAnswers::Standing::catchingUp;
        });
        if (!isAnyClose || now >= until || !wait(until - now)) return;
    }
}

int AtspiBus::onPingAnswered(sd_bus_message* answer, void* userdata, sd_bus_error* /*error*/) {
    const auto& ping = *static_cast<Ping*>(userdata);
    AtspiBus& bus = *ping.bus;
    const std::string program = ping.program;
    // An error is an answer too, unless it is the bus that answers for a program that has ended.
    if (sd_bus_message_is_method_error(answer, "org.freedesktop.DBus.Error.NoReply") > 0 ||
        sd_bus_message_is_method_error(answer, "org.freedesktop.DBus.Error.ServiceUnknown") > 0 ||
        sd_bus_message_is_method_error(answer, "org.freedesktop.DBus.Error.NameHasNoOwner") > 0)
        bus.m_answers.forget(program);
    else
        bus.m_answers.noteAnswer(program, SteadyClock::now());
    bus.m_pings.erase(program);
    return 0;
}

bool AtspiBus::connect() {
    std::string address;
    if (!findAddress(address)) return false;
    m_bus = openBusAt(address);
    if (!m_bus) {
        m_reason = noAccessibilityBus;
        return false;
    }
    ++m_generation;
    m_answers.clear();
    if (listen()) return true;
    m_bus.reset();
    m_reason = noAccessibilityBus;
    return false;
}

/// Asks the session bus where the accessibility bus is, and has programs build their trees.
bool AtspiBus::findAddress(std::string& address) {
    const BusHandle session = openSessionBus();
    if (!session) {
        m_reason = noSessionBus;
        return false;
    }
    m_reason = noAccessibilityBus;
    sd_bus_message* answer = nullptr;
    if (sd_bus_call_method(session.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", nullptr,
                           &answer, "") < 0)
        return false;
    const MessageHandle holder(answer);
    const char* text = nullptr;
    if (sd_bus_message_read(answer, "s", &text) < 0 || *text == '\0') return false;
    address = text;
    // Some programs build no tree while nobody is known to read it. One that refuses may still be readable.
    if (sd_bus_set_property(session.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Status", "IsEnabled", nullptr,
                            "b", 1) < 0)
        Log::notice(LogCategory::capture, "the accessibility service could not be switched on for all programs");
    return true;
}

/// Programs report only what somebody registered for: focus changes, and nothing that happens more often.
bool AtspiBus::listen() {
    sd_bus_slot* slot = nullptr;
    // Not the asynchronous form: the library closes a connection whose owner takes its time to look at that answer.
    if (sd_bus_add_match(m_bus.get(), &slot,
                         "type='signal',interface='org.a11y.atspi.Event.Object',member='StateChanged',arg0='focused'",
                         onStateChanged, &m_observer) < 0)
        return false;
    m_focusSlot.reset(slot);
    // The registry may still be starting; nothing waits for its answer.
    return sd_bus_call_method_async(m_bus.get(), nullptr, "org.a11y.atspi.Registry", "/org/a11y/atspi/registry",
                                    "org.a11y.atspi.Registry", "RegisterEvent", nullptr, nullptr, "s",
                                    "object:state-changed:focused") >= 0;
}

void AtspiBus::drop(const char* why) {
    m_focusSlot.reset();
    m_pings.clear();
    m_bus.reset();
    m_reason = why;
    Log::notice(LogCategory::capture, why);
    // Whatever ended the service may still be at it.
    const bool settled = SteadyClock::now() - m_connectedAt >= settledAfter;
    m_backOff = settled ? firstBackOff : std::clamp(m_backOff * 2, firstBackOff, longestBackOff);
    m_nextAttempt = SteadyClock::now() + m_backOff;
}

} // namespace nomara::atspi
