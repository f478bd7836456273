#pragma once
#include <zel/platform/foundation/file_calls.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

// A table of file calls that does as the system does, until it is told to fail.
namespace zel::testing {

enum class FileCall : std::uint32_t {
    open = 1 << 0, ///< open, openat
    read = 1 << 1, ///< read, pread
    write = 1 << 2,
    sync = 1 << 3,   ///< fsync, syncfs
    rename = 1 << 4, ///< rename, renameat
    unlink = 1 << 5, ///< unlink, unlinkat
    mkdir = 1 << 6,
    close = 1 << 7,
    stat = 1 << 8,   ///< fstat, fstatat, readlinkat
    change = 1 << 9, ///< fchmod, fchown
    any = (1 << 10) - 1,
};

/// What goes wrong, and when. A call that does not fail does what the system does, but for syncing, which does nothing.
struct FailurePlan {
    FileCall call = FileCall::any;
    int nth = 1;             ///< the first call of the kind that fails, counted from 1
    int times = 1;           ///< how many fail from there; -1 = all
    int error = EIO;         ///< 0: nothing fails, but reads and writes are short
    std::size_t shortTo = 0; ///< bytes that a short read or write moves at most
    bool kill = false;       ///< SIGKILL in place of the call
};

/// While it lives, the calls of the whole process follow the plan. One at a time.
class FailingFiles {
public:
    explicit FailingFiles(const FailurePlan& plan) : plan_(plan)
    {
        active() = this;
        setFileCalls(&table());
    }
    ~FailingFiles()
    {
        setFileCalls(nullptr);
        active() = nullptr;
    }
    FailingFiles(const FailingFiles&) = delete;
    FailingFiles& operator=(const FailingFiles&) = delete;

    /// Calls of the kind so far.
    [[nodiscard]] int calls() const { return calls_; }
    /// Whether something went wrong.
    [[nodiscard]] bool fired() const { return fired_; }

private:
    static FailingFiles*& active()
    {
        static FailingFiles* instance = nullptr;
        return instance;
    }

    /// True when this call fails; `errno` is set.
    bool strikes(FileCall call)
    {
        if ((static_cast<std::uint32_t>(plan_.call) & static_cast<std::uint32_t>(call)) == 0)
            return false;
        const int number = ++calls_;
        if (number < plan_.nth || (plan_.times >= 0 && number >= plan_.nth + plan_.times))
            return false;
        fired_ = true;
        if (plan_.kill)
            std::raise(SIGKILL);
        errno = plan_.error;
        return true;
    }

    /// -1 where the call fails, else how many bytes it may move.
    ssize_t allowed(FileCall call, std::size_t count)
    {
        const bool struck = strikes(call);
        if (struck && plan_.error != 0)
            return -1;
        return static_cast<ssize_t>(struck ? std::min(count, plan_.shortTo) : count);
    }

    static const FileCalls& table()
    {
        static const FileCalls calls = {
            [](const char* path, int flags, mode_t mode) {
                return active()->strikes(FileCall::open) ? -1 : systemFileCalls().open(path, flags, mode);
            },
            [](int folder, const char* name, int flags, mode_t mode) {
                return active()->strikes(FileCall::open) ? -1 : systemFileCalls().openat(folder, name, flags, mode);
            },
            [](int file, void* into, std::size_t count) {
                const ssize_t most = active()->allowed(FileCall::read, count);
                return most < 0 ? most : systemFileCalls().read(file, into, static_cast<std::size_t>(most));
            },
            [](int file, void* into, std::size_t count, off_t offset) {
                const ssize_t most = active()->allowed(FileCall::read, count);
                return most < 0 ? most : systemFileCalls().pread(file, into, static_cast<std::size_t>(most), offset);
            },
            [](int file, const void* from, std::size_t count) {
                const ssize_t most = active()->allowed(FileCall::write, count);
                return most < 0 ? most : systemFileCalls().write(file, from, static_cast<std::size_t>(most));
            },
            // Tests see the same without waiting for the disk.
            [](int) { return active()->strikes(FileCall::sync) ? -1 : 0; },
            [](const char* from, const char* to) {
                return active()->strikes(FileCall::rename) ? -1 : systemFileCalls().rename(from, to);
            },
            [](int fromFolder, const char* from, int toFolder, const char* to) {
                return active()->strikes(FileCall::rename) ? -1
                                                           : systemFileCalls().renameat(fromFolder, from, toFolder, to);
            },
            [](const char* path) { return active()->strikes(FileCall::unlink) ? -1 : systemFileCalls().unlink(path); },
            [](int folder, const char* name, int flags) {
                return active()->strikes(FileCall::unlink) ? -1 : systemFileCalls().unlinkat(folder, name, flags);
            },
            [](const char* path, mode_t mode) {
                return active()->strikes(FileCall::mkdir) ? -1 : systemFileCalls().mkdir(path, mode);
            },
            [](int file) {
                // The descriptor goes in any case, as it does on Linux; the error tells that data may be lost.
                const bool struck = active()->strikes(FileCall::close);
                const int error = errno;
                const int result = systemFileCalls().close(file);
                if (!struck)
                    return result;
                errno = error;
                return -1;
            },
            [](int file, struct stat* facts) {
                return active()->strikes(FileCall::stat) ? -1 : systemFileCalls().fstat(file, facts);
            },
            [](int folder, const char* name, struct stat* facts, int flags) {
                return active()->strikes(FileCall::stat) ? -1 : systemFileCalls().fstatat(folder, name, facts, flags);
            },
            [](int folder, const char* name, char* into, std::size_t count) {
                return active()->strikes(FileCall::stat) ? ssize_t{-1}
                                                         : systemFileCalls().readlinkat(folder, name, into, count);
            },
            [](int file, mode_t mode) {
                return active()->strikes(FileCall::change) ? -1 : systemFileCalls().fchmod(file, mode);
            },
            [](int file, uid_t owner, gid_t group) {
                return active()->strikes(FileCall::change) ? -1 : systemFileCalls().fchown(file, owner, group);
            },
            [](int) { return active()->strikes(FileCall::sync) ? -1 : 0; },
        };
        return calls;
    }

    const FailurePlan plan_;
    std::atomic<int> calls_ = 0;
    std::atomic<bool> fired_ = false;
};

} // namespace zel::testing
