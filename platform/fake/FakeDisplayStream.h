#pragma once

#include "platform/DisplayStream.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace nomara {

/// Streams that a test feeds. Callbacks run on the thread that feeds them. Callable from any thread.
class FakeDisplayStreams final : public DisplayStreams {
public:
    std::unique_ptr<DisplayStream> make() override;
    bool isPermitted() override;

    void setPermitted(bool permitted);
    /// Starts wait for `finishStart` from now on, as they do where the user is asked.
    void setStartsWait(bool wait);
    /// The next starts fail with these errors, one each, before others succeed.
    void failNextStarts(std::vector<DisplayStreamError> errors);

    /// False where no stream of this display is waiting.
    bool finishStart(DisplayID display, std::optional<DisplayStreamError> error = std::nullopt);
    /// Takes an image and hands it over; false where no stream of this display runs.
    bool deliver(DisplayID display, DisplaySample sample, double age = 0);
    /// The stream ends by itself.
    bool end(DisplayID display, DisplayStreamError error);

    /// The displays with a running stream, the ones waiting for their start left out; sorted.
    std::vector<DisplayID> running() const;
    /// What the running stream of this display was last told; absent where there is none.
    std::optional<DisplayStreamConfiguration> configuration(DisplayID display) const;
    /// What was asked of all streams, in order: "start 1", "filter 1", "interval 1", "renew 1", "stop 1".
    std::vector<std::string> takeLog();

private:
    class Stream;
    struct State {
        DisplayStreamConfiguration configuration;
        DisplayStreamCallbacks callbacks;
        bool isRunning = false, isWaiting = false;
        std::mutex calling; ///< held while a callback runs
    };
    struct Shared {
        std::mutex mutex; // guards all fields below it
        std::vector<std::shared_ptr<State>> streams;
        std::vector<DisplayStreamError> failures;
        std::vector<std::string> log;
        bool startsWait = false, isPermitted = true;
    };

    std::shared_ptr<State> find(DisplayID display, bool State::*which) const;

    const std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
};

} // namespace nomara
