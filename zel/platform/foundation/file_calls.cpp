#include <zel/platform/foundation/file_calls.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <unistd.h>
#include <utility>

namespace zel {
namespace {

const FileCalls system = {
    [](const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); },
    [](int folder, const char* name, int flags, mode_t mode) { return ::openat(folder, name, flags, mode); },
    ::read,
    ::pread,
    ::write,
    ::fsync,
    std::rename,
    ::renameat,
    ::unlink,
    ::unlinkat,
    ::mkdir,
    ::close,
    ::fstat,
    ::fstatat,
    ::readlinkat,
    ::fchmod,
    ::fchown,
    ::syncfs,
};

std::atomic<const FileCalls*> inForce = &system;

// A signal handler of the host may interrupt any call that waits; the call is then made again.
template <class Call>
auto undisturbed(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace

const FileCalls& fileCalls()
{
    return *inForce.load(std::memory_order_acquire);
}
const FileCalls& systemFileCalls()
{
    return system;
}
const FileCalls* setFileCalls(const FileCalls* calls)
{
    return inForce.exchange(calls != nullptr ? calls : &system, std::memory_order_acq_rel);
}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept
{
    if (this != &other) {
        reset();
        descriptor_ = other.release();
    }
    return *this;
}

int FileHandle::release()
{
    return std::exchange(descriptor_, -1);
}

bool FileHandle::reset()
{
    if (descriptor_ < 0)
        return true;
    // Never again after EINTR: the descriptor is gone, and its number may be another thread's by now.
    return fileCalls().close(std::exchange(descriptor_, -1)) == 0 || errno == EINTR;
}

FileHandle openFile(const std::string& path, int flags, mode_t mode)
{
    // The system would take such a path for a shorter one.
    if (path.find('\0') != std::string::npos) {
        errno = ENOENT;
        return {};
    }
    return FileHandle(undisturbed([&] { return fileCalls().open(path.c_str(), flags | O_CLOEXEC, mode); }));
}

FileHandle openFileAt(const FileHandle& folder, const std::string& name, int flags, mode_t mode)
{
    return FileHandle(
        undisturbed([&] { return fileCalls().openat(folder.get(), name.c_str(), flags | O_CLOEXEC, mode); }));
}

std::optional<std::size_t> readFully(const FileHandle& file, void* into, std::size_t count, std::uint64_t offset)
{
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()) - count)
        return 0;
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = undisturbed([&] {
            return fileCalls().pread(file.get(), static_cast<char*>(into) + done, count - done,
                                     static_cast<off_t>(offset + done));
        });
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

bool writeFully(const FileHandle& file, const void* from, std::size_t count)
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t put = undisturbed(
            [&] { return fileCalls().write(file.get(), static_cast<const char*>(from) + done, count - done); });
        if (put < 0)
            return false;
        if (put == 0) {
            // No error, no progress: waiting for a device that takes nothing would never end.
            errno = EIO;
            return false;
        }
        done += static_cast<std::size_t>(put);
    }
    return true;
}

bool syncFile(const FileHandle& file)
{
    if (undisturbed([&] { return fileCalls().fsync(file.get()); }) == 0)
        return true;
    return errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
}

bool syncFileSystem(const FileHandle& file)
{
    return undisturbed([&] { return fileCalls().syncfs(file.get()); }) == 0;
}

std::string errorText(int error)
{
    const char* known = strerrordesc_np(error);
    if (known == nullptr)
        return "error " + std::to_string(error);
    std::string text = known;
    // Keeps the capitals of "RPC" and the like.
    if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1])) != 0)
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

std::string oddKind(mode_t mode)
{
    if (S_ISREG(mode))
        return {};
    if (S_ISDIR(mode))
        return "a folder";
    if (S_ISFIFO(mode))
        return "a pipe";
    if (S_ISSOCK(mode))
        return "a socket";
    return S_ISLNK(mode) ? "a symbolic link" : "a device";
}

} // namespace zel
