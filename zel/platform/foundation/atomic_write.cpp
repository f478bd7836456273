#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/folder.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/stale_files.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <fmt/format.h>
#include <map>
#include <mutex>
#include <unistd.h>
#include <utility>
#include <vector>

// The folder is opened once and everything in it reached through that descriptor: a folder that is moved or replaced
// meanwhile cannot send the rename elsewhere.
namespace zel {
namespace {

constexpr int mostLinks = 40; // what the kernel follows, too
constexpr mode_t permissions = 0777;

/// Where the file will stand.
struct Place {
    FileHandle folder;
    bool folderCanSync = true;
    std::string name;
    struct stat old {}; ///< of what stands there, not followed
    bool exists = false;
};

// A reason to fail with; empty while all is well.
using Reason = std::string;

Reason openFolder(const FileHandle* from, const std::string& path, Place& place)
{
    const auto open = [&](int flags) {
        return from == nullptr ? openFile(path, flags | O_DIRECTORY) : openFileAt(*from, path, flags | O_DIRECTORY);
    };
    FileHandle folder = open(O_RDONLY);
    place.folderCanSync = static_cast<bool>(folder);
    // A folder may be writable and not readable.
    if (!folder && errno == EACCES)
        folder = open(O_PATH);
    if (!folder)
        return errno == ENOENT ? "there is no such folder" : errorText(errno);
    place.folder = std::move(folder);
    return {};
}

Reason lookAt(Place& place)
{
    place.exists = fileCalls().fstatat(place.folder.get(), place.name.c_str(), &place.old, AT_SYMLINK_NOFOLLOW) == 0;
    return place.exists || errno == ENOENT ? Reason{} : errorText(errno);
}

std::optional<std::string> linkText(int folder, const std::string& name)
{
    std::string text(PATH_MAX, '\0');
    const ssize_t length = fileCalls().readlinkat(folder, name.c_str(), text.data(), text.size());
    if (length < 0)
        return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// A link counts as what it leads to: nobody wants the entry of a device replaced by a picture, and those of /dev lead
// into /proc, where even regular files are somebody's open descriptors.
Reason refusalOfLink(int folder, const std::string& name, const std::string& text)
{
    struct stat end {};
    if (text.starts_with("/proc/"))
        return "it leads to a descriptor of a process";
    if (fileCalls().fstatat(folder, name.c_str(), &end, 0) != 0)
        return errno == ENOENT ? Reason{} : errorText(errno);
    const std::string kind = oddKind(end.st_mode);
    return kind.empty() ? Reason{} : "it leads to " + kind;
}

/// Splits at the last "/"; the folder of a bare name is ".".
Reason enter(const FileHandle* from, const std::string& path, Place& place)
{
    const std::size_t slash = path.rfind('/');
    place.name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (!isSafeComponent(place.name))
        return place.name.size() > 255 ? "the name is too long" : "it names no file";
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
    if (Reason reason = openFolder(from, folder, place); !reason.empty())
        return reason;
    return lookAt(place);
}

/// On success `place` is free, a regular file, or a link that is to be replaced.
Reason findPlace(const std::string& path, bool followLink, Place& place)
{
    Reason reason = enter(nullptr, path, place);
    for (int links = 0; reason.empty() && place.exists && S_ISLNK(place.old.st_mode); ++links) {
        const std::optional<std::string> text = linkText(place.folder.get(), place.name);
        if (!text)
            return errorText(errno);
        if (reason = refusalOfLink(place.folder.get(), place.name, *text); !reason.empty() || !followLink)
            return reason;
        // Only somebody who changes links while they are followed brings us here.
        if (links == mostLinks)
            return "too many symbolic links";
        const FileHandle from = std::move(place.folder);
        reason = enter(&from, *text, place);
    }
    if (reason.empty() && place.exists)
        if (const std::string kind = oddKind(place.old.st_mode); !kind.empty())
            return "it is " + kind;
    return reason;
}

/// A file under a temporary name, which is gone with this object unless it was renamed.
class Temporary {
public:
    explicit Temporary(const Place& place) : place_(place) {}
    ~Temporary()
    {
        file_.reset();
        if (!name_.empty())
            fileCalls().unlinkat(place_.folder.get(), name_.c_str(), 0);
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    Reason create()
    {
        static std::atomic<unsigned> count = 0;
        // What another machine or a killed process left under the same name stays there; the next number is free.
        for (int attempt = 0; attempt < 1000; ++attempt) {
            std::string name = fmt::format("{}{}-{}.tmp", temporaryPrefix, getpid(), count++);
            // A new file gets what the process's mask leaves of 0666; one that replaces a private file is private at
            // once.
            file_ =
                openFileAt(place_.folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, keepsMode() ? 0600 : 0666);
            if (file_) {
                name_ = std::move(name);
                return {};
            }
            if (errno != EEXIST)
                break;
        }
        return errorText(errno);
    }

    Reason fill(std::span<const std::uint8_t> bytes, bool syncs = true)
    {
        if (!writeFully(file_, bytes.data(), bytes.size()) || !takeOverMode() || (syncs && !syncFile(file_)) ||
            !file_.reset())
            return errorText(errno);
        return {};
    }

    Reason rename()
    {
        if (fileCalls().renameat(place_.folder.get(), name_.c_str(), place_.folder.get(), place_.name.c_str()) != 0)
            return errorText(errno);
        name_.clear();
        return {};
    }

    /// Its name, which the caller now answers for.
    std::string release() { return std::exchange(name_, {}); }

private:
    [[nodiscard]] bool keepsMode() const { return place_.exists && S_ISREG(place_.old.st_mode); }

    bool takeOverMode()
    {
        if (!keepsMode())
            return true;
        // Giving a file to its former owner is allowed to few; keeping the mode is not always possible on foreign file
        // systems. Neither is a reason to lose a picture.
        struct stat own {};
        if (fileCalls().fstat(file_.get(), &own) == 0 &&
            (own.st_uid != place_.old.st_uid || own.st_gid != place_.old.st_gid))
            (void)fileCalls().fchown(file_.get(), place_.old.st_uid, place_.old.st_gid);
        return fileCalls().fchmod(file_.get(), place_.old.st_mode & permissions) == 0 || errno == EPERM ||
               errno == ENOSYS || errno == EOPNOTSUPP;
    }

    const Place& place_;
    FileHandle file_;
    std::string name_;
};

Reason replace(const Place& place, std::span<const std::uint8_t> bytes, bool syncs)
{
    Temporary temporary(place);
    Reason reason = temporary.create();
    if (reason.empty())
        reason = temporary.fill(bytes, syncs);
    return reason.empty() ? temporary.rename() : reason;
}

Absent failWrite(const std::filesystem::path& path, const Reason& reason, std::string_view operation)
{
    return fail(ZelFailureCode::writeFailed, operation,
                fmt::format("{}: cannot be written: {}", path.filename().string(), reason), path.string());
}

Absent failNoFile(const URL& file, std::string_view operation)
{
    return fail(ZelFailureCode::writeFailed, operation, "only a file can be written: " + file.absoluteString(),
                file.absoluteString());
}

/// After `findPlace`, the folders above made where that is wanted.
Reason preparePlace(const std::filesystem::path& path, const AtomicWrite& options, Place& place)
{
    Reason reason;
    if (options.createFolders)
        reason = makeFolders(path.parent_path().string(), permissions);
    return reason.empty() ? findPlace(path.string(), options.followLink, place) : reason;
}

/// The bytes are safe under the old name or the new one; only a power failure can still tell which.
void warnNotSynced(const std::filesystem::path& path, std::string_view operation)
{
    warn(ZelFailureCode::writeFailed, operation,
         fmt::format("{}: written, but its folder is not on the disk yet: {}", path.filename().string(),
                     errorText(errno)),
         path.string());
}

} // namespace

bool writeAtomically(const URL& file, std::span<const std::uint8_t> bytes, const AtomicWrite& options)
{
    if (!file.isFile())
        return failNoFile(file, options.operation);
    const std::filesystem::path path = file.filePath();
    Place place;
    Reason reason = preparePlace(path, options, place);
    if (reason.empty())
        reason = replace(place, bytes, options.sync);
    if (reason.empty()) {
        if (options.sync && place.folderCanSync && !syncFile(place.folder))
            warnNotSynced(path, options.operation);
        removeStaleTemporariesOnce(place.folder);
        return true;
    }
    if (options.absentAfterFailure)
        removeTarget(file);
    return failWrite(path, reason, options.operation);
}

struct AtomicWrites::State {
    struct Folder {
        FileHandle handle;
        dev_t device;
    };
    struct Pending {
        Ref<Folder> folder;
        std::string temporary, name;
        std::filesystem::path path;
    };
    using Key = std::pair<dev_t, ino_t>;
    static constexpr std::size_t mostFolders = 128; // open at a time

    explicit State(const AtomicWrite& given) : options(given), operation(given.operation)
    {
        options.operation = operation;
    }

    bool add(Place& place, std::string temporary, const std::filesystem::path& path)
    {
        const std::scoped_lock lock(mutex);
        struct stat facts {};
        if (fileCalls().fstat(place.folder.get(), &facts) != 0) {
            const Reason reason = errorText(errno);
            fileCalls().unlinkat(place.folder.get(), temporary.c_str(), 0);
            return failWrite(path, reason, operation);
        }
        Ref<Folder>& folder = folders[Key(facts.st_dev, facts.st_ino)];
        if (!folder)
            folder = std::make_shared<Folder>(Folder{std::move(place.folder), facts.st_dev});
        pending.push_back({folder, std::move(temporary), place.name, path});
        return folders.size() < mostFolders || settle();
    }

    /// Under the lock: the disk, the names, the folders that hold them.
    bool settle()
    {
        if (pending.empty())
            return true;
        std::vector<dev_t> synced;
        for (const auto& [key, folder] : folders) {
            if (std::find(synced.begin(), synced.end(), folder->device) != synced.end())
                continue;
            if (!syncFileSystem(folder->handle))
                return failWrite(pending.front().path, errorText(errno), operation);
            synced.push_back(folder->device);
        }
        const std::filesystem::path last = pending.back().path;
        for (; !pending.empty(); pending.pop_back()) {
            const Pending& file = pending.back();
            const int place = file.folder->handle.get();
            if (fileCalls().renameat(place, file.temporary.c_str(), place, file.name.c_str()) != 0)
                return failWrite(file.path, errorText(errno), operation);
        }
        for (const auto& [key, folder] : folders) {
            if (!syncFile(folder->handle))
                warnNotSynced(last, operation);
            removeStaleTemporariesOnce(folder->handle);
        }
        folders.clear();
        return true;
    }

    AtomicWrite options;
    std::string operation;
    std::mutex mutex;
    std::map<Key, Ref<Folder>> folders;
    std::vector<Pending> pending;
};

AtomicWrites::AtomicWrites(const AtomicWrite& options) : state_(std::make_unique<State>(options)) {}

AtomicWrites::~AtomicWrites()
{
    for (const State::Pending& file : state_->pending)
        fileCalls().unlinkat(file.folder->handle.get(), file.temporary.c_str(), 0);
}

bool AtomicWrites::add(const URL& file, std::span<const std::uint8_t> bytes)
{
    if (!file.isFile())
        return failNoFile(file, state_->operation);
    const std::filesystem::path path = file.filePath();
    Place place;
    Reason reason = preparePlace(path, state_->options, place);
    if (!reason.empty())
        return failWrite(path, reason, state_->operation);
    Temporary temporary(place);
    reason = temporary.create();
    // A folder that can be written to and not read gives no descriptor to sync its file system by.
    if (reason.empty())
        reason = temporary.fill(bytes, !place.folderCanSync);
    if (reason.empty() && !place.folderCanSync)
        reason = temporary.rename();
    if (!reason.empty())
        return failWrite(path, reason, state_->operation);
    return !place.folderCanSync || state_->add(place, temporary.release(), path);
}

bool AtomicWrites::finish()
{
    const std::scoped_lock lock(state_->mutex);
    return state_->settle();
}

void removeTarget(const URL& file)
{
    const std::string path = file.filePath().string();
    struct stat facts {};
    if (path.empty() || fileCalls().fstatat(AT_FDCWD, path.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    if (S_ISLNK(facts.st_mode)) {
        const std::optional<std::string> text = linkText(AT_FDCWD, path);
        if (!text || !refusalOfLink(AT_FDCWD, path, *text).empty())
            return;
    } else if (!S_ISREG(facts.st_mode)) {
        return;
    }
    fileCalls().unlink(path.c_str());
}

} // namespace zel
