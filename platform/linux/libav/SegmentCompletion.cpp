#include "platform/linux/libav/SegmentCompletion.h"

#include "platform/linux/libav/PictureTable.h"
#include "platform/linux/libav/SegmentFile.h"

#include <memory>
#include <system_error>

namespace nomara::libav {

namespace fs = std::filesystem;

namespace {

struct FreeMuxer {
    void operator()(AVFormatContext* muxer) const { avformat_free_context(muxer); }
};

bool copyPictures(const MediaFile& from, const PictureTable& table, MediaFile& to, const std::atomic<bool>& givenUp) {
    const std::unique_ptr<AVFormatContext, FreeMuxer> muxer(beginTrack(to.io(), *table.parameters, ""));
    ChecksumReader checksums = table.checksums(from);
    for (std::size_t i = 0; i < table.samples.size(); ++i) {
        const Packet packet = table.read(from, i);
        if (givenUp || !packet || !checksums.accepts(bytesOf(*packet), static_cast<std::int64_t>(i))) return false;
        stamp(*packet, static_cast<std::int64_t>(i));
        if (av_write_frame(muxer.get(), packet.get()) < 0) return false;
    }
    return av_write_trailer(muxer.get()) >= 0 && to.sync() >= 0;
}

} // namespace

void completeSegment(const fs::path& file, std::int64_t pictures, const std::atomic<bool>& givenUp) {
    const fs::path beside = unfinishedCompletion(file);
    std::error_code error;
    try {
        MediaFile fragments(file, MediaFile::Mode::read);
        const PictureTable table(fragments);
        if (static_cast<std::int64_t>(table.samples.size()) != pictures) return;
        MediaFile whole(beside, MediaFile::Mode::replace);
        // A file that was deleted meanwhile must not come back.
        if (copyPictures(fragments, table, whole, givenUp) && !givenUp && fragments.isLinked()) {
            fs::rename(beside, file, error);
            if (!error) {
                syncFolder(file.parent_path());
                return;
            }
        }
    } catch (const VideoError&) {
        // The fragments are as good, only slower to open; a full disk is no reason to lose them.
    }
    fs::remove(beside, error);
}

fs::path unfinishedCompletion(const fs::path& file) {
    return fs::path(file) += ".part";
}

} // namespace nomara::libav
