#pragma once

namespace nomara {

/// What is remembered is for its owner's eyes: no file of ours is readable by others, and no crash leaves the text of
/// the screen in a core file.
void keepToOurselves();

/// Images come and go by the dozen. Left to itself glibc keeps what they took: the first one that is freed raises the
/// size from which memory goes back to the system to as much as 32 MB, and each thread has a store of its own. To be
/// called before any other thread starts.
void returnFreedMemory();

} // namespace nomara
