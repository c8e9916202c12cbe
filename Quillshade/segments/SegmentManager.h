#pragma once

#include "Quillshade/segments/FailureLog.h"
#include "Quillshade/segments/SegmentWriter.h"
#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/store/StoreHub.h"
#include "core/base/Clock.h"
#include "core/base/SerialQueue.h"
#include "platform/Volume.h"

#include <QFuture>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace nomara {

/// Keeps one open segment for each display, ends it when its time has come, and keeps the `segments` table in step with
/// the files. Belongs to the recorder's queue; what takes time is done on a queue of its own. Completing files may
/// still be under way when it is destroyed, and is waited for.
class SegmentManager {
public:
    /// Where a picture is.
    struct Place {
        RowID segmentID = 0;
        std::int64_t index = 0;
        friend bool operator==(const Place&, const Place&) = default;
    };

    /// All outlive the manager. `finishLimitSeconds` is how long `closeAllAndWait` waits for one file.
    SegmentManager(StoreHub& hub, VideoCodec& codec, Volume& volume, const Clock& clock,
                   double finishLimitSeconds = 3.0);
    ~SegmentManager();
    SegmentManager(const SegmentManager&) = delete;
    SegmentManager& operator=(const SegmentManager&) = delete;

    /// Puts a picture into its display's segment. Nothing where the disk is low, the encoder is busy or failed, or no
    /// segment can be opened: the frame is then kept without a picture. A busy encoder is waited for, some 0.3 s at
    /// most, and no longer once `isInterrupted`.
    std::optional<Place> append(const Image& image, DisplayID displayID, Date date, ImageQuality quality,
                                const std::function<bool()>& isInterrupted = {});

    /// Ends the segments that had no picture for `limitSeconds`.
    void closeIdle(double limitSeconds);
    /// These end segments in the background.
    void close(DisplayID displayID);
    void closeAll();
    /// Returns when all files are complete or given up, those of earlier calls included: nothing writes to them any
    /// more.
    void closeAllAndWait();
    /// Of the segments in use, as the table has them.
    std::set<std::string> openPaths() const;

    /// Puts right what a crash has left: segments never closed, frames whose pictures never reached the disk. Once, at
    /// the start, before the first `append`.
    QFuture<void> recoverOpenSegments();

private:
    struct Open {
        RowID id = 0;
        DisplayID displayID = 0;
        std::string path; ///< relative to the frames folder
        std::unique_ptr<SegmentWriter> writer;
        double openedAt = 0, lastPictureAt = 0; ///< uptime: the wall clock may be set meanwhile
        ImageQuality quality = ImageQuality::balanced;
        std::atomic<bool> isFinished = false; ///< and has told why it failed, if it did
    };
    using Entry = std::shared_ptr<Open>;

    bool mustRollOver(const Open& entry, PixelSize size, Date date, ImageQuality quality) const;
    bool isDiskLow();
    bool waitUntilStored(DisplayID displayID, const std::function<bool()>& isInterrupted);
    Entry openSegment(DisplayID displayID, PixelSize size, ImageQuality quality, Date date);
    std::int64_t finish(Open& entry);
    void finishInBackground(Entry entry);
    void recordClose(const Open& entry, std::int64_t bytes);
    void recover(const SegmentRecord& segment);

    StoreHub& m_hub;
    VideoCodec& m_codec;
    Volume& m_volume;
    const Clock& m_clock;
    const double m_finishLimitSeconds;
    std::map<DisplayID, Entry> m_open;
    std::map<DisplayID, std::weak_ptr<Open>> m_closing; ///< the one before the open one
    std::optional<double> m_diskCheckedAt;              // uptime
    bool m_diskLow = false;
    FailureLog m_failures;
    SerialQueue m_finishing; // last, so that it has run all its work before anything that it uses goes
};

} // namespace nomara
