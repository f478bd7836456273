#include <zel/platform/foundation/stale_files.h>

#include <zel/platform/foundation/atomic_write.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <unistd.h>
#include <utility>
#include <vector>

namespace zel {
namespace {

constexpr int mostEntries = 10'000;
constexpr std::size_t mostFolders = 256; // remembered
constexpr std::time_t oldEnough = 600;   // seconds: a file is written and renamed within a few

/// True the first time that this process sees the folder, or one whose number it took over.
bool isNew(const struct stat& folder)
{
    static std::mutex mutex;
    static std::vector<std::pair<dev_t, ino_t>> seen;
    const std::pair key(folder.st_dev, folder.st_ino);
    const std::scoped_lock lock(mutex);
    if (std::find(seen.begin(), seen.end(), key) != seen.end())
        return false;
    if (seen.size() == mostFolders)
        seen.erase(seen.begin());
    seen.push_back(key);
    return true;
}

/// The process of ".zel-PROCESS-NUMBER.tmp"; 0 for every other name.
pid_t processOf(std::string_view name)
{
    constexpr std::string_view ending = ".tmp";
    if (!name.starts_with(temporaryPrefix) || !name.ends_with(ending))
        return 0;
    name.remove_prefix(temporaryPrefix.size());
    name.remove_suffix(std::min(name.size(), ending.size()));
    pid_t process = 0;
    unsigned number = 0;
    const char* const end = name.data() + name.size();
    const auto [dash, first] = std::from_chars(name.data(), end, process);
    if (first != std::errc() || dash == end || *dash != '-' || process <= 0)
        return 0;
    const auto [last, second] = std::from_chars(dash + 1, end, number);
    return second == std::errc() && last == end ? process : 0;
}

bool isStale(const FileHandle& folder, const char* name, pid_t process)
{
    struct stat facts {};
    if (fileCalls().fstatat(folder.get(), name, &facts, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(facts.st_mode) ||
        facts.st_uid != geteuid() || std::time(nullptr) - facts.st_mtime < oldEnough)
        return false;
    return kill(process, 0) != 0 && errno == ESRCH;
}

} // namespace

void removeStaleTemporaries(const FileHandle& folder)
{
    FileHandle again = openFileAt(folder, ".", O_RDONLY | O_DIRECTORY);
    if (!again)
        return;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(again.get()), closedir);
    if (entries == nullptr)
        return;
    again.release(); // it is the list's now
    std::vector<std::string> stale;
    for (int count = 0; count < mostEntries; ++count) {
        const dirent* const entry = readdir(entries.get());
        if (entry == nullptr)
            break;
        if (const pid_t process = processOf(entry->d_name); process > 0 && isStale(folder, entry->d_name, process))
            stale.emplace_back(entry->d_name);
    }
    for (const std::string& name : stale)
        fileCalls().unlinkat(folder.get(), name.c_str(), 0);
}

void removeStaleTemporariesOnce(const FileHandle& folder)
{
    struct stat facts {};
    if (fileCalls().fstat(folder.get(), &facts) == 0 && isNew(facts))
        removeStaleTemporaries(folder);
}

} // namespace zel
