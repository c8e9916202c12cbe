#include "Quillshade/capture/RecordingState.h"

#include <algorithm>

namespace nomara {

void RecordingState::set(Block block, bool on) {
    if (on)
        m_blocks.insert(block);
    else
        m_blocks.erase(block);
}

std::optional<RecorderStatus> RecordingState::takeNewStatus(bool capturesImages) {
    const RecorderStatus now = status(capturesImages);
    if (m_lastStatus == now) return std::nullopt;
    m_lastStatus = now;
    return now;
}

// The order is that of what the user can do about it.
RecorderStatus RecordingState::status(bool capturesImages) const {
    using Kind = RecorderStatus::Kind;
    if (has(Block::stopped)) return {Kind::stopped};
    if (has(Block::permission)) return {Kind::needsPermission};
    if (hasAny({Block::settings, Block::storage})) return {Kind::waiting};
    if (has(Block::paused)) return {Kind::paused};
    if (hasAny({Block::locked, Block::screensaver, Block::sessionInactive})) return {Kind::locked};
    if (hasAny({Block::asleep, Block::displayAsleep})) return {Kind::asleep};
    return {Kind::recording, !capturesImages};
}

bool RecordingState::hasAny(std::initializer_list<Block> blocks) const {
    return std::any_of(blocks.begin(), blocks.end(), [this](Block block) { return has(block); });
}

} // namespace nomara
