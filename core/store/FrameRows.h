#pragma once

#include "core/records/Frames.h"
#include "core/store/PreparedStatement.h"

#include <string>

namespace nomara::FrameRows {

/// The columns from which `record` reads, of `joined`.
extern const char* const recordColumns;
/// The ten columns (0 to 9) from which `summary` reads, of `joined`.
extern const char* const summaryColumns;
/// What stands behind "FROM": frames as f, and its segment, if any, as s.
extern const char* const joined;

FrameRecord record(const SQLRow& row);
FrameSummary summary(const SQLRow& row);

} // namespace nomara::FrameRows
