#include <zel/platform/foundation/reopened_file.h>

#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <list>
#include <mutex>
#include <utility>

namespace zel {

struct ReopenedFile::OpenOnes {
    static constexpr std::size_t most = 64; // a process may usually have 1024
    std::mutex mutex;
    std::list<std::pair<const ReopenedFile*, Ref<const FileHandle>>> files; ///< the one read last in front

    Ref<const FileHandle> find(const ReopenedFile* file)
    {
        const std::scoped_lock lock(mutex);
        const auto found = std::find_if(files.begin(), files.end(), [&](const auto& one) { return one.first == file; });
        if (found == files.end())
            return nullptr;
        files.splice(files.begin(), files, found);
        return found->second;
    }
    void add(const ReopenedFile* file, const Ref<const FileHandle>& handle)
    {
        Ref<const FileHandle> closed; // once the lock is given back
        const std::scoped_lock lock(mutex);
        files.emplace_front(file, handle);
        if (files.size() > most) {
            closed.swap(files.back().second);
            files.pop_back();
        }
    }
    void remove(const ReopenedFile* file)
    {
        std::list<std::pair<const ReopenedFile*, Ref<const FileHandle>>> closed;
        const std::scoped_lock lock(mutex);
        for (auto place = files.begin(); place != files.end();) {
            const auto next = std::next(place);
            if (place->first == file)
                closed.splice(closed.end(), files, place);
            place = next;
        }
    }
};

ReopenedFile::OpenOnes& ReopenedFile::openOnes()
{
    static OpenOnes& instance = *new OpenOnes; // never released: pictures may outlive static objects
    return instance;
}

ReopenedFile::ReopenedFile(FileHandle file, const struct stat& facts, const std::string& path)
    : size_(static_cast<std::uint64_t>(facts.st_size)),
      device_(facts.st_dev),
      number_(facts.st_ino),
      written_(facts.st_mtim)
{
    subject_ = path;
    std::error_code failed; // a relative path holds for the folder in which it was opened
    const std::filesystem::path whole = std::filesystem::absolute(path, failed);
    path_ = failed ? path : whole.string();
    openOnes().add(this, std::make_shared<const FileHandle>(std::move(file)));
}

ReopenedFile::~ReopenedFile()
{
    openOnes().remove(this);
}

bool ReopenedFile::isSame(const FileHandle& file) const
{
    struct stat now {};
    return fileCalls().fstat(file.get(), &now) == 0 && now.st_dev == device_ && now.st_ino == number_ &&
           static_cast<std::uint64_t>(now.st_size) == size_ && now.st_mtim.tv_sec == written_.tv_sec &&
           now.st_mtim.tv_nsec == written_.tv_nsec;
}

/// Open and what it was; null otherwise.
Ref<const FileHandle> ReopenedFile::handle() const
{
    if (Ref<const FileHandle> open = openOnes().find(this))
        return isSame(*open) ? open : nullptr;
    auto opened = std::make_shared<const FileHandle>(openFile(path_, O_RDONLY | O_NONBLOCK | O_NOCTTY));
    if (!*opened || !isSame(*opened))
        return nullptr;
    openOnes().add(this, opened);
    return opened;
}

std::size_t ReopenedFile::read(std::uint64_t offset, std::span<std::uint8_t> into) const
{
    if (offset >= size_)
        return 0;
    const Ref<const FileHandle> file = handle();
    if (!file) {
        warn(ZelFailureCode::unreadable, "read", "the file was changed or removed after it was opened", subject_);
        return 0;
    }
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size_ - offset, into.size()));
    if (const std::optional<std::size_t> got = readFully(*file, into.data(), count, offset))
        return *got;
    warn(ZelFailureCode::unreadable, "read", fmt::format("{} at byte {}", errorText(errno), offset), subject_);
    return 0;
}

bool ReopenedFile::isLost() const
{
    return !handle();
}

} // namespace zel
