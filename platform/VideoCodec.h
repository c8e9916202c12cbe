#pragma once

#include "core/geometry/Geometry.h"
#include "core/imaging/Image.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace nomara {

/// A video file can't be written, or can't be read at all. The text is a sentence.
class VideoError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What lies there is no video, or too damaged to be one; trying again won't help.
class DamagedVideo : public VideoError {
public:
    using VideoError::VideoError;
};

/// One video file that is being written: picture `i` stands at `i` seconds. Pictures are encoded on a thread of its
/// own, so a picture that was taken isn't in the file yet; `storedFrames` tells what is, whatever happens to the
/// process. `append` and `waitUntilReady` belong to one thread at a time, the others may be called from any. The
/// destructor waits for the picture under way; a file neither finished nor cancelled keeps what is stored.
class VideoOutput {
public:
    enum class Status {
        writing,
        completed,
        failed,    ///< takes no picture any more; the file holds those stored before
        cancelled, ///< given up; the file is the caller's to remove
    };

    virtual ~VideoOutput() = default;

    virtual Status status() const = 0;
    /// Why it failed; empty otherwise.
    virtual std::string errorText() const = 0;
    /// Whether a picture would be taken now, or within that time.
    virtual bool waitUntilReady(double seconds) = 0;
    /// Takes the next picture, of any size: it is scaled to that of the video. False when it isn't ready, isn't
    /// writing, or the picture is none.
    virtual bool append(const Image& image) = 0;
    /// How many pictures are on disk, from the first on without gaps.
    virtual std::int64_t storedFrames() const = 0;
    /// Waits for the pictures taken and completes the file; a failed one is left with what is stored.
    virtual void finish() = 0;
    /// Writes nothing any more, also from within a `finish` that is under way on another thread.
    virtual void cancel() = 0;
};

/// The pictures of one video file, as the file was when it was opened. Used from one thread at a time.
class VideoInput {
public:
    virtual ~VideoInput() = default;

    virtual PixelSize size() const = 0;
    /// How many pictures the file says it holds in full. After a crash the last of them may still be unreadable.
    virtual std::int64_t frameCount() const = 0;
    /// One picture, with its own shape, within a square of `largestSide` pixels (0: as large as it is). Absent where
    /// there is none. Throws DamagedVideo where it, or one that it is decoded from, isn't as it was written; others can
    /// be read all the same.
    virtual Image frame(std::int64_t index, int largestSide) = 0;
    /// What one picture takes in the file; 0 where there is none.
    virtual std::int64_t frameBytes(std::int64_t index) const = 0;
    /// The nearest picture up to `index` from which reading begins anew: what lies between is decoded on the way.
    virtual std::int64_t groupStart(std::int64_t index) const = 0;
};

struct VideoSettings {
    std::filesystem::path file;
    PixelSize size;       ///< both even
    double quality = 0.5; ///< 0 to 1; half keeps small text crisp
};

/// Writes and reads the videos that hold the pictures of the screen. Callable from any thread.
class VideoCodec {
public:
    virtual ~VideoCodec() = default;

    /// Begins a file, in the place of one that may be there. Throws VideoError.
    virtual std::unique_ptr<VideoOutput> create(const VideoSettings& settings) = 0;
    /// Opens a finished file, one that is being written, or what a crash has left of one. Throws DamagedVideo where
    /// nothing in it can be read, VideoError where that couldn't be found out.
    virtual std::unique_ptr<VideoInput> open(const std::filesystem::path& file) = 0;
    /// Removes what an interrupted completion of that file may have left beside it.
    virtual void removeLeftovers(const std::filesystem::path& file) = 0;
};

} // namespace nomara
