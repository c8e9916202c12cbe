#pragma once

#include "core/records/Frames.h"

namespace nomara {

/// One row of `segments`: a video file that holds the pictures of one display.
struct SegmentRecord {
    RowID id = 0;
    std::string path; ///< relative to the frames folder
    DisplayID displayID = 0;
    Date start;
    Date end; ///< time of the last frame, or of the opening while it is still open
    std::int64_t frameCount = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t bytes = 0;
    std::int64_t tier = 0; ///< retention tier; 0 when written, raised by rewrites
    bool closed = false;
    friend bool operator==(const SegmentRecord&, const SegmentRecord&) = default;
};

/// A segment that a rewrite has produced, ready to be inserted.
struct NewSegment {
    std::string path;
    DisplayID displayID = 0;
    Date start;
    Date end;
    std::int64_t frameCount = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t bytes = 0;
    friend bool operator==(const NewSegment&, const NewSegment&) = default;
};

} // namespace nomara
