#include "platform/fake/FakeVideoCodec.h"

#include <fstream>

namespace nomara {

namespace {

void growFile(const std::filesystem::path& file) {
    std::ofstream(file, std::ios::app) << "a picture\n";
}

} // namespace

class FakeVideoCodec::Output final : public VideoOutput {
public:
    Output(FakeVideoCodec& codec, std::filesystem::path file) : m_codec(codec), m_file(std::move(file)) {}

    Status status() const override {
        const std::lock_guard lock(m_codec.m_mutex);
        return m_status;
    }
    std::string errorText() const override { return status() == Status::failed ? "The disk is full." : ""; }
    bool waitUntilReady(double seconds) override {
        const std::lock_guard lock(m_codec.m_mutex);
        m_codec.m_waits.push_back(seconds);
        return m_codec.m_ready;
    }
    bool append(const Image& image) override {
        const std::lock_guard lock(m_codec.m_mutex);
        if (!image || m_status != Status::writing || !m_codec.m_ready) return false;
        if (stored() >= m_codec.m_failFrom) {
            m_status = Status::failed;
        } else {
            m_codec.m_videos[m_file].frames.push_back(image);
            growFile(m_file);
        }
        return true;
    }
    std::int64_t storedFrames() const override {
        const std::lock_guard lock(m_codec.m_mutex);
        return stored();
    }
    void finish() override {
        std::unique_lock lock(m_codec.m_mutex);
        m_codec.m_letGo.wait(lock, [this] { return !m_codec.m_finishHeld; });
        if (m_status == Status::writing) m_status = m_codec.m_finishFails ? Status::failed : Status::completed;
        m_codec.m_videos[m_file].status = m_status;
    }
    void cancel() override {
        const std::lock_guard lock(m_codec.m_mutex);
        if (m_status == Status::writing) m_status = Status::cancelled;
        m_codec.m_videos[m_file].status = m_status;
    }

private:
    std::int64_t stored() const { return static_cast<std::int64_t>(m_codec.m_videos[m_file].frames.size()); }

    FakeVideoCodec& m_codec;
    const std::filesystem::path m_file;
    Status m_status = Status::writing; // guarded by the codec's lock
};

class FakeVideoCodec::Input final : public VideoInput {
public:
    Input(FakeVideoCodec& codec, Video video) : m_codec(codec), m_video(std::move(video)) {}

    PixelSize size() const override { return m_video.settings.size; }
    std::int64_t frameCount() const override {
        return static_cast<std::int64_t>(m_video.frames.size()) + m_video.announcedFrames;
    }
    Image frame(std::int64_t index, int largestSide) override {
        std::unique_lock lock(m_codec.m_mutex);
        m_codec.m_letGo.wait(lock, [this] { return !m_codec.m_readsHeld; });
        m_codec.m_decoded.emplace_back(index, largestSide);
        if (m_video.damaged.contains(index)) throw DamagedVideo("Picture " + std::to_string(index) + " is damaged.");
        const bool isThere = index >= 0 && index < static_cast<std::int64_t>(m_video.frames.size());
        return isThere ? m_video.frames[static_cast<std::size_t>(index)] : nullptr;
    }
    std::int64_t frameBytes(std::int64_t index) const override {
        return index >= 0 && index < static_cast<std::int64_t>(m_video.frames.size()) ? 1'000 + index : 0;
    }
    std::int64_t groupStart(std::int64_t index) const override { return index - index % m_video.groupLength; }

private:
    FakeVideoCodec& m_codec;
    const Video m_video;
};

std::unique_ptr<VideoOutput> FakeVideoCodec::create(const VideoSettings& settings) {
    const std::lock_guard lock(m_mutex);
    if (!m_refusal.empty()) throw VideoError(m_refusal);
    std::ofstream(settings.file, std::ios::trunc) << "a video\n";
    m_videos[settings.file] = {.settings = settings};
    m_created.push_back(settings);
    return std::make_unique<Output>(*this, settings.file);
}

std::unique_ptr<VideoInput> FakeVideoCodec::open(const std::filesystem::path& file) {
    const std::lock_guard lock(m_mutex);
    m_opened.push_back(file);
    const auto video = m_videos.find(file);
    if (m_opensFail) throw VideoError("Too many files are open.");
    if (!std::filesystem::exists(file)) throw VideoError("There is no such file.");
    if (video == m_videos.end()) throw DamagedVideo("The video can't be opened.");
    return std::make_unique<Input>(*this, video->second);
}

void FakeVideoCodec::removeLeftovers(const std::filesystem::path& file) {
    const std::lock_guard lock(m_mutex);
    m_cleared.push_back(file);
}

void FakeVideoCodec::refuse(const std::string& reason) {
    const std::lock_guard lock(m_mutex);
    m_refusal = reason;
}

void FakeVideoCodec::setReady(bool ready) {
    const std::lock_guard lock(m_mutex);
    m_ready = ready;
}

void FakeVideoCodec::failFrom(std::int64_t index) {
    const std::lock_guard lock(m_mutex);
    m_failFrom = index;
}

void FakeVideoCodec::setFinishFails(bool fails) {
    const std::lock_guard lock(m_mutex);
    m_finishFails = fails;
}

void FakeVideoCodec::setOpensFail(bool fail) {
    const std::lock_guard lock(m_mutex);
    m_opensFail = fail;
}

void FakeVideoCodec::holdFinish(bool held) {
    const std::lock_guard lock(m_mutex);
    m_finishHeld = held;
    m_letGo.notify_all();
}

void FakeVideoCodec::holdReads(bool held) {
    const std::lock_guard lock(m_mutex);
    m_readsHeld = held;
    m_letGo.notify_all();
}

void FakeVideoCodec::put(const std::filesystem::path& file, const Video& video) {
    const std::lock_guard lock(m_mutex);
    std::filesystem::create_directories(file.parent_path());
    growFile(file);
    m_videos[file] = video;
}

std::vector<VideoSettings> FakeVideoCodec::created() {
    const std::lock_guard lock(m_mutex);
    return m_created;
}

FakeVideoCodec::Video FakeVideoCodec::video(const std::filesystem::path& file) {
    const std::lock_guard lock(m_mutex);
    return m_videos[file];
}

std::vector<double> FakeVideoCodec::waits() {
    const std::lock_guard lock(m_mutex);
    return m_waits;
}

std::vector<std::filesystem::path> FakeVideoCodec::opened() {
    const std::lock_guard lock(m_mutex);
    return m_opened;
}

std::vector<std::pair<std::int64_t, int>> FakeVideoCodec::decoded() {
    const std::lock_guard lock(m_mutex);
    return m_decoded;
}

std::vector<std::filesystem::path> FakeVideoCodec::cleared() {
    const std::lock_guard lock(m_mutex);
    return m_cleared;
}

} // namespace nomara
