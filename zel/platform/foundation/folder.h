#pragma once
#include <zel/platform/foundation/date.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/url.h>

namespace zel {

/// Makes a folder and those above it. Empty, or the reason why it is not there. `folder` is an absolute path.
std::string makeFolders(const std::string& folder, mode_t mode);

/// A regular file of a folder.
struct FolderFile {
    std::string name;
    Date modified;
    std::uint64_t bytes = 0;
};

/// A folder that was opened once: everything in it is reached through its descriptor, links are never followed.
class ZEL_API Folder {
public:
    /// Absent where it is not there or no folder (no note).
    static std::optional<Folder> open(const URL& folder);
    Folder(Folder&&) noexcept;
    Folder& operator=(Folder&&) noexcept;
    ~Folder();
    /// Regular files alone, in no order; nothing of the folders below.
    [[nodiscard]] std::vector<FolderFile> files() const;
    /// The folders in it, in no order; no links to folders.
    [[nodiscard]] std::vector<std::string> folders() const;
    /// Absent where it is not there or no folder (no note).
    [[nodiscard]] std::optional<Folder> folder(const std::string& name) const;
    /// The file as it is now; absent where it is gone or no regular file.
    [[nodiscard]] std::optional<FolderFile> file(const std::string& name) const;
    /// Removes a regular file; what is none stays. True where it is gone.
    bool remove(const std::string& name) const;

private:
    explicit Folder(FileHandle handle) : handle_(std::move(handle)) {}
    [[nodiscard]] std::vector<std::string> names() const;
    [[nodiscard]] std::optional<struct stat> look(const std::string& name) const;
    FileHandle handle_;
};

} // namespace zel
