#pragma once
#include <zel/platform/foundation/folder.h>

#include <optional>
#include <vector>

namespace zel::program {

/// One cache: its files, and no way to any other.
class CacheFolder {
public:
    explicit CacheFolder(Folder folder) : folder_(std::move(folder)) {}
    /// Regular files, by name.
    [[nodiscard]] std::vector<FolderFile> files() const;
    /// True where it is gone, or was written anew since; else the reason is noted.
    [[nodiscard]] bool remove(const FolderFile& file) const;

private:
    Folder folder_;
};

/// The caches of an application.
class CacheFolders {
public:
    /// `folder`: the application's caches folder, which may be missing.
    explicit CacheFolders(const URL& folder) : folder_(Folder::open(folder)) {}
    /// By name.
    [[nodiscard]] std::vector<std::string> names() const;
    /// Absent with the reason noted.
    [[nodiscard]] std::optional<CacheFolder> open(const std::string& name) const;
    /// False for "..", "", "a/b" and what else leads elsewhere.
    static bool isName(const std::string& name);

private:
    std::optional<Folder> folder_;
};

/// Those that were not written for so many days, or all. What is being written right now is none of them.
std::vector<FolderFile> filesToRemove(const std::vector<FolderFile>& files, bool all, double days);

/// "2024-02-29T18:03:00Z"
std::string isoText(Date date);

} // namespace zel::program
