#include <zel/platform/foundation/folder.h>
#include <zel/platform/foundation/guards.h>

#include <algorithm>
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

Folder::Folder(Folder&&) noexcept = default;
Folder& Folder::operator=(Folder&&) noexcept = default;
Folder::~Folder() = default;

std::vector<std::string> Folder::names() const
{
    std::vector<std::string> found;
    // A descriptor of its own: the list's place in the folder is part of it, and closing the list closes it.
    FileHandle own = openFileAt(handle_, ".", O_RDONLY | O_DIRECTORY);
    const std::unique_ptr<DIR, int (*)(DIR*)> list(own ? fdopendir(own.get()) : nullptr, closedir);
    if (!list)
        return found;
    own.release();
    while (const dirent* entry = readdir(list.get()))
        found.emplace_back(entry->d_name);
    return found;
}

std::optional<struct stat> Folder::look(const std::string& name) const
{
    struct stat facts {};
    if (!isSafeComponent(name) || fileCalls().fstatat(handle_.get(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return facts;
}

std::vector<FolderFile> Folder::files() const
{
    std::vector<FolderFile> found;
    for (const std::string& name : names())
        if (auto one = file(name))
            found.push_back(std::move(*one));
    return found;
}

std::vector<std::string> Folder::folders() const
{
    std::vector<std::string> found = names();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [this](const std::string& name) {
                                   const auto facts = look(name);
                                   return !facts || !S_ISDIR(facts->st_mode);
                               }),
                found.end());
    return found;
}

std::optional<Folder> Folder::folder(const std::string& name) const
{
    if (!isSafeComponent(name))
        return std::nullopt;
    FileHandle handle = openFileAt(handle_, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    return handle ? std::optional<Folder>(Folder(std::move(handle))) : std::nullopt;
}

std::optional<FolderFile> Folder::file(const std::string& name) const
{
    const auto facts = look(name);
    if (!facts || !S_ISREG(facts->st_mode))
        return std::nullopt;
    return FolderFile{name, dateOf(facts->st_mtim), static_cast<std::uint64_t>(facts->st_size)};
}

bool Folder::remove(const std::string& name) const
{
    return file(name) && fileCalls().unlinkat(handle_.get(), name.c_str(), 0) == 0;
}

} // namespace zel
