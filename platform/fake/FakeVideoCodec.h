#pragma once

#include "platform/VideoCodec.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace nomara {

/// Keeps the pictures in memory, and a small file in the place of each video. What goes wrong is scripted. The fields
/// are the test's while nobody else is at work; the operations may be called from any thread.
class FakeVideoCodec final : public VideoCodec {
public:
    /// What is known of a file; a test may add files that a crash has left.
    struct Video {
        VideoSettings settings;
        std::vector<Image> frames;
        std::int64_t announcedFrames = 0; ///< beyond those that can be read
        std::set<std::int64_t> damaged;
        int groupLength = 30;
        VideoOutput::Status status = VideoOutput::Status::writing;
    };

    std::unique_ptr<VideoOutput> create(const VideoSettings& settings) override;
    std::unique_ptr<VideoInput> open(const std::filesystem::path& file) override;
    void removeLeftovers(const std::filesystem::path& file) override;

    /// The next files can't be made, for that reason.
    void refuse(const std::string& reason);
    void setReady(bool ready);
    /// From the picture of that index on nothing reaches the file, though it is taken: the output fails.
    void failFrom(std::int64_t index);
    void setFinishFails(bool fails);
    /// No file can be opened, whatever is in it.
    void setOpensFail(bool fail);
    /// Outputs don't finish until it is let go again.
    void holdFinish(bool held);
    /// Readers wait for it before each picture.
    void holdReads(bool held);
    /// Makes the file and what is in it.
    void put(const std::filesystem::path& file, const Video& video);

    std::vector<VideoSettings> created();
    Video video(const std::filesystem::path& file);
    std::vector<double> waits(); ///< how long callers were ready to wait
    std::vector<std::filesystem::path> opened();
    std::vector<std::pair<std::int64_t, int>> decoded(); ///< index and largest side
    std::vector<std::filesystem::path> cleared();        ///< of leftovers

private:
    class Output;
    class Input;

    std::mutex m_mutex; // guards all fields
    std::condition_variable m_letGo;
    std::map<std::filesystem::path, Video> m_videos;
    std::string m_refusal;
    bool m_ready = true, m_finishFails = false, m_opensFail = false, m_finishHeld = false, m_readsHeld = false;
    std::int64_t m_failFrom = INT64_MAX;
    std::vector<VideoSettings> m_created;
    std::vector<double> m_waits;
    std::vector<std::filesystem::path> m_opened, m_cleared;
    std::vector<std::pair<std::int64_t, int>> m_decoded;
};

} // namespace nomara
