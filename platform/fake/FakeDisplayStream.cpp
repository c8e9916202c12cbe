#include "platform/fake/FakeDisplayStream.h"

#include <algorithm>
#include <utility>

namespace nomara {

class FakeDisplayStreams::Stream final : public DisplayStream {
public:
    explicit Stream(std::shared_ptr<Shared> shared) : m_shared(std::move(shared)) {}
    ~Stream() override { stop(); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void start(DisplayStreamConfiguration configuration, DisplayStreamCallbacks callbacks) override {
        std::optional<DisplayStreamError> error;
        {
            const std::lock_guard lock(m_shared->mutex);
            m_state->configuration = std::move(configuration);
            m_state->callbacks = std::move(callbacks);
            note("start");
            m_shared->streams.push_back(m_state);
            m_state->isWaiting = m_shared->startsWait;
            if (m_state->isWaiting) return;
            if (!m_shared->failures.empty()) {
                error = m_shared->failures.front();
                m_shared->failures.erase(m_shared->failures.begin());
            }
            m_state->isRunning = !error;
        }
        const std::lock_guard calling(m_state->calling);
        m_state->callbacks.started(error);
    }

    void setFilter(DisplayStreamFilter filter) override {
        const std::lock_guard lock(m_shared->mutex);
        m_state->configuration.filter = std::move(filter);
        note("filter");
    }

    void setInterval(double seconds) override {
        const std::lock_guard lock(m_shared->mutex);
        m_state->configuration.intervalSeconds = seconds;
        note("interval");
    }

    void renew() override {
        const std::lock_guard lock(m_shared->mutex);
        note("renew");
    }

    void stop() override {
        const std::lock_guard calling(m_state->calling);
        const std::lock_guard lock(m_shared->mutex);
        if (std::erase(m_shared->streams, m_state) > 0) note("stop");
        m_state->isRunning = m_state->isWaiting = false;
    }

    std::string token() override { return "token " + std::to_string(m_state->configuration.display); }

private:
    void note(const std::string& what) {
        m_shared->log.push_back(what + " " + std::to_string(m_state->configuration.display));
    }

    const std::shared_ptr<Shared> m_shared;
    const std::shared_ptr<State> m_state = std::make_shared<State>();
};

std::unique_ptr<DisplayStream> FakeDisplayStreams::make() {
    return std::make_unique<Stream>(m_shared);
}

bool FakeDisplayStreams::isPermitted() {
    const std::lock_guard lock(m_shared->mutex);
    return m_shared->isPermitted;
}

void FakeDisplayStreams::setPermitted(bool permitted) {
    const std::lock_guard lock(m_shared->mutex);
    m_shared->isPermitted = permitted;
}

void FakeDisplayStreams::setStartsWait(bool wait) {
    const std::lock_guard lock(m_shared->mutex);
    m_shared->startsWait = wait;
}

void FakeDisplayStreams::failNextStarts(std::vector<DisplayStreamError> errors) {
    const std::lock_guard lock(m_shared->mutex);
    m_shared->failures = std::move(errors);
}

bool FakeDisplayStreams::finishStart(DisplayID display, std::optional<DisplayStreamError> error) {
    const auto state = find(display, &State::isWaiting);
    if (!state) return false;
    const std::lock_guard calling(state->calling);
    {
        const std::lock_guard lock(m_shared->mutex);
        if (!std::exchange(state->isWaiting, false)) return false;
        state->isRunning = !error;
    }
    state->callbacks.started(std::move(error));
    return true;
}

bool FakeDisplayStreams::deliver(DisplayID display, DisplaySample sample, double age) {
    const auto state = find(display, &State::isRunning);
    if (!state) return false;
    const std::lock_guard calling(state->calling);
    {
        const std::lock_guard lock(m_shared->mutex);
        if (!state->isRunning) return false;
    }
    if (state->callbacks.imageTaken) state->callbacks.imageTaken(age);
    state->callbacks.sample(std::move(sample));
    return true;
}

bool FakeDisplayStreams::end(DisplayID display, DisplayStreamError error) {
    const auto state = find(display, &State::isRunning);
    if (!state) return false;
    const std::lock_guard calling(state->calling);
    {
        const std::lock_guard lock(m_shared->mutex);
        if (!std::exchange(state->isRunning, false)) return false;
        std::erase(m_shared->streams, state);
    }
    state->callbacks.stopped(std::move(error));
    return true;
}

std::vector<DisplayID> FakeDisplayStreams::running() const {
    const std::lock_guard lock(m_shared->mutex);
    std::vector<DisplayID> displays;
    for (const auto& state : m_shared->streams)
        if (state->isRunning) displays.push_back(state->configuration.display);
    std::ranges::sort(displays);
    return displays;
}

std::optional<DisplayStreamConfiguration> FakeDisplayStreams::configuration(DisplayID display) const {
    const auto state = find(display, &State::isRunning);
    if (!state) return std::nullopt;
    const std::lock_guard lock(m_shared->mutex);
    return state->configuration;
}

std::vector<std::string> FakeDisplayStreams::takeLog() {
    const std::lock_guard lock(m_shared->mutex);
    return std::exchange(m_shared->log, {});
}

std::shared_ptr<FakeDisplayStreams::State> FakeDisplayStreams::find(DisplayID display, bool State::*which) const {
    const std::lock_guard lock(m_shared->mutex);
    const auto found = std::ranges::find_if(m_shared->streams, [&](const auto& state) {
        return state->configuration.display == display && (*state).*which;
    });
    return found == m_shared->streams.end() ? nullptr : *found;
}

} // namespace nomara
