#pragma once

#include "Quillshade/capture/Recorder.h"
#include "Quillshade/reading/OCRService.h"
#include "Quillshade/segments/SegmentManager.h"
#include "platform/fake/FakeAccessibility.h"
#include "platform/fake/FakeDisplayStream.h"
#include "platform/fake/FakeInputActivity.h"
#include "platform/fake/FakeRunningApplications.h"
#include "platform/fake/FakeTextRecognizer.h"
#include "platform/fake/FakeVideoCodec.h"
#include "platform/fake/FakeVolume.h"
#include "platform/fake/FakeWindowServer.h"
#include "platform/fake/ManualClock.h"
#include "tests/support/PostedWork.h"
#include "tests/support/TemporaryData.h"

#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace nomara {

/// All that the product asks of a machine.
struct FakeMachine {
    testing::TemporaryData data;
    ManualClock clock;
    FakeAccessibility accessibility;
    FakeWindowServer windowServer;
    FakeInputActivity input;
    FakeRunningApplications applications;
    FakeDisplayStreams streams;
    FakeVideoCodec codec;
    FakeVolume volume;
    FakeTextRecognizer recognizer;
};

/// A recorder among fakes, whose timer never fires by itself: the test ticks.
struct RecorderHarness : FakeMachine {
    struct Timer {
        double first, interval, leeway;
        friend bool operator==(const Timer&, const Timer&) = default;
    };

    testing::PostedWork mainThread;
    OCRService ocr{recognizer, {}};
    std::map<ProcessID, ApplicationIdentity> identities;
    StoreHub hub{mainThread.executor(), clock};
    SegmentManager segments{hub, codec, volume, clock};
    FrontmostTracker tracker{applications, mainThread.executor()};
    std::vector<Timer> timers;
    std::vector<RecorderStatus> statuses;
    std::vector<SkipReason> skips;
    std::vector<FrameSummary> saved;
    std::vector<CapturePolicy> policies;
    struct ReadSoon {
        RowID id = 0;
        Image image;
        KnownLines lines;
    };
    std::vector<ReadSoon> readSoon; ///< what was handed on to be read
    const std::shared_ptr<LineDeduper> lines = Recorder::makeLineMemory();
    Recorder recorder{{hub, accessibility, windowServer, input, streams, segments, ocr,
                       [this](RowID id, Date, const Image& image, const KnownLines& known) {
                           readSoon.push_back({id, image, known});
                       },
                       tracker, clock, mainThread.executor(),
                       [this](const WindowOwner& owner) { return identities[owner.pid]; }, "com.brindlewick.Quillshade",
                       [this](SerialQueue&, double first, double interval, double leeway, const SerialQueue::Work&) {
                           timers.push_back({first, interval, leeway});
                           return std::make_unique<SerialQueue::Timer>();
                       },
                       lines}};

    RecorderHarness() {
        Recorder::Events events;
        events.status = [this](RecorderStatus status) { statuses.push_back(status); };
        events.skip = [this](const SkipReason& reason) { skips.push_back(reason); };
        events.saved = [this](const FrameSummary& frame, const auto&) { saved.push_back(frame); };
        events.policy = [this](const CapturePolicy& policy) { policies.push_back(policy); };
        recorder.setEvents(std::move(events));
        tracker.start();
    }

    /// Text-only mode, no block: ticks record.
    void record() {
        RecorderConfig config;
        config.textOnly = true;
        recorder.setConfig(config);
        recorder.setBlock(Recorder::Block::stopped, false);
        settle();
    }
    /// Lets everything that was sent to the recorder and to the main thread happen.
    void settle() {
        recorder.queue().sync([] {});
        mainThread.run();
    }
    void tick(double afterSeconds = 0) {
        clock.advance(afterSeconds);
        recorder.queue().sync([this] { recorder.tick(); });
        mainThread.run();
    }
    /// An image that is taken a moment after everything that happened before.
    bool deliverImage(DisplayID display, DisplaySample sample, double age = 0) {
        clock.advance(1e-3);
        return streams.deliver(display, std::move(sample), age);
    }
    void show(const FrontmostApp& app, const std::string& title, const std::string& text) {
        accessibility.setWindows(app.pid, {{title, Rect{0, 0, 800, 600}, text, std::nullopt}});
        applications.activate(app);
        mainThread.run();
    }
    /// Images and text, no block, streams running on the displays that are wanted.
    void recordImages(RecorderConfig config = {}) {
        recorder.setConfig(std::move(config));
        recorder.setBlock(Recorder::Block::stopped, false);
        settle();
    }
    CaptureReport report() {
        CaptureReport result;
        recorder.askReport([&](const CaptureReport& report) { result = report; });
        settle();
        return result;
    }
    /// Until exactly these displays stream.
    bool awaitStreams(const std::set<DisplayID>& wanted) {
        for (int i = 0; i < 12'000; ++i) {
            std::set<DisplayID> streaming;
            for (const auto& display : report().displays)
                if (display.isStreaming) streaming.insert(display.id);
            if (streaming == wanted && streams.running() == std::vector(wanted.begin(), wanted.end())) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }
    std::vector<FrameRecord> storedFrames() {
        return hub.read([](MemoryStore& store) {
            std::vector<FrameRecord> frames;
            for (const FrameSummary& frame : store.frames({0}, {1e12}, false, 1'000))
                frames.push_back(*store.frame(frame.id));
            return frames;
        });
    }
    std::vector<std::string> storedTexts() {
        return hub.read([](MemoryStore& store) {
            std::vector<std::string> texts;
            for (const FrameSummary& frame : store.frames({0}, {1e12}, false, 1'000))
                texts.push_back(store.frameText(frame.id).value_or("(none)"));
            return texts;
        });
    }
};

} // namespace nomara
