#include "platform/linux/atspi/CallPipeline.h"

#include <algorithm>
#include <map>
#include <utility>

namespace nomara::atspi {

namespace {

// Enough to keep both ends busy across a round trip; more gained nothing, and it is what a program has yet to answer
// when its caller's time is up.
constexpr std::size_t mostOpen = 48;
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
    m_refused = false;
    int untilLook = messagesBetweenLooks;
    bool answered = false;
    for (;;) {
        send();
        if (m_open.empty() && m_waiting.empty()) return m_refused ? Outcome::late : Outcome::answered;
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
        leaveOpen();
        forget();
        return Outcome::late;
    }
    forget();
    m_bus.process(); // notices that the connection is gone
    return Outcome::disconnected;
}

/// What can be sent, in the order of the questions; a program that isn't ready holds nobody else up.
void CallPipeline::send() {
    for (std::size_t i = 0; i < m_waiting.size() && m_open.size() < mostOpen && m_bus.isConnected();) {
        const Sending when = sending(m_waiting[i]);
        if (when == Sending::later) {
            ++i;
            continue;
        }
        Waiting next = std::move(m_waiting[i]);
        m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(i));
        if (when == Sending::now) {
            sendNow(std::move(next));
        } else {
            m_refused = true;
            next.answer(nullptr);
        }
    }
}

CallPipeline::Sending CallPipeline::sending(const Waiting& call) {
    switch (m_bus.standing(sd_bus_message_get_destination(call.message.get()))) {
    case ProgramAnswers::Standing::free:
        return Sending::now;
    case ProgramAnswers::Standing::catchingUp:
        return Sending::later;
    case ProgramAnswers::Standing::pinged:
    case ProgramAnswers::Standing::resting:
    case ProgramAnswers::Standing::dropped:
        break;
    }
    return Sending::never;
}

void CallPipeline::sendNow(Waiting next) {
    m_open.push_front({});
    Open& call = m_open.front();
    call.pipeline = this;
    call.program = sd_bus_message_get_destination(next.message.get());
    call.sent = SteadyClock::now();
    call.answer = std::move(next.answer);
    call.self = m_open.begin();
    sd_bus_slot* slot = nullptr;
    if (sd_bus_call_async(m_bus.handle(), &slot, next.message.get(), onAnswer, &call, 0) >= 0) {
        call.slot.reset(slot);
        m_bus.countCall();
        return;
    }
    const Answer answer = std::move(call.answer);
    m_open.pop_front();
    answer(nullptr);
}

void CallPipeline::leaveOpen() {
    std::map<std::string, SteadyClock::time_point> owedSince;
    // The newest call comes first, so the oldest one of each program is what remains.
    for (const Open& call : m_open)
        owedSince[call.program] = call.sent;
    for (const auto& [program, since] : owedSince)
        m_bus.leaveOpen(program, since);
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
