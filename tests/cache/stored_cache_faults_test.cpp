#include <zel/cache/stored_cache.h>

#include <common/pictures.h>
#include <foundation/child_process.h>
#include <foundation/failing_files.h>
#include <foundation/temporary_folder.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

// What a disk, a user without rights and a kill do to a stored cache: a file under its final name is whole, and what
// cannot be kept is computed again.
namespace zel {
namespace {

using testing::ChildProcess;
using testing::FailingFiles;
using testing::TemporaryFolder;
using Mode = ZelImageStoredCache::Mode;
namespace fs = std::filesystem;

std::vector<std::string> filesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(StoredCacheFaults, SurvivesEveryFailingCall)
{
    const TemporaryFolder folder(true);
    setenv("XDG_CACHE_HOME", folder.path().c_str(), 1);
    const auto small = makeZelImage(test::flat(4, 3, {9, 9, 9, 255})), large = makeZelImage(test::flat(8, 3, {}));
    for (const Mode mode : {Mode::png, Mode::heif}) {
        for (const auto& [error, shortTo] : {std::pair(ENOSPC, 0), std::pair(EIO, 0), std::pair(0, 3)}) {
            for (int nth = 1, done = 0; done == 0; ++nth) {
                SCOPED_TRACE(std::string(rawValue(mode)) + ' ' + std::to_string(error) + ' ' + std::to_string(nth));
                ASSERT_LT(nth, 200);
                ZelImageStoredCache cache({.name = "c", .removeItemsAfterDays = 9, .mode = mode});
                cache.store(small, {.withId = "p"});
                cache.waitForWrites();
                {
                    const FailingFiles failing(
                        {.nth = nth, .error = error, .shortTo = static_cast<std::size_t>(shortTo)});
                    cache.store(large, {.withId = "p"});
                    cache.removeOldItems();
                    const auto computed = cache.retrieveOrCalc({.imageWithId = "p", .calc = [&] { return large; }});
                    EXPECT_TRUE(computed);
                    cache.waitForWrites();
                    done = failing.fired() ? 0 : 1;
                }
                // Old, new, or absent; never half, and nothing beside it.
                const auto read = cache.retrieveImage({.withId = "p"});
                EXPECT_EQ(read != nullptr, fs::exists(cache.imageUrl({.with = "p"}).filePath()));
                EXPECT_TRUE(!read || read->size == small->size || read->size == large->size);
                EXPECT_LE(filesIn(folder.path()).size(), read ? 1U : 0U);
                EXPECT_TRUE(done == 0 || (read && read->size == large->size));
                fs::remove_all(folder / "test_cache");
            }
        }
    }
    unsetenv("XDG_CACHE_HOME");
}

// ThreadSanitizer's processes cannot be limited, and the helper is not built with it.
#ifndef ZEL_TEST_THREAD_SANITIZER

constexpr int cannot = 77; // what the test wants is not allowed here

/// `cache_writer`, in a process of its own, on caches in a folder.
class Writer {
public:
    Writer(const TemporaryFolder& folder, std::vector<std::string> words, const std::function<int()>& before = {})
        : told_(newFile(folder / "told")), child_([&] {
              setenv("XDG_CACHE_HOME", (folder / "caches").c_str(), 1);
              words.insert(words.begin(), ZEL_CACHE_WRITER);
              std::vector<char*> pointers;
              for (std::string& word : words)
                  pointers.push_back(word.data());
              pointers.push_back(nullptr);
              const int output = open(told_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
              if (output < 0 || dup2(output, STDOUT_FILENO) < 0)
                  return 1;
              if (const int failed = before ? before() : 0; failed != 0)
                  return failed;
              execv(ZEL_CACHE_WRITER, pointers.data());
              return cannot;
          })
    {
    }
    int wait() { return child_.wait(); }
    void killNow() { child_.killNow(); }
    /// What it has printed so far.
    [[nodiscard]] std::string told() const
    {
        std::ifstream file(told_);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    /// Empty before the child begins: what the one before told is not taken for its words.
    static fs::path newFile(const fs::path& path)
    {
        std::ofstream(path, std::ios::trunc).flush();
        return path;
    }

    fs::path told_;
    ChildProcess child_;
};

/// Another run reads what is there or computes it, and keeps it.
void expectRecovery(const TemporaryFolder& folder)
{
    Writer check(folder, {"check"});
    EXPECT_EQ(check.wait(), 0);
    Writer once(folder, {"once"});
    EXPECT_EQ(once.wait(), 0);
    EXPECT_EQ(once.told(), "png\nheif\n");
}

TEST(StoredCacheFaults, ALimitOnFileSizesKeepsNothing)
{
    const TemporaryFolder folder;
    Writer starved(folder, {"once"}, [] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{500, 500};
        return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? 0 : cannot;
    });
    EXPECT_EQ(starved.wait(), 0);
    EXPECT_EQ(starved.told(), "");
    EXPECT_TRUE(filesIn(folder / "caches").empty());
    expectRecovery(folder);
}

TEST(StoredCacheFaults, AFullDiskKeepsWhatFits)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "caches");
    // The disk is there for the child alone; what it finds there it tells.
    Writer filling(folder, {"fill"}, [&] {
        const bool isMounted = unshare(CLONE_NEWNS) == 0 &&
                               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                               mount("tmpfs", (folder / "caches").c_str(), "tmpfs", 0, "size=1m") == 0;
        return isMounted ? 0 : cannot;
    });
    const int status = filling.wait();
    if (status == cannot)
        GTEST_SKIP() << "file systems cannot be mounted here";
    EXPECT_EQ(status, 0);
    const int kept = std::atoi(filling.told().c_str());
    EXPECT_GT(kept, 3);
    EXPECT_LT(kept, 30) << "the disk was never full";
}

TEST(StoredCacheFaults, AReadOnlyFolderIsLeftAsItIs)
{
    const TemporaryFolder folder;
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    Writer first(folder, {"once"});
    ASSERT_EQ(first.wait(), 0);
    const fs::path cache = folder / "caches/cache_writer/written";
    fs::remove(cache / "picture-0.png");
    for (const auto& path : {folder / "caches", folder / "caches/cache_writer", cache})
        ASSERT_EQ(chmod(path.c_str(), 0555), 0);
    ASSERT_EQ(chmod((cache / "picture-0.jpg").c_str(), 0444), 0);
    const auto before = filesIn(folder.path());
    Writer other(folder, {"once"}, [] {
        if (geteuid() == 0 && (setgid(testing::nobody) != 0 || setuid(testing::nobody) != 0))
            return cannot;
        return access(ZEL_CACHE_WRITER, X_OK) == 0 ? 0 : cannot;
    });
    const int status = other.wait();
    for (const auto& path : {folder / "caches", folder / "caches/cache_writer", cache})
        ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    if (status == cannot)
        GTEST_SKIP() << "an ordinary user cannot run what was built here";
    EXPECT_EQ(status, 0);
    EXPECT_EQ(other.told(), "heif\n") << "reads one, computes the other and cannot keep it";
    EXPECT_EQ(filesIn(folder.path()), before);
    expectRecovery(folder);
}

TEST(StoredCacheFaults, IsWholeWhereverTheProcessIsKilled)
{
    const TemporaryFolder folder(true);
    int kills = 0;
    for (bool survived = false; !survived; ++kills) {
        ASSERT_LT(kills, 300);
        Writer writer(folder, {"kill", std::to_string(kills + 1)});
        const int end = writer.wait();
        survived = end == 0;
        ASSERT_TRUE(survived || end == -SIGKILL) << end;
        Writer check(folder, {"check"});
        ASSERT_EQ(check.wait(), 0) << kills;
        // What a kill left is looked at by the next run, whose calls would be more each time.
        for (const std::string& name : filesIn(folder / "caches"))
            if (name.starts_with(".zel-"))
                fs::remove(folder / "caches/cache_writer/written" / name);
    }
    EXPECT_GT(kills, 20) << "it was killed hardly ever";
    expectRecovery(folder);
}

TEST(StoredCacheFaults, IsWholeWheneverTheProcessIsKilled)
{
    const TemporaryFolder folder(true);
    unsigned random = 1;
    for (int kills = 0; kills < 20; ++kills) {
        Writer writer(folder, {"loop"});
        for (int i = 0; i < 2000 && writer.told().empty(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        random = random * 1664525U + 1013904223U;
        std::this_thread::sleep_for(std::chrono::microseconds((random >> 16) % 8'000));
        ASSERT_EQ(writer.told(), "begun\n");
        writer.killNow();
        Writer check(folder, {"check"});
        ASSERT_EQ(check.wait(), 0) << kills;
        ASSERT_EQ(check.told(), "12\n");
    }
    expectRecovery(folder);
}

#endif

} // namespace
} // namespace zel
