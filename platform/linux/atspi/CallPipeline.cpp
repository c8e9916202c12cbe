#include "platform/linux/atspi/CallPipeline.h"

#include <algorithm>
#include <utility>

namespace nomara::atspi {

namespace {

// Enough to keep both ends busy across a round trip; more gained nothing.
constexpr std::size_t mostOpen = 96;
// A program that was silent for so long when the caller's time was up is hung; others are merely not done.
constexpr std::chrono::milliseconds hungAfter{200};
// The clock is read for every so many messages, not for each; a program's stream of reports counts as well.
constexpr int messagesBetweenLooks = 16;

} // namespace

void CallPipeline::call(const ObjectRef& object, const char* interface, const char* member, Answer answer,
                        const std::function<void(sd_bus_message*)>& append) {
    sd_bus_message* made = nullptr;
    if (object.isNull() || !m_bus.isConnected() ||
        sd_bus_message_new_method_call(m_bus.handle(), &made, object.bus.c_str(), object.path.c_str(), interface,
                                       member) < 0) {
        answer(nullptr);
        return;
    }
    MessageHandle message(made);
    // Reading a screen is no reason to start a program.
    sd_bus_message_set_auto_start(made, 0);
    if (append) append(made);
    m_waiting.push_back({std::move(message), std::move(answer)});
}

CallPipeline::Outcome CallPipeline::run() {
    m_lastAnswer = SteadyClock::now();
    int untilLook = messagesBetweenLooks;
    bool answered = false;
    for (;;) {
        send();
        if (m_open.empty() && m_waiting.empty()) return Outcome::answered;
        if (!m_bus.isConnected()) break;
        const std::size_t before = m_open.size();
        const int processed = sd_bus_process(m_bus.handle(), nullptr);
        if (processed < 0) break;
        answered = answered || m_open.size() < before;
        if (processed > 0 && --untilLook > 0) continue;
        untilLook = messagesBetweenLooks;
        const auto now = SteadyClock::now();
        if (std::exchange(answered, false)) m_lastAnswer = now;
        const auto until = std::min(m_deadline, m_lastAnswer + messagingTimeout);
        if (now < until) {
            if (processed == 0 && !m_bus.wait(until - now)) break;
            continue;
        }
        if (now - m_lastAnswer >= hungAfter)
            for (const Open& call : m_open)
                m_bus.markHung(call.program);
        forget();
        return Outcome::late;
    }
    forget();
    m_bus.process(); // notices that the connection is gone
    return Outcome::disconnected;
}

void CallPipeline::send() {
    while (!m_waiting.empty() && m_open.size() < mostOpen && m_bus.isConnected()) {
        Waiting next = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_open.push_front({});
        Open& call = m_open.front();
        call.pipeline = this;
        call.program = sd_bus_message_get_destination(next.message.get());
        call.answer = std::move(next.answer);
        call.self = m_open.begin();
        sd_bus_slot* slot = nullptr;
        if (sd_bus_call_async(m_bus.handle(), &slot, next.message.get(), onAnswer, &call, 0) >= 0) {
            call.slot.reset(slot);
            m_bus.countCall();
            continue;
        }
        const Answer answer = std::move(call.answer);
        m_open.pop_front();
        answer(nullptr);
    }
}

int CallPipeline::onAnswer(sd_bus_message* answer, void* userdata, sd_bus_error* /*error*/) {
    auto& call = *static_cast<Open*>(userdata);
    CallPipeline& pipeline = *call.pipeline;
    const Answer take = std::move(call.answer);
    pipeline.m_open.erase(call.self);
    take(sd_bus_message_is_method_error(answer, nullptr) > 0 ? nullptr : answer);
    return 0;
}

void CallPipeline::forget() {
    m_waiting.clear();
    m_open.clear();
}

} // namespace nomara::atspi
