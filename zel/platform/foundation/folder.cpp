#include <zel/platform/foundation/folder.h>
#include <zel/platform/foundation/guards.h>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace zel {
namespace {

Date dateOf(const struct timespec& time)
{
    return Date(std::chrono::duration_cast<Date::duration>(std::chrono::seconds(time.tv_sec) +
                                                           std::chrono::nanoseconds(time.tv_nsec)));
}

} // namespace

std::string makeFolders(const std::string& folder, mode_t mode)
{
    if (fileCalls().mkdir(folder.c_str(), mode) == 0 || errno == EEXIST)
        return {};
    if (errno != ENOENT)
        return "the folder cannot be made: " + errorText(errno);
    const std::size_t slash = folder.find_last_of('/', folder.find_last_not_of('/'));
    if (slash == 0)
        return "the folder cannot be made: " + errorText(ENOENT);
    if (std::string reason = makeFolders(folder.substr(0, slash), mode); !reason.empty())
        return reason;
    if (fileCalls().mkdir(folder.c_str(), mode) == 0 || errno == EEXIST)
        return {};
    return "the folder cannot be made: " + errorText(errno);
}

std::optional<Folder> Folder::open(const URL& folder)
{
    if (!folder.isFile())
        return std::nullopt;
    FileHandle handle = openFile(folder.filePath().string(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    return handle ? std::optional<Folder>(Folder(std::move(handle))) : std::nullopt;
}

std::vector<FolderFile> Folder::files() const
{
    std::vector<FolderFile> found;
    // A descriptor of its own: the list's place in the folder is part of it, and closing the list closes it.
    FileHandle own = openFileAt(handle_, ".", O_RDONLY | O_DIRECTORY);
    const std::unique_ptr<DIR, int (*)(DIR*)> list(own ? fdopendir(own.get()) : nullptr, closedir);
    if (!list)
        return found;
    own.release();
    while (const dirent* entry = readdir(list.get()))
        if (auto one = file(entry->d_name))
            found.push_back(std::move(*one));
    return found;
}

std::optional<FolderFile> Folder::file(const std::string& name) const
{
    struct stat facts {};
    if (!isSafeComponent(name) || fileCalls().fstatat(handle_.get(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(facts.st_mode))
        return std::nullopt;
    return FolderFile{name, dateOf(facts.st_mtim)};
}

bool Folder::remove(const std::string& name) const
{
    return file(name) && fileCalls().unlinkat(handle_.get(), name.c_str(), 0) == 0;
}

} // namespace zel
