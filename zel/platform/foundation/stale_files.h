#pragma once
#include <zel/platform/foundation/file_calls.h>

namespace zel {

/// Removes temporary files of `writeAtomically` that a process left in this folder when it was killed: regular files of
/// ours under its names, untouched for ten minutes, whose process is gone. Looks at the first 10,000 entries. What
/// cannot be looked at or removed stays.
void removeStaleTemporaries(const FileHandle& folder);
/// The same, once a process and folder.
void removeStaleTemporariesOnce(const FileHandle& folder);

} // namespace zel
