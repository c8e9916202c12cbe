#pragma once

#include "Quillshade/capture/RecorderTypes.h"
#include "core/base/Executor.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace nomara {

/// What the recorder tells the model, each on the main thread.
struct CaptureEvents {
    std::function<void(RecorderStatus)> status = [](RecorderStatus) {};
    std::function<void(SkipReason)> skip = [](const SkipReason&) {};
    std::function<void(FrameSummary, std::optional<std::string>)> saved = [](const FrameSummary&, const auto&) {};
    std::function<void(CapturePolicy)> policy = [](const CapturePolicy&) {};
    std::function<void()> userStopped = [] {};
};

/// Brings them there; one that is still on its way when this ends is dropped.
class CaptureEventPoster {
public:
    explicit CaptureEventPoster(Executor mainThread) : m_mainThread(std::move(mainThread)) {}

    /// Main thread, before anything is posted.
    void set(CaptureEvents events) { *m_events = std::move(events); }
    template <typename... Arguments, typename... Values>
    void post(std::function<void(Arguments...)> CaptureEvents::*callback, Values... values) const {
        m_mainThread([weak = std::weak_ptr(m_events), callback, ... held = std::move(values)] {
            if (const auto events = weak.lock()) ((*events).*callback)(held...);
        });
    }

private:
    const Executor m_mainThread;
    const std::shared_ptr<CaptureEvents> m_events = std::make_shared<CaptureEvents>();
};

} // namespace nomara
