#pragma once

#include "core/store/MemoryStore.h"
#include "platform/fake/FakeTextRecognizer.h"
#include "platform/fake/ManualClock.h"
#include "platform/linux/libav/LibavPictureFiles.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "quillshadectl/Ctl.h"
#include "quillshadectl/Fault.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryData.h"

#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace nomara::testing {

struct Answer {
    int code = -1;
    std::string out, err;

    nlohmann::json json() const { return nlohmann::json::parse(out); }
};

/// A data folder without a memory, and the program run on it. It is 2023-11-14T22:13:20Z, and the time zone is UTC.
struct CtlTest : ::testing::Test {
    TemporaryData data;
    ManualClock clock;
    mutable LibavVideoCodec videos;
    mutable LibavPictureFiles pictures;
    mutable FakeTextRecognizer recognizer;
    const ctl::Media media{videos, pictures, recognizer};

    const Environment zone{{"TZ", "UTC"}};

    Answer run(const std::vector<std::string>& arguments, const ctl::Terminal& terminal = {}) const {
        std::ostringstream out, err;
        const int code =
            ctl::runCtl(arguments, out, err, terminal, {clock, [this]() -> const ctl::Media& { return media; }});
        return {code, out.str(), err.str()};
    }

    /// A frame of the text editor, so many seconds ago.
    NewFrame frame(double secondsAgo, const std::string& title, std::vector<std::string> lines) const {
        NewFrame frame;
        frame.timestamp = clock.now() - secondsAgo;
        frame.appBundleID = "org.example.Editor";
        frame.appName = "Editor";
        frame.windowTitle = title;
        frame.textSource = TextSource::accessibility();
        frame.width = 1920;
        frame.height = 1080;
        frame.lines = std::move(lines);
        return frame;
    }
};

/// The same with an empty memory and its writer.
struct CtlMemoryTest : CtlTest {
    MemoryStore store{data.database(), false, clock};

    RowID insert(double secondsAgo, const std::string& title, std::vector<std::string> lines) {
        return store.insertFrame(frame(secondsAgo, title, std::move(lines)));
    }
};

} // namespace nomara::testing
