#include "platform/linux/libav/HevcEncoder.h"
#include "platform/linux/libav/PictureScaler.h"
#include "platform/linux/libav/SegmentFile.h"
#include "tests/platform/VideoTest.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace nomara {

namespace {

constexpr int pictures = 40; // a whole group of thirty, and a part of one

struct VideoDamageTest : VideoTest {
    std::vector<Image> originals;
    std::mt19937 random{11};

    void writeAll() {
        const auto output = create();
        write(*output, 0, pictures);
        put(folder / "growing.mp4", bytesOf(file));
        output->finish();
        const auto input = codec.open(file);
        for (int i = 0; i < pictures; ++i)
            originals.push_back(input->frame(i, 0));
    }

    void flipBit(std::string& bytes, std::size_t at) { bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8)); }

    enum class Read { right, refused, wrong };

    static Read comparison(const Image& image, const Image& original) {
        if (!image) return Read::refused;
        return image->bytes == original->bytes ? Read::right : Read::wrong;
    }
    /// What each of those pictures reads as from a file of these bytes.
    std::map<int, Read> reads(const std::string& bytes, const std::vector<int>& indices) {
        const std::filesystem::path damaged = folder / "damaged.mp4";
        put(damaged, bytes);
        std::map<int, Read> found;
        for (const int index : indices)
            found[index] = Read::refused;
        try {
            const auto input = codec.open(damaged);
            for (const int index : indices)
                found[index] = comparison(wholePicture(*input, index), originals[static_cast<std::size_t>(index)]);
        } catch (const DamagedVideo&) {
            // then none can be read
        }
        return found;
    }
};

} // namespace

TEST_F(VideoDamageTest, FlippedBitsNeverGiveAWrongPicture) {
    writeAll();
    const std::string finished = bytesOf(file), growing = bytesOf(folder / "growing.mp4");
    const std::size_t table = finished.size() - finished.rfind("moov");
    const struct {
        const char* name;
        const std::string& bytes;
        std::size_t reach; // from the end of the file
        int rounds, flips;
        double least; // share of right pictures
    } rows[] = {
        {"a bit of a finished file", finished, finished.size(), 200, 1, 0.6},
        {"a bit of its table", finished, table, 200, 1, 0},
        {"a bit of a growing file", growing, growing.size(), 100, 1, 0.5},
        {"fifty bits of a finished file", finished, finished.size(), 20, 50, 0},
    };
    for (const auto& row : rows) {
        int right = 0;
        for (int round = 0; round < row.rounds; ++round) {
            std::string bytes = row.bytes;
            for (int flip = 0; flip < row.flips; ++flip)
                flipBit(bytes, bytes.size() - 1 - random() % row.reach);
            const int index = static_cast<int>(random() % pictures);
            const Read read = reads(bytes, {index})[index];
            EXPECT_NE(read, Read::wrong) << row.name << ": picture " << index << ", round " << round;
            right += read == Read::right ? 1 : 0;
        }
        EXPECT_GE(right, row.least * row.rounds) << row.name;
    }
}

// Of the pictures around a damaged one only those are lost that are decoded from it.
TEST_F(VideoDamageTest, TheNeighboursOfADamagedPictureAreStillShown) {
    writeAll();
    const std::string whole = bytesOf(file);
    const auto input = codec.open(file);
    const std::size_t pixels = whole.find("mdat") + 4, table = whole.rfind("moov") - 4;
    std::vector<int> all(pictures);
    std::generate(all.begin(), all.end(), [n = 0]() mutable { return n++; });
    for (int flip = 0; flip < 12; ++flip) {
        const std::size_t at = pixels + random() % (table - pixels);
        std::set<int> refused;
        std::string bytes = whole;
        flipBit(bytes, at);
        for (const auto& [index, read] : reads(bytes, all))
            if (read != Read::right) refused.insert(index);
        ASSERT_FALSE(refused.empty()) << at;
        const int first = *refused.begin(), last = *refused.rbegin();
        EXPECT_EQ(static_cast<int>(refused.size()), last - first + 1) << at;
        EXPECT_EQ(input->groupStart(first), input->groupStart(last)) << at;
        EXPECT_TRUE(last + 1 == pictures || input->groupStart(last + 1) == last + 1) << at;
    }
}

// Each picture may be whole and yet not the one that belongs in this place.
TEST_F(VideoDamageTest, ExchangedPicturesAreRefused) {
    const auto output = codec.create({file, {width, height}, 0.5});
    LibavVideoCodec impatient(0.01);
    const auto separate = impatient.create({folder / "separate.mp4", {width, height}, 0.5});
    for (int i = 0; i < 2; ++i) { // each readable without any other, and both of the same length
        ASSERT_TRUE(separate->append(testing::screenPicture(0, width, height)));
        ASSERT_TRUE(separate->waitUntilReady(generous));
        ASSERT_TRUE(eventually([&] { return impatient.openEncoders() == 0; }));
    }
    separate->finish();
    originals = {impatient.open(folder / "separate.mp4")->frame(0, 0), nullptr};
    originals[1] = impatient.open(folder / "separate.mp4")->frame(1, 0);
    std::string bytes = bytesOf(folder / "separate.mp4");
    EXPECT_EQ(reads(bytes, {0, 1}), (std::map<int, Read>{{0, Read::right}, {1, Read::right}}));
    const std::size_t begin = bytes.find("mdat") + 4, end = bytes.rfind("moov") - 4, half = (end - begin) / 2;
    std::swap_ranges(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                     bytes.begin() + static_cast<std::ptrdiff_t>(begin + half),
                     bytes.begin() + static_cast<std::ptrdiff_t>(begin + half));
    EXPECT_EQ(reads(bytes, {0, 1}), (std::map<int, Read>{{0, Read::refused}, {1, Read::refused}}));
}

TEST_F(VideoDamageTest, FilesWithoutChecksumsCanStillBeRead) {
    {
        libav::HevcEncoder encoder({width, height}, 0.5);
        libav::PictureScaler scaler;
        libav::SegmentFile old(file, *libav::parametersOf(encoder.context()));
        for (int i = 0; i < 35; ++i) {
            const libav::Frame frame = scaler.toVideo(*testing::screenPicture(i, width, height), {width, height});
            old.append(*encoder.encode(*frame, i));
        }
    }
    const auto input = codec.open(file);
    ASSERT_EQ(input->frameCount(), 35);
    for (const int i : {34, 0, 29, 30})
        EXPECT_EQ(numberAt(*input, i), i);
}

// What was damaged while it was written isn't put into a file that would hold less of it.
TEST_F(VideoDamageTest, ADamagedFileIsNotCompleted) {
    const auto output = create();
    write(*output, 0, 5);
    std::string bytes = bytesOf(file);
    flipBit(bytes, bytes.size() - 200);
    {
        std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
        stream << bytes;
    }
    output->finish();
    EXPECT_EQ(bytesOf(file), bytes);
    EXPECT_EQ(numberAt(*codec.open(file), 3), 3);
}

} // namespace nomara
