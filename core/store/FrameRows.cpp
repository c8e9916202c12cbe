#include "core/store/FrameRows.h"

namespace nomara::FrameRows {

const char* const recordColumns =
    "f.id, f.ts, f.display_id, f.app_bundle, f.app_name, f.window_title, f.url, f.project, f.width, f.height,\n"
    "f.image_state, f.image_path, f.segment_id, f.segment_index, s.path, f.ocr_state, f.text_source,\n"
    "f.text_chars, f.keyframe, f.bytes, f.win_x, f.win_y, f.win_w, f.win_h";

const char* const summaryColumns = "f.id, f.ts, f.display_id, f.app_bundle, f.app_name, f.window_title, f.url, "
                                   "f.image_state, s.path, f.segment_index";

const char* const joined = "frames f LEFT JOIN segments s ON s.id = f.segment_id";

namespace {

std::optional<RelativeRect> windowRect(const SQLRow& row, int first) {
    for (int column = first; column < first + 4; ++column)
        if (row.isNull(column)) return std::nullopt;
    return RelativeRect{row.real(first), row.real(first + 1), row.real(first + 2), row.real(first + 3)};
}

} // namespace

FrameRecord record(const SQLRow& row) {
    return {
        .id = row.integer(0),
        .timestamp = {row.real(1)},
        .displayID = static_cast<DisplayID>(row.integer(2)),
        .appBundleID = row.optionalText(3),
        .appName = row.optionalText(4),
        .windowTitle = row.optionalText(5),
        .url = row.optionalText(6),
        .project = row.optionalText(7),
        .width = row.integer(8),
        .height = row.integer(9),
        .imageState = imageState(row.integer(10)),
        .imagePath = row.optionalText(11),
        .segmentID = row.optionalInt(12),
        .segmentIndex = row.optionalInt(13),
        .segmentPath = row.optionalText(14),
        .ocrState = ocrState(row.integer(15)),
        .textSource = {row.integer(16)},
        .textChars = row.integer(17),
        .keyframe = row.integer(18),
        .bytes = row.integer(19),
        .windowRect = windowRect(row, 20),
    };
}

FrameSummary summary(const SQLRow& row) {
    return {
        .id = row.integer(0),
        .timestamp = {row.real(1)},
        .displayID = static_cast<DisplayID>(row.integer(2)),
        .appBundleID = row.optionalText(3),
        .appName = row.optionalText(4),
        .windowTitle = row.optionalText(5),
        .url = row.optionalText(6),
        .imageState = imageState(row.integer(7)),
        .segmentPath = row.optionalText(8),
        .segmentIndex = row.optionalInt(9),
    };
}

} // namespace nomara::FrameRows
