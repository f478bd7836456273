#pragma once
#include <zel/platform/foundation/url.h>

#include <memory>

namespace zel {

/// Names of files that are being written begin like this; one that a killed process left behind may be deleted.
inline constexpr std::string_view temporaryPrefix = ".zel-";

struct AtomicWrite {
    std::string_view operation = "write"; ///< for notes
    bool followLink = true;               ///< a symbolic link: write to the file that it names; else replace the link
    bool createFolders = false;           ///< make the folders above the file
    bool absentAfterFailure = false;      ///< after a failure nothing stands there, not even the old file
    bool sync =
        true; ///< bring it to the disk; without, a power failure soon after may take the old file and the new one
};

/// Replaces a file by these bytes in one step: they are written to a temporary file in the same folder, brought to the
/// disk, and renamed over it. Whoever reads, and whatever kills the process, finds the old bytes or the new ones. A
/// file that was there keeps its mode and, where we may, its owner. False, code `writeFailed`, where the file is as it
/// was, or gone where asked; no temporary file is left. Folders, pipes, devices and sockets are refused and left alone.
ZEL_API bool writeAtomically(const URL& file, std::span<const std::uint8_t> bytes, const AtomicWrite& options = {});

/// Many files that take their names together: brought to the disk by one call of the system in place of two a file.
class ZEL_API AtomicWrites {
public:
    /// `absentAfterFailure` is not for many.
    explicit AtomicWrites(const AtomicWrite& options = {});
    /// Files that did not get their names are removed.
    ~AtomicWrites();
    AtomicWrites(const AtomicWrites&) = delete;
    AtomicWrites& operator=(const AtomicWrites&) = delete;

    /// Writes the file under a temporary name. Any thread. False, `writeFailed`, where it cannot be written.
    bool add(const URL& file, std::span<const std::uint8_t> bytes);
    /// Brings all to the disk, then renames each; as `writeAtomically` each is the old file or the new one at any time.
    /// False, `writeFailed`, where one fails: those before it have their names. (Files in more folders than a process
    /// should hold open take their names in several lots, the first ones while others are added.)
    bool finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// What `absentAfterFailure` does, for a saver that fails before it has bytes to write: removes the regular file or
/// link at that place, where there is one.
void removeTarget(const URL& file);

} // namespace zel
