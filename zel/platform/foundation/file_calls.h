#pragma once
#include <zel/export.h>

#include <cstddef>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

// The one way from the library to files. Every call goes through a table of functions, so that tests can make the third
// write fail or the disk full, and see that what we promise about files still holds.
namespace zel {

/// The system's calls, with their own signatures, results and `errno`.
struct FileCalls {
    int (*open)(const char* path, int flags, mode_t mode);
    int (*openat)(int folder, const char* name, int flags, mode_t mode);
    ssize_t (*read)(int file, void* into, std::size_t count);
    ssize_t (*pread)(int file, void* into, std::size_t count, off_t offset);
    ssize_t (*write)(int file, const void* from, std::size_t count);
    int (*fsync)(int file);
    int (*rename)(const char* from, const char* to);
    int (*renameat)(int fromFolder, const char* from, int toFolder, const char* to);
    int (*unlink)(const char* path);
    int (*unlinkat)(int folder, const char* name, int flags);
    int (*mkdir)(const char* path, mode_t mode);
    int (*close)(int file);
    int (*fstat)(int file, struct stat* facts);
    int (*fstatat)(int folder, const char* name, struct stat* facts, int flags);
    ssize_t (*readlinkat)(int folder, const char* name, char* into, std::size_t count);
    int (*fchmod)(int file, mode_t mode);
    int (*fchown)(int file, uid_t owner, gid_t group);
    int (*syncfs)(int file);
};

/// The table in force.
const FileCalls& fileCalls();
/// The kernel's.
const FileCalls& systemFileCalls();
/// For tests: another table for the whole process; null brings the system's back. Gives the one before.
const FileCalls* setFileCalls(const FileCalls* calls);

/// Owns a descriptor.
class FileHandle {
public:
    FileHandle() = default;
    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    FileHandle(FileHandle&& other) noexcept : descriptor_(other.release()) {}
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle() { reset(); }

    [[nodiscard]] int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int release();
    /// Closes it now; false, with `errno`, when the system reports that what was written may be lost.
    bool reset();

private:
    int descriptor_ = -1;
};

/// `open` that is not disturbed by signals; always O_CLOEXEC.
FileHandle openFile(const std::string& path, int flags, mode_t mode = 0);
FileHandle openFileAt(const FileHandle& folder, const std::string& name, int flags, mode_t mode = 0);
/// Reads until `count` bytes are there or the file ends; absent on an error (`errno`).
std::optional<std::size_t> readFully(const FileHandle& file, void* into, std::size_t count, std::uint64_t offset);
/// Writes all; false on an error (`errno`).
bool writeFully(const FileHandle& file, const void* from, std::size_t count);
/// fsync; true also where the file system knows no such thing.
bool syncFile(const FileHandle& file);
/// All that was written to the file system of an open file or folder; false on an error (`errno`).
bool syncFileSystem(const FileHandle& file);

/// What `errno` says, in English whatever the locale, to follow a colon: "no such file or directory".
ZEL_API std::string errorText(int error);
/// What is no regular file, for notes: "a folder", "a pipe", "a device", "a socket"; empty for regular files.
std::string oddKind(mode_t mode);

} // namespace zel
