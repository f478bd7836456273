#include <zel/platform/services/document_files.h>

#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/notes.h>

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>

namespace zel {
namespace {

constexpr int mostDamaged = 10'000;

/// Takes the first free name by making an empty file of it, so that no other process takes the same one; empty, with
/// `errno`, where there is none.
std::string freeName(const std::string& path)
{
    for (int number = 1; number <= mostDamaged; ++number) {
        std::string name = fmt::format("{}.damaged-{}", path, number);
        if (openFile(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600))
            return name;
        if (errno != EEXIST)
            break;
    }
    return {};
}

} // namespace

std::optional<std::string> readText(const URL& file)
{
    const std::optional<Data> bytes = Data::read(file);
    if (!bytes)
        return std::nullopt;
    return std::string(bytes->span().begin(), bytes->span().end());
}

bool writeText(const URL& file, const std::string& text, bool sync)
{
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    return writeAtomically(file, bytes, {.operation = "save", .createFolders = true, .sync = sync});
}

bool somethingStandsAt(const URL& file)
{
    struct stat facts {};
    return fileCalls().fstatat(AT_FDCWD, file.filePath().c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0;
}

bool setAside(const URL& file, const std::string& reason)
{
    const std::filesystem::path path = file.filePath();
    const std::string name = path.filename().string();
    const std::string aside = freeName(path.string());
    if (!aside.empty()) {
        if (fileCalls().rename(path.c_str(), aside.c_str()) == 0) {
            fail(ZelFailureCode::unreadable, "load",
                 fmt::format("{}: is damaged and now named {}: {}", name,
                             std::filesystem::path(aside).filename().string(), reason),
                 path.string());
            return true;
        }
        const int error = errno;
        fileCalls().unlink(aside.c_str());
        errno = error;
    }
    return fail(ZelFailureCode::writeFailed, "load",
                fmt::format("{}: is damaged and cannot be set aside: {}: {}", name, errorText(errno), reason),
                path.string());
}

bool syncFileAndFolder(const URL& file)
{
    const std::filesystem::path path = file.filePath();
    const FileHandle opened = openFile(path.string(), O_RDONLY);
    const FileHandle folder = openFile(path.parent_path().string(), O_RDONLY | O_DIRECTORY);
    if (opened && folder && syncFile(opened) && syncFile(folder))
        return true;
    return fail(ZelFailureCode::writeFailed, "save",
                fmt::format("{}: written, but not on the disk yet: {}", path.filename().string(), errorText(errno)),
                path.string());
}

} // namespace zel
