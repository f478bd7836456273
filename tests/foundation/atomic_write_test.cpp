#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/stale_files.h>

#include <foundation/child_process.h>
#include <foundation/failing_files.h>
#include <foundation/temporary_folder.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <thread>

namespace zel {
namespace {

using testing::ChildProcess;
using testing::FailingFiles;
using testing::FailurePlan;
using testing::FileCall;
using testing::TemporaryFolder;
namespace fs = std::filesystem;

std::span<const std::uint8_t> bytesOf(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool write(const URL& file, const std::string& text, const AtomicWrite& options = {})
{
    return writeAtomically(file, bytesOf(text), options);
}

mode_t modeOf(const fs::path& file)
{
    struct stat facts {};
    stat(file.c_str(), &facts);
    return facts.st_mode & 07777;
}

void makeSocket(const fs::path& path)
{
    const int file = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(file, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(file);
}

TEST(AtomicWrite, MakesAndReplacesFiles)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(write(folder.url("a"), "new"));
    EXPECT_EQ(folder.text("a"), "new");
    EXPECT_TRUE(write(folder.url("a"), ""));
    EXPECT_EQ(folder.text("a"), "");
    const std::string large(3'000'001, 'x');
    EXPECT_TRUE(write(folder.url("a"), large));
    EXPECT_EQ(folder.text("a"), large);
    const std::string longest(255, 'n');
    EXPECT_TRUE(write(folder.url(longest), "long"));
    EXPECT_EQ(folder.text(longest), "long");
    EXPECT_TRUE(write(folder.url("line\nbreak %20 \xFF"), "odd"));
    EXPECT_EQ(folder.text("line\nbreak %20 \xFF"), "odd");
    EXPECT_EQ(folder.names().size(), 3U);
}

TEST(AtomicWrite, KeepsTheModeOfAFileAndTakesTheMaskForANewOne)
{
    const TemporaryFolder folder;
    folder.put("usual", "");
    EXPECT_TRUE(write(folder.url("new"), "x"));
    EXPECT_EQ(modeOf(folder / "new"), modeOf(folder / "usual"));
    for (const mode_t mode : {0600U, 0640U, 0777U, 0444U}) {
        folder.put("old", "old");
        ASSERT_EQ(chmod((folder / "old").c_str(), mode), 0);
        EXPECT_TRUE(write(folder.url("old"), "new"));
        EXPECT_EQ(modeOf(folder / "old"), mode);
        EXPECT_EQ(folder.text("old"), "new");
        fs::remove(folder / "old");
    }
}

TEST(AtomicWrite, KeepsTheOwnerWhereItMay)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give files away";
    const TemporaryFolder folder;
    folder.put("theirs", "old");
    ASSERT_EQ(chown((folder / "theirs").c_str(), testing::nobody, testing::nobody), 0);
    EXPECT_TRUE(write(folder.url("theirs"), "new"));
    struct stat facts {};
    ASSERT_EQ(stat((folder / "theirs").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_uid, testing::nobody);
    EXPECT_EQ(facts.st_gid, testing::nobody);
}

TEST(AtomicWrite, MakesFoldersWhenAsked)
{
    const TemporaryFolder folder;
    ZelFailure::clear();
    EXPECT_FALSE(write(folder.url("a/b/c"), "x"));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::writeFailed);
    EXPECT_EQ(ZelFailure::last().message, "c: cannot be written: there is no such folder");
    EXPECT_TRUE(folder.names().empty());
    EXPECT_TRUE(write(folder.url("a/b/c"), "x", {.createFolders = true}));
    EXPECT_TRUE(write(folder.url("a/b/c"), "y", {.createFolders = true}));
    EXPECT_EQ(folder.text("a/b/c"), "y");
    EXPECT_TRUE(write(folder.url("a//d///e"), "z", {.createFolders = true}));
    EXPECT_EQ(folder.text("a/d/e"), "z");
    EXPECT_FALSE(write(folder.url("a/b/c/d"), "below a file", {.createFolders = true}));
    EXPECT_EQ(folder.text("a/b/c"), "y");
}

TEST(AtomicWrite, RefusesWhatIsNoFile)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    makeSocket(folder / "socket");
    fs::create_symlink("folder", folder / "to-folder");
    fs::create_symlink("pipe", folder / "to-pipe");
    fs::create_symlink("/proc/self/fd/1", folder / "to-descriptor");
    fs::create_symlink("loop", folder / "loop");
    const bool hasDevice = mknod((folder / "device").c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0;
    struct Case {
        const char* name;
        const char* reason;
    };
    const Case cases[] = {
        {"folder", "it is a folder"},
        {"folder/", "it names no file"},
        {"folder/..", "it names no file"},
        {"pipe", "it is a pipe"},
        {"socket", "it is a socket"},
        {"device", "it is a device"},
        {"to-folder", "it leads to a folder"},
        {"to-pipe", "it leads to a pipe"},
        {"to-descriptor", "it leads to a descriptor of a process"},
        {"loop", "too many levels of symbolic links"},
        {"pipe/file", "not a directory"},
    };
    const std::vector<std::string> before = folder.names();
    for (const Case& row : cases)
        for (const bool absentAfterFailure : {false, true})
            for (const bool followLink : {false, true}) {
                SCOPED_TRACE(row.name);
                if (std::string_view(row.name) == "device" && !hasDevice)
                    continue;
                ZelFailure::clear();
                const URL file = URL::file(folder.path().string() + "/" + row.name);
                alarm(2);
                EXPECT_FALSE(write(file, "x", {.followLink = followLink, .absentAfterFailure = absentAfterFailure}));
                alarm(0);
                EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::writeFailed);
                EXPECT_THAT(ZelFailure::last().message, ::testing::EndsWith(row.reason));
                EXPECT_EQ(folder.names(), before);
            }
    EXPECT_FALSE(write(folder.url(std::string(256, 'n')), "x"));
    EXPECT_THAT(ZelFailure::last().message, ::testing::EndsWith("the name is too long"));
    EXPECT_FALSE(write(URL(), "x"));
    EXPECT_FALSE(write(*URL::parse("http://host/file"), "x"));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::writeFailed);
    EXPECT_EQ(ZelFailure::last().subject, "http://host/file");
}

TEST(AtomicWrite, ReplacesALinkOrFollowsIt)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "other");
    const auto prepare = [&] {
        folder.put("target", "old");
        folder.put("other/far", "old");
        for (const auto& [name, text] : {std::pair("direct", "target"),
                                         {"chain", "direct"},
                                         {"up", "other/back"},
                                         {"other/back", "../target"},
                                         {"dangling", "other/missing"}}) {
            fs::remove(folder / name);
            fs::create_symlink(text, folder / name);
        }
        fs::remove(folder / "absolute");
        fs::create_symlink(folder / "other/far", folder / "absolute");
        fs::remove(folder / "other/missing");
    };
    const std::pair<const char*, const char*> cases[] = {{"direct", "target"},
                                                         {"chain", "target"},
                                                         {"up", "target"},
                                                         {"absolute", "other/far"},
                                                         {"dangling", "other/missing"}};
    for (const auto& [link, target] : cases) {
        SCOPED_TRACE(link);
        prepare();
        const std::string before = folder.text(target);
        EXPECT_TRUE(write(folder.url(link), "new", {.followLink = false}));
        EXPECT_FALSE(fs::is_symlink(folder / link));
        EXPECT_EQ(folder.text(link), "new");
        EXPECT_EQ(folder.text(target), before);
        prepare();
        EXPECT_TRUE(write(folder.url(link), "new", {.followLink = true}));
        EXPECT_TRUE(fs::is_symlink(folder / link));
        EXPECT_EQ(folder.text(target), "new");
    }
}

TEST(AtomicWrite, ReachesAFolderThatCannotBeRead)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs to become another user";
    const TemporaryFolder folder;
    ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
    fs::create_directory(folder / "closed");
    fs::create_directory(folder / "still");
    folder.put("still/old", "old");
    ASSERT_EQ(chmod((folder / "closed").c_str(), 0333), 0);
    ASSERT_EQ(chmod((folder / "still").c_str(), 0555), 0);
    ChildProcess child([&] {
        if (setgid(testing::nobody) != 0 || setuid(testing::nobody) != 0)
            return 10;
        if (!write(folder.url("closed/new"), "new"))
            return 11;
        if (write(folder.url("still/new"), "new") || write(folder.url("still/old"), "new"))
            return 12;
        return ZelFailure::last().message == "old: cannot be written: permission denied" ? 0 : 13;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(folder.text("closed/new"), "new");
    EXPECT_EQ(folder.text("still/old"), "old");
}

TEST(AtomicWrite, SurvivesALimitOnFileSizes)
{
    const TemporaryFolder folder;
    folder.put("file", "old");
    ChildProcess child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return 10;
        if (write(folder.url("file"), std::string(100'000, 'x')))
            return 11;
        return ZelFailure::last().message == "file: cannot be written: file too large" ? 0 : 12;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(folder.text("file"), "old");
    EXPECT_EQ(folder.names().size(), 1U);
}

TEST(AtomicWrite, RemovesWhatKilledProcessesLeft)
{
    const TemporaryFolder folder;
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const std::string dead = std::to_string(child), living = std::to_string(getppid());
    const struct {
        std::string name;
        bool isOld, stays;
    } cases[] = {
        {".zel-" + dead + "-0.tmp", true, false},
        {".zel-" + dead + "-4294967295.tmp", true, false},
        {".zel-" + dead + "-1.tmp", false, true}, // its process may be one of another machine
        {".zel-" + living + "-0.tmp", true, true},
        {".zel-" + std::to_string(getpid()) + "-4000000000.tmp", true, true},
        {".zel-" + dead + "-x.tmp", true, true},
        {".zel-" + dead + ".tmp", true, true},
        {".zel--1-0.tmp", true, true},
        {".zel-99999999999-0.tmp", true, true},
        {".zel-.tmp", true, true},
        {".zel-tmp", true, true},
        {"zel-" + dead + "-0.tmp", true, true},
    };
    const std::string odd = ".zel-" + dead + "-7.tmp";
    fs::create_directory(folder / odd);
    const auto age = [&](const std::string& name) {
        fs::last_write_time(folder / name, fs::file_time_type::clock::now() - std::chrono::minutes(11));
    };
    for (const auto& [name, isOld, stays] : cases) {
        folder.put(name, "half");
        if (isOld)
            age(name);
    }
    age(odd);
    removeStaleTemporaries(openFile(folder.path(), O_RDONLY | O_DIRECTORY));
    for (const auto& [name, isOld, stays] : cases)
        EXPECT_EQ(folder.text(name), stays ? "half" : "absent") << name;
    EXPECT_TRUE(fs::is_directory(folder / odd));
}

TEST(AtomicWrite, IsOldOrNewWhicheverCallFails)
{
    struct Kind {
        const char* name;
        FileCall call;
        int times;
    };
    const Kind kinds[] = {
        {"any once", FileCall::any, 1},
        {"open once", FileCall::open, 1},
        {"open for ever", FileCall::open, -1},
        {"write once", FileCall::write, 1},
        {"write for ever", FileCall::write, -1},
        {"sync once", FileCall::sync, 1},
        {"sync for ever", FileCall::sync, -1},
        {"rename for ever", FileCall::rename, -1},
        {"mkdir once", FileCall::mkdir, 1},
        {"mkdir for ever", FileCall::mkdir, -1},
        {"close once", FileCall::close, 1},
        {"close for ever", FileCall::close, -1},
        {"change for ever", FileCall::change, -1},
    };
    const AtomicWrite manners[] = {
        {},
        {.followLink = false},
        {.createFolders = true},
        {.followLink = false, .createFolders = true, .absentAfterFailure = true},
    };
    const TemporaryFolder folder(true);
    const std::string fresh(100'000, 'n');
    const std::ptrdiff_t descriptors = testing::openDescriptors();
    int failures = 0;
    for (const Kind& kind : kinds)
        for (const int error : {EIO, ENOSPC, EINTR, EDQUOT})
            for (const AtomicWrite& manner : manners)
                for (int nth = 1, done = 0; done == 0; ++nth) {
                    if (error == EINTR && kind.times < 0)
                        break; // a call that is interrupted for ever never ends, here as in any program
                    SCOPED_TRACE(::testing::Message() << kind.name << ", " << errorText(error) << ", call " << nth
                                                      << (manner.absentAfterFailure ? ", absent after failure" : ""));
                    fs::create_directory(folder / "in");
                    folder.put("in/file", "old");
                    ZelFailure::clear();
                    bool written = false;
                    {
                        const FailingFiles failing(
                            {.call = kind.call, .nth = nth, .times = kind.times, .error = error});
                        written = write(folder.url("in/file"), fresh, manner);
                        done = failing.fired() ? 0 : 1;
                    }
                    if (written) {
                        ASSERT_EQ(folder.text("in/file"), fresh);
                        ASSERT_EQ(ZelFailure::last().code, ZelFailureCode::none);
                    } else {
                        ++failures;
                        ASSERT_EQ(folder.text("in/file"), manner.absentAfterFailure ? "absent" : "old");
                        ASSERT_EQ(ZelFailure::last().code, ZelFailureCode::writeFailed);
                        ASSERT_THAT(ZelFailure::last().message, ::testing::EndsWith(errorText(error)));
                    }
                    ASSERT_LE(std::distance(fs::directory_iterator(folder / "in"), fs::directory_iterator()), 1);
                    ASSERT_EQ(testing::openDescriptors(), descriptors);
                    const FailingFiles calm({.nth = std::numeric_limits<int>::max()});
                    ASSERT_TRUE(write(folder.url("in/file"), "again"));
                    ASSERT_EQ(folder.text("in/file"), "again");
                    fs::remove_all(folder / "in");
                }
    // Fewer would mean that the loop did not reach the calls it is about.
    EXPECT_GT(failures, 100);
}

TEST(AtomicWrite, MakesFoldersOrFailsWhicheverCallFails)
{
    const TemporaryFolder folder;
    for (int nth = 1, done = 0; done == 0; ++nth) {
        SCOPED_TRACE(nth);
        bool written = false;
        {
            const FailingFiles failing({.nth = nth, .error = EDQUOT});
            written = write(folder.url("a/b/file"), "new", {.createFolders = true});
            done = failing.fired() ? 0 : 1;
        }
        EXPECT_EQ(folder.text("a/b/file"), written ? "new" : "absent");
        fs::remove_all(folder / "a");
    }
    const FailingFiles nowhere({.call = FileCall::mkdir, .times = -1, .error = ENOENT});
    EXPECT_FALSE(write(folder.url("a/b/file"), "new", {.createFolders = true}));
    EXPECT_THAT(ZelFailure::last().message,
                ::testing::EndsWith("the folder cannot be made: no such file or directory"));
}

TEST(AtomicWrite, ThroughLinksIsOldOrNewWhicheverCallFails)
{
    const TemporaryFolder folder(true);
    for (const bool followLink : {true, false})
        for (const int times : {1, -1})
            for (const FileCall call : {FileCall::any, FileCall::stat})
                for (int nth = 1, done = 0; done == 0; ++nth) {
                    SCOPED_TRACE(::testing::Message() << (followLink ? "followed" : "replaced") << ", call " << nth);
                    if (call == FileCall::any && times < 0)
                        break; // nothing could be cleared away
                    folder.put("target", "old");
                    fs::create_symlink("target", folder / "link");
                    bool written = false;
                    {
                        const FailingFiles failing({.call = call, .nth = nth, .times = times});
                        written = write(folder.url("link"), "new",
                                        {.followLink = followLink, .absentAfterFailure = !followLink});
                        done = failing.fired() ? 0 : 1;
                    }
                    EXPECT_EQ(folder.text("target"), written && followLink ? "new" : "old");
                    const bool isLink = fs::is_symlink(fs::symlink_status(folder / "link"));
                    if (followLink) {
                        EXPECT_TRUE(isLink);
                    } else if (written) {
                        EXPECT_EQ(folder.text("link"), "new");
                    } else if (times == 1) {
                        EXPECT_FALSE(isLink);
                    }
                    fs::remove(folder / "link");
                    EXPECT_EQ(folder.names(), std::vector<std::string>{"target"});
                }
}

// Whatever fails, each file is old or new, those that did not get their names leave nothing, and while files are added
// none has changed.
TEST(AtomicWrites, AreOldOrNewWhicheverCallFails)
{
    const TemporaryFolder folder(true);
    const auto file = [](int i) { return "in/" + std::to_string(i % 3) + "/" + std::to_string(i); };
    const std::vector<std::uint8_t> fresh(1000, 'n');
    const std::ptrdiff_t descriptors = testing::openDescriptors();
    int failures = 0;
    for (const int times : {1, -1})
        for (const FileCall call : {FileCall::any, FileCall::sync, FileCall::rename, FileCall::write})
            for (int nth = 1, done = 0; done == 0; ++nth) {
                if (times < 0 && call == FileCall::any)
                    break; // nothing could be cleared away
                SCOPED_TRACE(::testing::Message() << static_cast<int>(call) << ", call " << nth << ", times " << times);
                fs::create_directories(folder / "in/0");
                folder.put(file(0), "old");
                bool added = true, written = false;
                {
                    const FailingFiles failing({.call = call, .nth = nth, .times = times});
                    AtomicWrites files({.createFolders = true});
                    for (int i = 0; i < 6 && added; ++i)
                        added = files.add(folder.url(file(i)), fresh);
                    ASSERT_EQ(folder.text(file(0)), "old");
                    written = added && files.finish();
                    done = failing.fired() ? 0 : 1;
                }
                failures += written ? 0 : 1;
                const std::string wanted(fresh.begin(), fresh.end());
                std::ptrdiff_t found = 0;
                for (int i = 0; i < 6; ++i) {
                    const std::string text = folder.text(file(i));
                    ASSERT_TRUE(text == wanted || (!written && text == (i == 0 ? "old" : "absent"))) << i << text;
                    found += text != "absent";
                }
                for (const auto& entry : fs::recursive_directory_iterator(folder / "in"))
                    found -= entry.is_regular_file();
                ASSERT_EQ(found, 0) << "temporaries";
                ASSERT_EQ(testing::openDescriptors(), descriptors);
                fs::remove_all(folder / "in");
            }
    EXPECT_GT(failures, 40);
    AtomicWrites files({.createFolders = true});
    for (int i = 0; i < 300; ++i) // more folders than are held open
        ASSERT_TRUE(files.add(folder.url("many/" + std::to_string(i) + "/file"), fresh));
    EXPECT_LT(testing::openDescriptors(), descriptors + 200);
    EXPECT_TRUE(files.finish());
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(folder.text("many/" + std::to_string(i) + "/file").size(), fresh.size());
}

TEST(FileCalls, RefuseWhatTheSystemWouldMisread)
{
    EXPECT_FALSE(openFile(std::string("/proc/self/status\0x", 19), O_RDONLY));
    EXPECT_EQ(errno, ENOENT);
    const FileHandle file = openFile("/proc/self/status", O_RDONLY);
    ASSERT_TRUE(file);
    char byte = 0;
    EXPECT_EQ(readFully(file, &byte, 1, std::numeric_limits<std::uint64_t>::max()), 0U);
}

TEST(AtomicWrite, WritesOnAfterShortAndInterruptedWrites)
{
    const TemporaryFolder folder;
    std::string text;
    for (int i = 0; i < 5'000; ++i)
        text += std::to_string(i);
    {
        const FailingFiles failing({.call = FileCall::write, .times = -1, .error = 0, .shortTo = 7});
        EXPECT_TRUE(write(folder.url("short"), text));
        EXPECT_GT(failing.calls(), 1'000);
    }
    EXPECT_EQ(folder.text("short"), text);
    {
        const FailingFiles failing({.call = FileCall::write, .times = 5, .error = EINTR});
        EXPECT_TRUE(write(folder.url("interrupted"), text));
    }
    EXPECT_EQ(folder.text("interrupted"), text);
    {
        // A device that takes nothing and reports nothing would keep us for ever.
        const FailingFiles failing({.call = FileCall::write, .times = -1, .error = 0, .shortTo = 0});
        EXPECT_FALSE(write(folder.url("nothing"), text));
    }
    EXPECT_EQ(folder.text("nothing"), "absent");
}

TEST(AtomicWrite, WarnsWhereTheFolderCannotBeSynced)
{
    const TemporaryFolder folder;
    const ZelReport report;
    {
        const FailingFiles failing({.call = FileCall::sync, .nth = 2});
        EXPECT_TRUE(write(folder.url("file"), "new"));
    }
    EXPECT_EQ(folder.text("file"), "new");
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].severity, ZelSeverity::warning);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::writeFailed);
    // Some file systems know no syncing at all: nothing to tell.
    for (const int error : {EINVAL, ENOSYS, EOPNOTSUPP}) {
        const FailingFiles failing({.call = FileCall::sync, .times = -1, .error = error});
        EXPECT_TRUE(write(folder.url("file"), "newer"));
    }
    EXPECT_EQ(report.notes().size(), 1U);
    // Neither may a file system that knows no modes lose a picture.
    const FailingFiles failing({.call = FileCall::change, .times = -1, .error = EPERM});
    EXPECT_TRUE(write(folder.url("file"), "newest"));
}

TEST(AtomicWrite, DoesNotClaimWhatMayBeLost)
{
    const TemporaryFolder folder(true);
    // The bytes are on the disk only when each of these has said so.
    for (const FileCall call : {FileCall::write, FileCall::sync, FileCall::close, FileCall::rename}) {
        folder.put("file", "old");
        const FailingFiles failing({.call = call, .error = EIO});
        EXPECT_FALSE(write(folder.url("file"), "new")) << static_cast<int>(call);
        EXPECT_EQ(folder.text("file"), "old");
    }
    // A close that was interrupted has closed.
    const FailingFiles failing({.call = FileCall::close, .error = EINTR});
    EXPECT_TRUE(write(folder.url("file"), "new"));
}

TEST(AtomicWrite, LeavesWhatOthersLeftUnderItsTemporaryNames)
{
    const TemporaryFolder folder;
    static std::string seen;
    FileCalls spying = systemFileCalls();
    spying.openat = [](int at, const char* name, int flags, mode_t mode) {
        if (std::string_view(name).starts_with(temporaryPrefix)) // the folder's own name is opened now and then
            seen = name;
        return systemFileCalls().openat(at, name, flags, mode);
    };
    setFileCalls(&spying);
    EXPECT_TRUE(write(folder.url("file"), "new"));
    setFileCalls(nullptr);
    ASSERT_TRUE(seen.starts_with(temporaryPrefix));
    // An old process of our number may have left files under the names that come next.
    const std::size_t dash = seen.rfind('-');
    const int count = std::stoi(seen.substr(dash + 1));
    for (int next = 1; next <= 3; ++next)
        folder.put(seen.substr(0, dash + 1) + std::to_string(count + next) + ".tmp", "theirs");
    EXPECT_TRUE(write(folder.url("file"), "newer"));
    EXPECT_EQ(folder.text("file"), "newer");
    EXPECT_EQ(folder.names().size(), 4U);
    for (const std::string& name : folder.names())
        EXPECT_EQ(folder.text(name), name == "file" ? "newer" : "theirs");
}

TEST(AtomicWrite, ShowsReadersWholeFilesOnly)
{
    const TemporaryFolder folder;
    constexpr std::size_t size = 200'000;
    folder.put("file", std::string(size, 'a'));
    std::atomic<bool> done = false;
    std::vector<std::thread> writers;
    for (const char letter : {'b', 'c'})
        writers.emplace_back([&, letter] {
            for (int i = 0; i < 30; ++i)
                EXPECT_TRUE(write(folder.url("file"), std::string(size, letter)));
        });
    std::thread reader([&] {
        while (!done) {
            const std::string text = folder.text("file");
            EXPECT_EQ(text, std::string(size, text[0]));
        }
    });
    for (std::thread& writer : writers)
        writer.join();
    done = true;
    reader.join();
    EXPECT_EQ(folder.names().size(), 1U);
}

TEST(RemoveTarget, TakesFilesAndLinksAlone)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    fs::create_symlink("pipe", folder / "to-pipe");
    folder.put("file", "old");
    folder.put("kept", "old");
    fs::create_symlink("kept", folder / "link");
    fs::create_symlink("missing", folder / "dangling");
    for (const char* name : {"folder", "pipe", "to-pipe", "file", "link", "dangling", "absent", "absent/too"})
        removeTarget(folder.url(name));
    removeTarget(URL());
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"folder", "kept", "pipe", "to-pipe"}));
}

#ifndef ZEL_TEST_THREAD_SANITIZER

// A file's bytes are its length in letters, the letter telling the length, so that a mixture shows.
std::string stateNumber(int number)
{
    return std::string(static_cast<std::size_t>(50'000 + 1'000 * number), static_cast<char>('a' + number));
}

bool isWhole(const std::string& text)
{
    return !text.empty() && text == stateNumber(text[0] - 'a');
}

TEST(AtomicWrite, IsOldOrNewWhereverTheProcessIsKilled)
{
    const TemporaryFolder folder;
    bool survived = false;
    for (int nth = 1; !survived; ++nth) {
        SCOPED_TRACE(nth);
        folder.put("file", stateNumber(0));
        ChildProcess child([&] {
            const FailingFiles failing({.nth = nth, .kill = true});
            return write(folder.url("file"), stateNumber(1), {.createFolders = true, .absentAfterFailure = true}) ? 0
                                                                                                                  : 1;
        });
        const int end = child.wait();
        survived = end == 0;
        EXPECT_TRUE(survived || end == -SIGKILL) << end;
        EXPECT_TRUE(isWhole(folder.text("file")));
        ASSERT_LT(nth, 100);
    }
    EXPECT_EQ(folder.text("file"), stateNumber(1));
}

TEST(AtomicWrite, IsOldOrNewWheneverTheProcessIsKilled)
{
    const TemporaryFolder folder;
    folder.put("file", stateNumber(0));
    unsigned random = 1;
    for (int kills = 0; kills < 100; ++kills) {
        ChildProcess child([&] {
            for (int number = 0;; number = (number + 1) % 26)
                write(folder.url("file"), stateNumber(number));
            return 0;
        });
        random = random * 1664525U + 1013904223U;
        std::this_thread::sleep_for(std::chrono::microseconds(200 + (random >> 16) % 4'000));
        child.killNow();
        ASSERT_TRUE(isWhole(folder.text("file"))) << kills;
    }
    // What a kill leaves bears the prefix by which it can be cleared away.
    for (const std::string& name : folder.names())
        EXPECT_TRUE(name == "file" || name.starts_with(temporaryPrefix)) << name;
}

#endif

} // namespace
} // namespace zel
