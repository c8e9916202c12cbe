#include "core/store/Schema.h"
#include "tests/core/StoreTest.h"
#include "tests/support/Environment.h"

#include <algorithm>

namespace nomara {

namespace {

struct StoreFrames : testing::StoreTest {};

using IDs = std::vector<RowID>;

template <typename Record>
IDs idsOf(const std::vector<Record>& records) {
    IDs ids;
    for (const auto& record : records)
        ids.push_back(record.id);
    return ids;
}

} // namespace

TEST_F(StoreFrames, AFrameComesBackAsItWentIn) {
    const RowID segment = store.insertOpenSegment("segments/2023-11-14/7-1.mp4", 7, {1}, 640, 360);
    const NewFrame frame{.timestamp = {1'700'000'000.125},
                         .displayID = 4'294'967'295,
                         .appBundleID = "org.example.editor",
                         .appName = "Editör",
                         .windowTitle = "Notes 🦊",
                         .url = "https://example.org/a?b=c",
                         .project = "quill",
                         .perceptualHash = 0xFEDCBA9876543210,
                         .width = 1920,
                         .height = 1080,
                         .imageState = ImageState::segment,
                         .segmentID = segment,
                         .segmentIndex = 4,
                         .ocrState = OCRState::queued,
                         .textSource = TextSource::accessibility(),
                         .lines = {"ünlü", "e\u0301 👩‍👩‍👧"},
                         .bytes = 123'456'789'012,
                         .windowRect = RelativeRect{0.1, 0.2, 0.3, 0.4}};
    const RowID id = store.insertFrame(frame);
    const FrameRecord expected{.id = id,
                               .timestamp = frame.timestamp,
                               .displayID = frame.displayID,
                               .appBundleID = frame.appBundleID,
                               .appName = frame.appName,
                               .windowTitle = frame.windowTitle,
                               .url = frame.url,
                               .project = frame.project,
                               .width = 1920,
                               .height = 1080,
                               .imageState = ImageState::segment,
                               .imagePath = std::nullopt,
                               .segmentID = segment,
                               .segmentIndex = 4,
                               .segmentPath = "segments/2023-11-14/7-1.mp4",
                               .ocrState = OCRState::queued,
                               .textSource = TextSource::accessibility(),
                               .textChars = 8, // people count the accent and the family as one character each
                               .keyframe = 0,
                               .bytes = frame.bytes,
                               .windowRect = frame.windowRect};
    EXPECT_EQ(store.frame(id), expected);
    EXPECT_EQ(store.frameText(id), "ünlü\ne\u0301 👩‍👩‍👧");
    EXPECT_EQ(raw.scalarInt("SELECT phash FROM frames"), static_cast<std::int64_t>(0xFEDCBA9876543210));
    const FrameSummary summary{.id = id,
                               .timestamp = frame.timestamp,
                               .displayID = frame.displayID,
                               .appBundleID = frame.appBundleID,
                               .appName = frame.appName,
                               .windowTitle = frame.windowTitle,
                               .url = frame.url,
                               .imageState = ImageState::segment,
                               .segmentPath = expected.segmentPath,
                               .segmentIndex = 4};
    EXPECT_EQ(store.latestFrame(), summary);

    const RowID bare = store.insertFrame(testing::StoreTest::frameAt(5));
    const FrameRecord bareExpected{.id = bare, .timestamp = {5}, .imageState = ImageState::none};
    EXPECT_EQ(store.frame(bare), bareExpected);
    EXPECT_EQ(store.frame(bare + 1), std::nullopt);
    EXPECT_EQ(store.frameText(bare + 1), std::nullopt);
}

TEST_F(StoreFrames, StoredValuesFromElsewhereReadSafely) {
    const RowID id = store.insertFrame(frameAt(1));
    raw.execute("UPDATE frames SET image_state = 9, ocr_state = -1, text_source = 3, win_x = 0, win_y = 0, win_w = 1");
    const FrameRecord record = store.frame(id).value();
    EXPECT_EQ(record.imageState, ImageState::none);
    EXPECT_EQ(record.ocrState, OCRState::notNeeded);
    EXPECT_TRUE(record.textSource.contains(TextSource::ocr()));
    EXPECT_EQ(record.windowRect, std::nullopt) << "three of four edges are no rectangle";
}

TEST_F(StoreFrames, TheIndexHoldsFoldedTextInItsColumns) {
    const struct {
        const char* url;
        const char* reduced; // what the whole address column must be found by, and nothing before it
    } addresses[] = {
        {"https://www.github.com/a", "github com a"},
        {"http://www.github.com/a", "github com a"},
        {"https://http.example", "http example"},
        {"https://http://x.example", "x example"},
        {"www.www.example", "www example"},
        {"HTTPS://shout.example", "https shout example"},
        {"http://https://y.example", "https y example"},
    };
    for (const auto& row : addresses) {
        NewFrame frame = frameAt(1);
        frame.url = row.url;
        const RowID id = store.insertFrame(frame);
        EXPECT_EQ(matching(std::string("url : ^\"") + row.reduced + "\""), IDs{id}) << row.url;
        store.removeFromIndex(id);
    }
    const RowID id = insert(1, "b", "ISTANBUL Ｆｕｌｌ", {"Crème brûlée", "ıssız"});
    for (const char* found : {"title : istanbul", "title : full", "body : creme", "body : brulee", "body : issiz"})
        EXPECT_EQ(matching(found), IDs{id}) << found;
    for (const char* missing : {"body : istanbul", "title : creme", "url : full"})
        EXPECT_EQ(matching(missing), IDs{}) << missing;
}

TEST_F(StoreFrames, AFailedInsertionLeavesNoTrace) {
    store.insertFrame(frameAt(1, {"kept"}));
    raw.execute("CREATE TRIGGER refuse BEFORE INSERT ON frame_text BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_THROW(store.insertFrame(frameAt(2, {"lost"})), SQLiteError);
    raw.execute("DROP TRIGGER refuse; ALTER TABLE frame_fts RENAME TO frame_fts_away;");
    EXPECT_THROW(store.insertFrame(frameAt(3, {"lost"})), SQLiteError);
    raw.execute("ALTER TABLE frame_fts_away RENAME TO frame_fts;");
    EXPECT_EQ(count("frames"), 1);
    EXPECT_EQ(count("frame_text"), 1);
    EXPECT_EQ(matching("lost"), IDs{});
    EXPECT_NO_THROW(store.insertFrame(frameAt(4, {"again"})));
}

TEST_F(StoreFrames, TextThatArrivesLaterIsAddedBehind) {
    const auto accessibility = TextSource::accessibility(), ocr = TextSource::ocr();
    const struct {
        const char* name;
        std::vector<std::string> first, added;
        std::optional<OCRState> state;
        const char* body;
        std::int64_t chars;
        OCRState stateAfter;
    } rows[] = {
        {"lines behind lines", {"alpha"}, {"beta", "gamma"}, OCRState::done, "alpha\nbeta\ngamma", 16, OCRState::done},
        {"nothing, only the state", {"alpha"}, {}, OCRState::failed, "alpha", 5, OCRState::failed},
        {"lines without a state", {"alpha"}, {"é"}, std::nullopt, "alpha\né", 7, OCRState::queued},
    };
    for (const auto& row : rows) {
        NewFrame frame = frameAt(1, row.first);
        frame.textSource = accessibility;
        frame.ocrState = OCRState::queued;
        const RowID id = store.insertFrame(frame);
        store.updateFrameText(id, row.added, ocr, row.state);
        const FrameRecord record = store.frame(id).value();
        EXPECT_EQ(store.frameText(id), row.body) << row.name;
        EXPECT_EQ(record.textChars, row.chars) << row.name;
        EXPECT_EQ(record.ocrState, row.stateAfter) << row.name;
        EXPECT_EQ(record.textSource, accessibility | ocr) << row.name;
        for (const std::string& line : TextNormalizer::tokens(row.body))
            EXPECT_EQ(matching("\"" + line + "\""), IDs{id}) << row.name << ": " << line;
        store.removeFromIndex(id);
        for (const std::string& line : TextNormalizer::tokens(row.body))
            EXPECT_EQ(matching("\"" + line + "\""), IDs{}) << row.name << ": " << line << " must be forgotten";
    }
    EXPECT_NO_THROW(store.updateFrameText(99, {"late"}, ocr, OCRState::done)) << "deleted meanwhile";
    EXPECT_EQ(matching("late"), IDs{});
}

TEST_F(StoreFrames, AMissingTextRowCountsAsEmpty) {
    const RowID id = store.insertFrame(frameAt(1));
    raw.execute("DELETE FROM frame_text");
    EXPECT_EQ(store.frameText(id), std::nullopt);
    store.updateFrameText(id, {"new"}, TextSource::ocr(), std::nullopt);
    EXPECT_EQ(store.frameText(id), "new");
    EXPECT_EQ(matching("new"), IDs{id});
}

// Bytes that aren't UTF-8 and a NUL reach the table and the index in two ways; forgetting must still undo exactly what
// insertion did.
TEST_F(StoreFrames, BadTextIsForgottenWhole) {
    const std::vector<std::string> bodies = {"caf\xc3 broken", std::string("before\0after", 12), "\xff\xfe only",
                                             "e\u0301\u0323 ﬁ ǆ İ"};
    for (const std::string& body : bodies) {
        NewFrame frame = frameAt(1, {body});
        frame.windowTitle = body;
        frame.url = "https://www." + body;
        store.removeFromIndex(store.insertFrame(frame));
    }
    raw.execute("INSERT INTO frame_fts(frame_fts) VALUES('optimize');"
                "CREATE VIRTUAL TABLE terms USING fts5vocab(frame_fts, row);");
    EXPECT_EQ(raw.query("SELECT term FROM terms", {}, [](const SQLRow& row) { return row.text(0); }),
              std::vector<std::string>{});
}

// SQLite ends a text there: what comes behind would be lost.
TEST_F(StoreFrames, NulEndsNoText) {
    const std::string line("before\0behind", 13), title("Title\0 goes on", 14), url("http://a.example/\0page", 22);
    NewFrame frame = frameAt(1, {line, "second"});
    frame.windowTitle = title;
    frame.url = url;
    const RowID id = store.insertFrame(frame);
    store.updateFrameText(id, {"third\0", line}, TextSource::ocr(), std::nullopt);
    EXPECT_EQ(store.frameText(id), "beforebehind\nsecond\nthird\nbeforebehind");
    EXPECT_EQ(store.frame(id)->textChars, 38);
    EXPECT_EQ(store.frame(id)->windowTitle, "Title goes on");
    EXPECT_EQ(store.frame(id)->url, "http://a.example/page");
    for (const char* word : {"beforebehind", "second", "third", "goes"})
        EXPECT_EQ(matching(word), std::vector<RowID>{id}) << word;
    store.removeFromIndex(id);
    EXPECT_TRUE(matching("second").empty());
}

TEST_F(StoreFrames, BothFormsOfForgettingFollowTheStoredKey) {
    for (const bool byRowID : {false, true}) {
        if (byRowID && !Schema::libraryDeletesByRowID()) continue; // this library can't even read such a table
        raw.execute("DROP TABLE IF EXISTS frame_fts;" + Schema::fullTextIndex(byRowID));
        raw.run("UPDATE meta SET value = ? WHERE key = 'fts_contentless_delete'", {byRowID ? "1" : "0"});
        MemoryStore right(data.database(), false, clock);
        ASSERT_EQ(right.contentlessDelete(), byRowID);
        const RowID kept = right.insertFrame(frameAt(1, {"shared kept"}));
        const RowID gone = right.insertFrame(frameAt(2, {"shared gone"}));
        right.updateFrameText(gone, {"later"}, TextSource::ocr(), OCRState::done);
        EXPECT_EQ(matching("gone AND later"), IDs{gone});
        right.removeFromIndex(gone);
        EXPECT_EQ(matching("shared"), IDs{kept});
        EXPECT_EQ(matching("gone OR later"), IDs{});
        EXPECT_NO_THROW(right.removeFromIndex(gone + 1000)) << "a row that was never there";

        // With the key turned round the store sends the other form, which this table refuses.
        right.setMeta("fts_contentless_delete", byRowID ? "0" : "1");
        MemoryStore wrong(data.database(), false, clock);
        ASSERT_EQ(wrong.contentlessDelete(), !byRowID);
        try {
            wrong.updateFrameText(kept, {"never"}, TextSource::ocr(), OCRState::done);
            FAIL() << "the key must decide, not the library";
        } catch (const SQLiteError& error) {
            EXPECT_EQ(error.sql().value_or("").starts_with("DELETE FROM frame_fts WHERE rowid = ?"), !byRowID)
                << error.what();
        }
        EXPECT_EQ(wrong.frameText(kept), "shared kept") << "a failed update leaves nothing behind";
    }
}

TEST_F(StoreFrames, RangesAreHalfOpenAndOrdered) {
    IDs ids;
    for (const double ts : {10.0, 20.0, 30.0, 40.0})
        ids.push_back(store.insertFrame(frameAt(ts)));
    EXPECT_EQ(idsOf(store.frames({10}, {40}, false, 99)), (IDs{ids[0], ids[1], ids[2]}));
    EXPECT_EQ(idsOf(store.frames({10}, {40.001}, true, 2)), (IDs{ids[3], ids[2]}));
    EXPECT_EQ(idsOf(store.frames({11}, {12}, false, 99)), IDs{});
}

TEST_F(StoreFrames, TheNearestFrameIsTheEarlierOneOnATie) {
    EXPECT_EQ(store.nearestFrame({1}), std::nullopt);
    const RowID early = store.insertFrame(frameAt(100)), late = store.insertFrame(frameAt(200));
    const struct {
        double date;
        RowID id;
    } rows[] = {{-1e9, early}, {100, early}, {149.9, early}, {150, early}, {150.1, late}, {200, late}, {1e12, late}};
    for (const auto& row : rows)
        EXPECT_EQ(store.nearestFrame({row.date})->id, row.id) << row.date;
}

TEST_F(StoreFrames, ContextTextIsWhatTheSameWindowShowedUpToTheFrame) {
    insert(89, "app", "title", {"too old"});
    insert(90, "app", "title", {"first"});
    insert(92, "app", std::nullopt, {"untitled"});
    insert(93, "app", "", {"empty title"});
    insert(94, "other", "title", {"other app"});
    insert(95, "app", "title", {});
    NewFrame elsewhere = frameAt(96, {"other display"});
    elsewhere.appBundleID = "app";
    elsewhere.windowTitle = "title";
    elsewhere.displayID = 2;
    store.insertFrame(elsewhere);
    const RowID last = insert(100, "app", "title", {"lasté"});
    const RowID untitled = insert(100, "app", std::nullopt, {"last untitled"});
    insert(101, "app", "title", {"after"});
    EXPECT_EQ(store.contextText(last, 10, 100), "first\nlasté");
    EXPECT_EQ(store.contextText(last, 10, 11), "first\nlasté");
    EXPECT_EQ(store.contextText(last, 10, 6), "\nlasté");
    EXPECT_EQ(store.contextText(untitled, 10, 100), "untitled\nlast untitled");
    EXPECT_EQ(store.contextText(insert(200, "lonely", std::nullopt), 10, 5), "");
    EXPECT_EQ(store.contextText(9999, 10, 100), std::nullopt);
}

TEST_F(StoreFrames, DigestsAreCutWithAnEllipsis) {
    insert(50, "old", "gone", {"before"});
    insert(100, "a", "one", {"0123456789"});
    insert(110, "b", "two", {"  0123456789é  "});
    NewFrame third = frameAt(120, {"x", "y"});
    third.appBundleID = "a";
    third.appName = "A";
    third.windowTitle = "one";
    third.url = "https://z.example";
    store.insertFrame(third);
    const auto digests = store.contextDigests({100}, 10, 10);
    ASSERT_EQ(digests.size(), 2U);
    EXPECT_EQ(digests[0].appBundleID, "a");
    EXPECT_EQ(digests[0].url, "https://z.example");
    EXPECT_EQ(digests[0].start, Date{100});
    EXPECT_EQ(digests[0].end, Date{120});
    EXPECT_EQ(digests[0].frameCount, 2);
    EXPECT_EQ(digests[0].text, "0123456789…");
    EXPECT_EQ(digests[1].text, "0123456789…") << "eleven characters once trimmed";
    EXPECT_EQ(store.contextDigests({110}, 10, 11).back().text, "0123456789é");
    EXPECT_EQ(store.contextDigests({100}, 1, 10).size(), 1U);
}

TEST_F(StoreFrames, CountsByApplicationAndTitle) {
    insert(1, "a", "one");
    insert(2, "a", "one");
    insert(3, "a", "");
    NewFrame named = frameAt(4);
    named.appBundleID = "b";
    named.appName = "Bee";
    named.windowTitle = "two";
    store.insertFrame(named);
    insert(5, std::nullopt, "three");
    insert(9, "a", "outside");
    EXPECT_EQ(store.appCounts({1}, {9}), (std::vector<AppCount>{{"a", "a", 3}, {"b", "Bee", 1}}));
    const auto titles = store.titleCounts({1}, {9}, 10);
    ASSERT_EQ(titles.size(), 3U);
    EXPECT_EQ(titles[0], (TitleCount{"a", "one", 2}));
    for (const TitleCount& expected : {TitleCount{"Bee", "two", 1}, TitleCount{"?", "three", 1}})
        EXPECT_NE(std::find(titles.begin(), titles.end(), expected), titles.end()) << expected.title;
    EXPECT_EQ(store.titleCounts({1}, {9}, 1).size(), 1U);
}

TEST_F(StoreFrames, DaysAreLocalOnes) {
    const testing::Environment zone{{"TZ", "Asia/Tokyo"}};
    store.insertFrame(frameAt(1'700'000'000)); // 07:13 of the 15th in Tokyo
    store.insertFrame(frameAt(1'700'060'399)); // a second before Tokyo's midnight
    store.insertFrame(frameAt(1'700'060'400));
    EXPECT_EQ(store.recentDays(10), (std::vector<std::string>{"2023-11-16", "2023-11-15"}));
    EXPECT_EQ(store.recentDays(1), std::vector<std::string>{"2023-11-16"});
}

TEST_F(StoreFrames, TheBacklogOffersOnlyPicturesThatCanBeRead) {
    const RowID open = store.insertOpenSegment("open", 1, {1}, 1, 1);
    const RowID closed = store.insertClosedSegment({.path = "closed"}, 0);
    const auto queued = [&](double seconds, std::optional<RowID> segment) {
        const RowID id = segment ? insertInSegment(seconds, *segment, 0) : store.insertFrame(frameAt(seconds));
        store.setOCRState(id, OCRState::queued);
        return id;
    };
    queued(1, open);
    const RowID late = queued(30, closed), early = queued(20, closed), lost = queued(25, 777);
    queued(40, closed);
    insertInSegment(5, closed, 9); // not queued
    EXPECT_EQ(idsOf(store.ocrBacklog({40}, 10)), (IDs{early, lost, late}));
    EXPECT_EQ(idsOf(store.ocrBacklog({40}, 1)), IDs{early});
    EXPECT_EQ(store.queuedOCRCount(), 5);
    store.closeSegment(open, {2}, 1, 1);
    EXPECT_EQ(store.ocrBacklog({40}, 10).size(), 4U);
}

} // namespace nomara
