#include "Quillshade/capture/StreamReconciler.h"
#include "platform/fake/FakeDisplayStream.h"
#include "platform/fake/ManualClock.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Kind = DisplayStreamError::Kind;
using Log = std::vector<std::string>;
using Displays = std::vector<DisplayID>;

/// Streams that a test scripts, and timers that it fires by hand.
class Reconciler : public ::testing::Test {
protected:
    struct Timer {
        double first = 0, interval = 0;
        SerialQueue::Work work;
    };

    FakeDisplayStreams streams;
    ManualClock clock{{1'700'000'000}, 1'000};
    SerialQueue queue{"test", QueueQuality::userInitiated};
    StreamReconciler::Wishes wishes{{1}, {{"org.example.Secret"}, {}}, 1.5};
    std::vector<Timer> timers;
    Displays gone;
    Log told;
    StreamReconciler reconciler{{queue, streams, clock, [] { return std::vector<ScreenWindow>(); },
                                 [this](SerialQueue&, double first, double interval, double, SerialQueue::Work work) {
                                     timers.push_back({first, interval, std::move(work)});
                                     return std::make_unique<SerialQueue::Timer>();
                                 }},
                                {[this] { return wishes; }, [this](DisplayID display) { gone.push_back(display); },
                                 [this] { told.emplace_back("user ended"); },
                                 [this](bool may) { told.emplace_back(may ? "permitted" : "not permitted"); }}};

    void reconcile(bool filterUpdate = false, bool restart = false) {
        queue.sync([&] { reconciler.reconcile(filterUpdate, restart); });
    }
    template <typename Condition>
    bool eventually(const Condition& condition) {
        for (int i = 0; i < 2'000; ++i) {
            if (queue.sync(condition)) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }
    /// Waits until exactly these displays have a capturer whose stream runs.
    bool runs(const Displays& displays) {
        return eventually([&] {
            Displays known;
            for (const auto& [display, capturer] : reconciler.capturers())
                known.push_back(display);
            return known == displays && streams.running() == displays;
        });
    }
    /// Waits until exactly this has been asked of the streams since the last time.
    bool logs(const Log& expected) {
        Log log;
        return eventually([&] {
                   for (std::string& line : streams.takeLog())
                       log.push_back(std::move(line));
                   return log.size() >= expected.size();
               }) &&
               log == expected;
    }
    bool hasTimers(std::size_t count) {
        return eventually([&] { return timers.size() == count; });
    }
    void fire(std::size_t timer) {
        queue.sync([&] { timers.at(timer).work(); });
    }
};

TEST_F(Reconciler, FollowsTheWantedDisplays) {
    reconcile();
    ASSERT_TRUE(runs({1}));
    EXPECT_EQ(streams.configuration(1)->filter, wishes.filter);
    EXPECT_EQ(streams.configuration(1)->intervalSeconds, 1.5);
    streams.takeLog();
    reconcile();
    queue.sync([&] { wishes.displays = {2, 1}; });
    reconcile();
    ASSERT_TRUE(runs({1, 2}));
    EXPECT_EQ(streams.takeLog(), (Log{"start 2"})) << "what runs goes on";
    queue.sync([&] { wishes.displays = {2}; });
    reconcile();
    ASSERT_TRUE(runs({2}));
    EXPECT_EQ(gone, Displays{1});
    queue.sync([&] { wishes.filter.excludedApplications = {"org.example.Other"}; });
    reconcile(true, false);
    EXPECT_TRUE(eventually([&] { return streams.configuration(2)->filter == wishes.filter; }));
    queue.sync([&] { reconciler.updateInterval(4); });
    EXPECT_TRUE(eventually([&] { return streams.configuration(2)->intervalSeconds == 4; }));
    EXPECT_EQ(streams.takeLog(), (Log{"stop 1", "filter 2", "renew 2", "interval 2"}))
        << "nothing is started anew for either";
    reconcile(false, true);
    ASSERT_TRUE(logs(Log{"stop 2", "start 2"}));
    queue.sync([&] { wishes.displays.clear(); });
    reconcile();
    ASSERT_TRUE(runs({}));
    EXPECT_EQ(gone, (Displays{1, 2, 2})) << "their segments are to be completed";
    EXPECT_TRUE(timers.empty());
}

TEST_F(Reconciler, DoesOneThingAtATime) {
    streams.setStartsWait(true);
    reconcile();
    ASSERT_TRUE(logs(Log{"start 1"}));
    // Three more wishes while the user is asked: one pass follows, with all that they wanted.
    queue.sync([&] { wishes.displays = {1, 2}; });
    reconcile();
    reconcile(true, false);
    reconcile(false, false);
    EXPECT_TRUE(streams.takeLog().empty());
    streams.setStartsWait(false);
    streams.finishStart(1);
    ASSERT_TRUE(runs({1, 2}));
    EXPECT_EQ(streams.takeLog(), (Log{"filter 1", "renew 1", "start 2"}));
}

TEST_F(Reconciler, TriesAgainLaterEachTime) {
    const DisplayStreamError failure{Kind::failed, "No."};
    streams.failNextStarts(std::vector(7, failure));
    reconcile();
    const double delays[] = {3, 6, 12, 24, 48, 60, 60};
    for (std::size_t i = 0; i < std::size(delays); ++i) {
        ASSERT_TRUE(hasTimers(i + 1));
        EXPECT_EQ(timers[i].first, delays[i]);
        fire(i);
    }
    ASSERT_TRUE(runs({1}));
    // After a start that worked the next failure waits for three seconds again.
    ASSERT_TRUE(streams.end(1, failure));
    ASSERT_TRUE(hasTimers(8));
    EXPECT_EQ(timers[7].first, 3);
    EXPECT_EQ(gone, Displays{1});
    fire(7);
    EXPECT_TRUE(runs({1}));
    EXPECT_TRUE(told.empty());
}

TEST_F(Reconciler, TellsWhatTheUserDecided) {
    reconcile();
    ASSERT_TRUE(runs({1}));
    streams.end(1, {Kind::userEnded, "Ended."});
    ASSERT_TRUE(eventually([&] { return told == Log{"user ended"}; }));
    EXPECT_TRUE(timers.empty());

    streams.setPermitted(false);
    streams.failNextStarts({{Kind::notPermitted, "Refused."}, {Kind::failed, "Refused."}});
    reconcile();
    ASSERT_TRUE(hasTimers(1));
    reconcile(); // whatever the failure, what isn't permitted is asked for by one timer
    ASSERT_TRUE(eventually([&] { return told.size() == 3; }));
    EXPECT_EQ(told, (Log{"user ended", "not permitted", "not permitted"}));
    ASSERT_EQ(timers.size(), 1u);
    EXPECT_EQ(timers[0].interval, 3);
    fire(0);
    EXPECT_EQ(told.size(), 3u);
    streams.setPermitted(true);
    fire(0);
    EXPECT_EQ(told.back(), "permitted");
    reconcile();
    EXPECT_TRUE(runs({1}));
}

TEST_F(Reconciler, LeavesOutADisplayThatHasGone) {
    queue.sync([&] { wishes.displays = {1, 2}; });
    streams.failNextStarts({{Kind::displayGone, "Gone."}});
    reconcile();
    ASSERT_TRUE(runs({2}));
    // As long as it is wanted all the same, it is tried again.
    ASSERT_TRUE(hasTimers(1));
    streams.takeLog();
    fire(0);
    ASSERT_TRUE(runs({1, 2}));
    EXPECT_EQ(streams.takeLog(), (Log{"stop 2", "start 1", "start 2"})) << "all anew";
    for (const DisplayID display : {1U, 2U})
        ASSERT_TRUE(streams.end(display, {Kind::displayGone, "Gone."}));
    ASSERT_TRUE(hasTimers(2)) << "once for both";
    queue.sync([&] { wishes.displays = {2}; });
    streams.takeLog();
    fire(1);
    ASSERT_TRUE(runs({2}));
    EXPECT_EQ(streams.takeLog(), (Log{"start 2"}));
    EXPECT_EQ(timers.size(), 2U);
}

TEST(ReconcilerEnd, DoesntWaitForAnAnswerThatNeverComes) {
    FakeDisplayStreams streams;
    streams.setStartsWait(true);
    const ManualClock clock{{1'700'000'000}, 1'000};
    SerialQueue queue("test", QueueQuality::userInitiated);
    {
        StreamReconciler reconciler({queue, streams, clock, [] { return std::vector<ScreenWindow>(); }},
                                    {[] {
                                         return StreamReconciler::Wishes{{1}, {}, 1};
                                     },
                                     [](DisplayID) {}, [] {}, [](bool) {}});
        queue.sync([&] { reconciler.reconcile(false, false); });
    }
    EXPECT_TRUE(streams.running().empty());
}

} // namespace
} // namespace nomara
