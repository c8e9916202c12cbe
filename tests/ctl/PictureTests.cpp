#include "tests/ctl/CtlTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>

#include <sys/stat.h>

namespace nomara::testing {

namespace {

using Color = std::array<int, 3>; // blue, green, red

Image filled(Color color, int width = 64, int height = 48) {
    auto image = std::make_shared<PixelBuffer>(width, height);
    for (std::size_t at = 0; at < image->bytes.size(); ++at)
        image->bytes[at] = at % 4 == 3 ? 255 : static_cast<std::uint8_t>(color[at % 4]);
    return image;
}

bool isNear(const PixelBuffer& image, Color color) {
    const std::uint8_t* pixel = image.row(image.height / 2) + std::ptrdiff_t{4} * (image.width / 2);
    for (std::size_t channel = 0; channel < 3; ++channel)
        if (std::abs(pixel[channel] - color[channel]) > 6) return false;
    return true;
}

struct CtlPictures : CtlMemoryTest {
    const Color red{20, 30, 220}, green{40, 200, 60};
    const std::string segment = "segments/2023-11-14/1-1.mp4";
    const std::filesystem::path out = data.root() / "screen.png";
    RowID first = 0, second = 0, third = 0;

    /// Two pictures are in the file, a third one is on its way to it.
    CtlPictures() {
        const auto file = NomaraPaths::framesFile(segment);
        std::filesystem::create_directories(file.parent_path());
        const auto video = videos.create({file, {64, 48}, 0.9});
        for (const Color color : {red, green}) {
            EXPECT_TRUE(video->waitUntilReady(60));
            EXPECT_TRUE(video->append(filled(color)));
        }
        video->finish();
        const RowID id = store.insertOpenSegment(segment, 1, clock.now(), 64, 48);
        const auto add = [&](std::int64_t index) {
            NewFrame withPicture = frame(60, "Title", {"line " + std::to_string(index)});
            withPicture.imageState = ImageState::segment;
            withPicture.segmentID = id;
            withPicture.segmentIndex = index;
            return store.insertFrame(withPicture);
        };
        first = add(0);
        second = add(1);
        third = add(2);
    }

    Answer show(RowID id, const std::filesystem::path& to) const {
        return run({"show", std::to_string(id), "--image", to.string()});
    }
};

TEST_F(CtlPictures, WritesTheVeryFramesPicture) {
    for (const auto& [id, color] : {std::pair(first, red), std::pair(second, green)}) {
        const Answer answer = show(id, out);
        EXPECT_EQ(answer.code, 0) << answer.err;
        EXPECT_NE(answer.out.find("written to " + out.string()), std::string::npos) << answer.out;
        const Image image = pictures.read(out);
        EXPECT_EQ(image->width, 64);
        EXPECT_EQ(image->height, 48);
        EXPECT_TRUE(isNear(*image, color)) << "frame " << id;
        struct stat status {};
        ASSERT_EQ(stat(out.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U) << "what was on the screen is its owner's alone";
    }
    EXPECT_EQ(run({"show", std::to_string(first), "--json", "--image", out.string()}).json()["imageFile"],
              out.string());
}

TEST_F(CtlPictures, TellsWhatAPictureTakes) {
    const auto bytes = [this](RowID id) { return run({"show", std::to_string(id), "--json"}).json()["bytes"]; };
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(NomaraPaths::framesFile(segment)));
    EXPECT_GT(bytes(first).get<std::int64_t>(), 0);
    EXPECT_GT(bytes(second).get<std::int64_t>(), 0);
    EXPECT_LT(bytes(first).get<std::int64_t>() + bytes(second).get<std::int64_t>(), size);
    EXPECT_TRUE(bytes(third).is_null()) << "nothing is known of one that isn't in the file";
    EXPECT_EQ(bytes(insert(10, "Text", {"alone"})), 0);
    std::filesystem::remove(NomaraPaths::framesFile(segment));
    EXPECT_TRUE(bytes(first).is_null());
}

TEST_F(CtlPictures, SaysWhyThereIsNone) {
    const Answer early = show(third, out);
    EXPECT_EQ(early.code, 2);
    EXPECT_NE(early.err.find("isn't in"), std::string::npos) << early.err;

    const RowID textOnly = insert(10, "Text", {"alone"});
    const Answer without = show(textOnly, out);
    EXPECT_EQ(without.code, 1);
    EXPECT_NE(without.err.find("has no picture"), std::string::npos) << without.err;

    EXPECT_EQ(show(first, data.root() / "no such folder" / "screen.png").code, 2);
    EXPECT_FALSE(std::filesystem::exists(out));

    for (const char* damage : {"a byte of it", "all of it"}) {
        std::fstream video(NomaraPaths::framesFile(segment), std::ios::in | std::ios::out | std::ios::binary);
        std::string bytes(std::istreambuf_iterator<char>(video), {});
        video.seekp(static_cast<std::streamoff>(bytes.find("mdat") + 40)).put('x');
        if (damage == std::string("all of it")) {
            video.close();
            std::ofstream(NomaraPaths::framesFile(segment), std::ios::trunc) << "no video";
        }
        video.close();
        const Answer damaged = show(first, out);
        EXPECT_EQ(damaged.code, 2) << damage;
        EXPECT_NE(damaged.err.find(damage == std::string("all of it") ? "can't be opened" : "is damaged there"),
                  std::string::npos)
            << damaged.err;
        EXPECT_EQ(std::count(damaged.err.begin(), damaged.err.end(), '\n'), 1) << damaged.err;
    }
    std::filesystem::remove(NomaraPaths::framesFile(segment));
    EXPECT_EQ(show(first, out).code, 2);
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(CtlTest, PictureFilesComeBackAsTheyWere) {
    const auto file = data.root() / "one.png";
    auto image = std::make_shared<PixelBuffer>(37, 5);
    for (std::size_t at = 0; at < image->bytes.size(); ++at)
        image->bytes[at] = at % 4 == 3 ? 255 : static_cast<std::uint8_t>(at * 7);
    pictures.writePng(*image, file);
    EXPECT_EQ(pictures.read(file)->bytes, image->bytes);

    std::ofstream(data.root() / "cut.png", std::ios::binary)
        << std::string(std::istreambuf_iterator<char>(std::ifstream(file, std::ios::binary).rdbuf()), {}).substr(0, 60);
    std::ofstream(data.root() / "text.png") << "this is no picture at all";
    std::ofstream(data.root() / "empty.png").flush();
    for (const char* name : {"cut.png", "text.png", "empty.png", "missing.png", "."}) {
        try {
            pictures.read(data.root() / name);
            ADD_FAILURE() << name;
        } catch (const PictureFileError& error) {
            EXPECT_NE(std::string(error.what()).find("can't be read"), std::string::npos) << error.what();
        }
    }
}

} // namespace

} // namespace nomara::testing
