#pragma once

#include "Quillshade/capture/RecorderTypes.h"

#include <initializer_list>
#include <optional>
#include <set>

namespace nomara {

/// Whether anything is recorded, and if not, why.
class RecordingState {
public:
    /// A reason not to record. The recorder runs exactly while there is none.
    enum class Block {
        stopped,
        paused,
        locked,
        screensaver,
        sessionInactive,
        asleep,
        displayAsleep,
        permission,
        settings, ///< what the user doesn't want recorded can't be read
        storage,  ///< nothing can be stored
    };

    void set(Block block, bool on);
    bool has(Block block) const { return m_blocks.contains(block); }
    bool isBlocked() const { return !m_blocks.empty(); }
    /// The status where it is another one than at the last call.
    std::optional<RecorderStatus> takeNewStatus(bool capturesImages);

    bool isRunning = false;
    int holders = 0; ///< those who suspended capture

private:
    RecorderStatus status(bool capturesImages) const;
    bool hasAny(std::initializer_list<Block> blocks) const;

    std::set<Block> m_blocks{Block::stopped};
    std::optional<RecorderStatus> m_lastStatus;
};

} // namespace nomara
