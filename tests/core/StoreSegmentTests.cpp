#include "tests/core/StoreTest.h"

namespace nomara {

namespace {

struct StoreSegments : testing::StoreTest {
    RowID closed(double end, std::int64_t tier) {
        return store.insertClosedSegment({.path = "s" + std::to_string(end), .end = {end}}, tier);
    }
    std::int64_t keyframe(RowID id) { return store.frame(id)->keyframe; }
};

std::vector<RowID> idsOf(const std::vector<SegmentRecord>& records) {
    std::vector<RowID> ids;
    ids.reserve(records.size());
    for (const SegmentRecord& record : records)
        ids.push_back(record.id);
    return ids;
}

} // namespace

TEST_F(StoreSegments, ASegmentIsBornOpenAndClosesOnce) {
    const RowID later = store.insertOpenSegment("b.mp4", 3, {200.5}, 1440, 810);
    const RowID first = store.insertOpenSegment("a.mp4", 3, {100}, 1440, 810);
    SegmentRecord expected{
        .id = later, .path = "b.mp4", .displayID = 3, .start = {200.5}, .end = {200.5}, .width = 1440, .height = 810};
    EXPECT_EQ(store.segment(later), expected);
    EXPECT_EQ(idsOf(store.openSegments()), (std::vector<RowID>{first, later}));
    store.closeSegment(later, {260}, 31, 5'000'000'000);
    expected.end = {260};
    expected.frameCount = 31;
    expected.bytes = 5'000'000'000;
    expected.closed = true;
    EXPECT_EQ(store.segment(later), expected);
    EXPECT_EQ(idsOf(store.openSegments()), std::vector<RowID>{first});
    EXPECT_EQ(store.segmentPaths().size(), 2U);
    store.deleteSegmentRow(first);
    EXPECT_EQ(store.segment(first), std::nullopt);
    EXPECT_EQ(store.segmentPaths(), std::vector<std::string>{"b.mp4"});
}

TEST_F(StoreSegments, ThinningTakesTheOldestThatAreClosedAndLowEnough) {
    const RowID newer = closed(50, 0), older = closed(40, 1), high = closed(30, 2), atBound = closed(60, 0);
    store.insertOpenSegment("open", 1, {1}, 1, 1);
    EXPECT_EQ(idsOf(store.thinningSegments({60}, 1, 10)), (std::vector<RowID>{older, newer}));
    EXPECT_EQ(idsOf(store.thinningSegments({60}, 0, 10)), std::vector<RowID>{newer});
    EXPECT_EQ(idsOf(store.thinningSegments({61}, 2, 1)), std::vector<RowID>{high});
    EXPECT_EQ(idsOf(store.oldestSegments(10)), (std::vector<RowID>{high, older, newer, atBound}));
    EXPECT_EQ(idsOf(store.oldestSegments(1)), std::vector<RowID>{high});
}

TEST_F(StoreSegments, ATierMakesKeyframesFromOneOn) {
    const RowID segment = closed(1, 0);
    const RowID inside = insertInSegment(1, segment, 0), outside = insertInSegment(2, segment + 1, 0);
    store.setSegmentTier(segment, 0);
    EXPECT_EQ(keyframe(inside), 0);
    store.setSegmentTier(segment, 1);
    EXPECT_EQ(keyframe(inside), 1);
    EXPECT_EQ(keyframe(outside), 0);
    EXPECT_EQ(store.segment(segment)->tier, 1);
}

TEST_F(StoreSegments, LostPicturesLeaveTheirText) {
    const RowID segment = closed(1, 0);
    std::vector<RowID> ids;
    ids.reserve(4);
    for (int i = 0; i < 4; ++i)
        ids.push_back(insertInSegment(100 + i, segment, 3 - i));
    EXPECT_EQ(store.lastFrameTime(segment), Date{103});
    EXPECT_EQ(store.framesInSegment(segment).front().id, ids[3]) << "in the order of the file, not of time";
    store.dropFrameImages(segment, 2); // the two whose index is 2 and 3
    EXPECT_EQ(store.framesInSegment(segment).size(), 2U);
    EXPECT_EQ(store.lastFrameTime(segment), Date{103});
    const FrameRecord lost = store.frame(ids[0]).value();
    EXPECT_EQ(lost.imageState, ImageState::dropped);
    EXPECT_EQ(lost.segmentID, std::nullopt);
    EXPECT_EQ(lost.segmentIndex, std::nullopt);
    EXPECT_EQ(lost.keyframe, 0);
    store.markFramesDropped(std::vector{ids[2], ids[3]});
    EXPECT_EQ(keyframe(ids[2]), 2);
    EXPECT_EQ(store.frame(ids[3])->imageState, ImageState::dropped);
    EXPECT_EQ(store.lastFrameTime(segment), std::nullopt);
    EXPECT_EQ(store.frameText(ids[3]), "");
    store.markKeyframes(std::vector{ids[0]});
    EXPECT_EQ(keyframe(ids[0]), 1);
    EXPECT_NO_THROW(store.markFramesDropped({}));
    EXPECT_NO_THROW(store.markKeyframes({}));
}

TEST_F(StoreSegments, ARewriteMovesAndDropsInOneStep) {
    for (const std::int64_t tier : {0, 2}) {
        const RowID old = closed(10, 0);
        const RowID kept = insertInSegment(1, old, 0), dropped = insertInSegment(2, old, 1),
                    last = insertInSegment(3, old, 2);
        const NewSegment thinner{.path = "new" + std::to_string(tier),
                                 .displayID = 5,
                                 .start = {1},
                                 .end = {3},
                                 .frameCount = 2,
                                 .width = 10,
                                 .height = 20,
                                 .bytes = 30};
        store.applyRewrite(old, thinner, std::vector<RewrittenFrame>{{kept, 0}, {last, 1}}, std::vector{dropped}, tier);
        EXPECT_EQ(store.segment(old), std::nullopt) << tier;
        const FrameRecord moved = store.frame(last).value();
        EXPECT_EQ(moved.segmentPath, thinner.path) << tier;
        EXPECT_EQ(moved.segmentIndex, 1) << tier;
        EXPECT_EQ(moved.keyframe, tier > 0 ? 1 : 0);
        EXPECT_EQ(keyframe(dropped), 2) << tier;
        const SegmentRecord written = store.segment(moved.segmentID.value()).value();
        EXPECT_EQ(written, (SegmentRecord{written.id, thinner.path, 5, {1}, {3}, 2, 10, 20, 30, tier, true})) << tier;
    }
}

TEST_F(StoreSegments, ARewriteToNothingDropsTheFile) {
    const RowID old = closed(10, 0), frame = insertInSegment(1, old, 0);
    store.applyRewrite(old, std::nullopt, {}, std::vector{frame}, 3);
    EXPECT_EQ(count("segments"), 0);
    EXPECT_EQ(store.frame(frame)->imageState, ImageState::dropped);
}

TEST_F(StoreSegments, ARewriteOfASegmentThatIsGoneChangesNothing) {
    const RowID other = closed(10, 0), frame = insertInSegment(1, other, 0);
    try {
        store.applyRewrite(4711, NewSegment{.path = "new"}, std::vector<RewrittenFrame>{{frame, 7}},
                           std::vector<RowID>{}, 1);
        FAIL() << "the old segment doesn't exist";
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.code(), 0);
        EXPECT_EQ(error.message(), "segment 4711 no longer exists");
        EXPECT_EQ(error.sql(), std::nullopt);
    }
    EXPECT_EQ(count("segments"), 1);
    EXPECT_EQ(store.frame(frame)->segmentIndex, 0);

    raw.execute("CREATE TRIGGER refuse BEFORE DELETE ON segments BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_THROW(store.applyRewrite(other, NewSegment{.path = "new"}, std::vector<RewrittenFrame>{{frame, 7}},
                                    std::vector<RowID>{}, 1),
                 SQLiteError);
    EXPECT_EQ(count("segments"), 1) << "the last step's failure undoes the first";
    EXPECT_EQ(store.frame(frame)->segmentIndex, 0);
}

} // namespace nomara
