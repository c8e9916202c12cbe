#pragma once

#include <filesystem>

namespace nomara {

/// Removes everything in the data folder, and the database and pictures that links in it lead to. The folder stays, as
/// do mount points in it, and links to folders of ours: the user put them there. Passes over what can't be removed and
/// throws the first such failure, a filesystem_error, once all else has gone.
void eraseDataFolder();

} // namespace nomara
