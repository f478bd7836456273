#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>

#include <foundation/child_process.h>
#include <foundation/failing_files.h>
#include <foundation/temporary_folder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>

namespace zel {
namespace {

using testing::ChildProcess;
using testing::FailingFiles;
using testing::FileCall;
using testing::TemporaryFolder;
namespace fs = std::filesystem;

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

std::string readText(const ByteSource& source, std::uint64_t offset, std::size_t count)
{
    std::string text(count, '.');
    const std::size_t got = source.read(offset, {reinterpret_cast<std::uint8_t*>(text.data()), count});
    // Nothing is written behind what was read.
    EXPECT_EQ(text.substr(got), std::string(count - got, '.'));
    return text.substr(0, got);
}

/// A sparse file with a few letters at places that are told by these.
URL largeFile(const TemporaryFolder& folder, std::uint64_t size)
{
    const URL file = folder.put("large", "start");
    fs::resize_file(folder / "large", size - 3);
    std::ofstream(folder / "large", std::ios::binary | std::ios::app) << "end";
    return file;
}

void expectReadsByPosition(const ByteSource& source)
{
    EXPECT_EQ(source.size(), 10U);
    EXPECT_EQ(readText(source, 0, 10), "0123456789");
    EXPECT_EQ(readText(source, 0, 0), "");
    EXPECT_EQ(readText(source, 3, 4), "3456");
    EXPECT_EQ(readText(source, 8, 5), "89");
    EXPECT_EQ(readText(source, 9, 1), "9");
    EXPECT_EQ(readText(source, 10, 1), "");
    EXPECT_EQ(readText(source, 11, 1), "");
    EXPECT_EQ(readText(source, std::numeric_limits<std::uint64_t>::max(), 9), "");
    EXPECT_EQ(source.whole().size(), 10U);
}

TEST(ByteSource, ReadsByPosition)
{
    const TemporaryFolder folder;
    const std::string text = "0123456789";
    const URL file = folder.put("file", text);
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    const Ref<const ByteSource> opened = ByteSource::open(file);
    ASSERT_TRUE(opened);
    expectReadsByPosition(*opened);
    EXPECT_EQ(opened->subject(), (folder / "file").string());
    expectReadsByPosition(*ByteSource::view(bytes));
    expectReadsByPosition(*ByteSource::of(Data({bytes.begin(), bytes.end()}), "name"));
    EXPECT_EQ(ByteSource::of(Data(), "name")->subject(), "name");
    EXPECT_EQ(ByteSource::of(Data())->size(), 0U);
    const Ref<const ByteSource> empty = ByteSource::open(folder.put("empty", ""));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->size(), 0U);
    EXPECT_EQ(readText(*empty, 0, 1), "");
}

TEST(ByteSource, KeepsLargeFilesOpenAndReadsThemByPieces)
{
    const TemporaryFolder folder;
    const std::ptrdiff_t descriptors = testing::openDescriptors();
    {
        const Ref<const ByteSource> small = ByteSource::open(largeFile(folder, 16 * mebibyte));
        ASSERT_TRUE(small);
        EXPECT_EQ(small->whole().size(), 16 * mebibyte);
        EXPECT_EQ(testing::openDescriptors(), descriptors);
        const std::uint64_t size = 16 * mebibyte + 1;
        const Ref<const ByteSource> large = ByteSource::open(largeFile(folder, size));
        ASSERT_TRUE(large);
        EXPECT_EQ(large->size(), size);
        EXPECT_TRUE(large->whole().empty());
        EXPECT_EQ(testing::openDescriptors(), descriptors + 1);
        EXPECT_EQ(readText(*large, 0, 6), std::string("start\0", 6));
        EXPECT_EQ(readText(*large, size - 4, 9), std::string("\0end", 4));
        EXPECT_EQ(readText(*large, size, 1), "");
        EXPECT_EQ(readText(*large, std::numeric_limits<std::uint64_t>::max() - 1, 5), "");
        const Ref<const ByteSource> whole = ByteSource::openWhole(folder.url("large"));
        ASSERT_TRUE(whole);
        EXPECT_EQ(whole->whole().size(), size);
        // A rename over the file, or its end, changes nothing for those who have it.
        folder.put("other", "other");
        fs::rename(folder / "other", folder / "large");
        EXPECT_EQ(readText(*large, size - 3, 3), "end");
    }
    EXPECT_EQ(testing::openDescriptors(), descriptors);
}

TEST(ByteSource, OpenedLightlyHoldsNeitherBytesNorManyDescriptors)
{
    const TemporaryFolder folder;
    const std::ptrdiff_t descriptors = testing::openDescriptors();
    const std::string text(200'000, 'x');
    EXPECT_EQ(ByteSource::openLightly(folder.put("small", text.substr(0, 1000)))->whole().size(), 1000U);
    std::vector<Ref<const ByteSource>> files;
    for (int number = 0; number < 100; ++number)
        files.push_back(
            ByteSource::openLightly(folder.put("f" + std::to_string(number), std::to_string(number) + text)));
    EXPECT_LE(testing::openDescriptors(), descriptors + 64);
    for (int round = 0; round < 2; ++round)
        for (int number = 0; number < 100; ++number) {
            const std::string start = std::to_string(number) + "xx";
            ASSERT_TRUE(files[static_cast<std::size_t>(number)]);
            EXPECT_TRUE(files[static_cast<std::size_t>(number)]->whole().empty());
            EXPECT_EQ(readText(*files[static_cast<std::size_t>(number)], 0, start.size()), start);
        }
    EXPECT_LE(testing::openDescriptors(), descriptors + 64);
    EXPECT_EQ(readText(*files[7], text.size(), 5), "x");
    files.clear();
    EXPECT_EQ(testing::openDescriptors(), descriptors);
}

TEST(ByteSource, OpenedLightlyIsLostWhereTheFileIsAnotherOne)
{
    const TemporaryFolder folder;
    const std::string text(200'000, 'x');
    struct Case {
        const char* name;
        bool isStillOpen;
        std::function<void()> act;
        bool isLost;
    };
    const Case cases[] = {
        {"nothing happened", true, [] {}, false},
        {"nothing happened, closed", false, [] {}, false},
        {"removed", true, [&] { fs::remove(folder / "file"); }, false},
        {"removed, closed", false, [&] { fs::remove(folder / "file"); }, true},
        {"replaced", true, [&] { fs::rename(folder.put("new", text).filePath(), folder / "file"); }, false},
        {"replaced, closed", false, [&] { fs::rename(folder.put("new", text).filePath(), folder / "file"); }, true},
        {"cut", true, [&] { fs::resize_file(folder / "file", 150'000); }, true},
        {"cut, closed", false, [&] { fs::resize_file(folder / "file", 150'000); }, true},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        fs::remove(folder / "file");
        const Ref<const ByteSource> file = ByteSource::openLightly(folder.put("file", text));
        ASSERT_TRUE(file);
        std::vector<Ref<const ByteSource>> others;
        for (int number = 0; number < 64 && !row.isStillOpen; ++number)
            others.push_back(ByteSource::openLightly(folder.put("other" + std::to_string(number), text)));
        row.act();
        EXPECT_EQ(file->isLost(), row.isLost);
        const ZelReport report;
        EXPECT_EQ(readText(*file, 0, 3), row.isLost ? "" : "xxx");
        EXPECT_EQ(report.notes().size(), row.isLost ? 1U : 0U);
    }
}

TEST(ByteSource, OpenedByPiecesReadsWhatIsAskedFor)
{
    const TemporaryFolder folder;
    std::mt19937 random(1);
    std::string text(40'000, '.');
    for (char& letter : text)
        letter = static_cast<char>(random());
    const Ref<const ByteSource> source = ByteSource::openByPieces(folder.put("file", text));
    ASSERT_TRUE(source);
    EXPECT_EQ(source->size(), text.size());
    EXPECT_TRUE(source->whole().empty());
    for (int round = 0; round < 2000; ++round) {
        const std::size_t offset = random() % (text.size() + 10), count = random() % (round % 5 == 0 ? 10'000 : 40);
        ASSERT_EQ(readText(*source, offset, count), offset < text.size() ? text.substr(offset, count) : "") << offset;
    }
    EXPECT_EQ(readText(*source, std::numeric_limits<std::uint64_t>::max(), 9), "");
    EXPECT_FALSE(ByteSource::openByPieces(folder.url("none")));
    const Ref<const ByteSource> empty = ByteSource::openByPieces(folder.put("empty", ""));
    ASSERT_TRUE(empty);
    EXPECT_EQ(readText(*empty, 0, 1), "");
}

TEST(ByteSource, IsShortWhereTheFileWasCutMeanwhile)
{
    const TemporaryFolder folder;
    const std::uint64_t size = 17 * mebibyte;
    const Ref<const ByteSource> large = ByteSource::open(largeFile(folder, size));
    ASSERT_TRUE(large);
    fs::resize_file(folder / "large", 3);
    EXPECT_EQ(large->size(), size);
    EXPECT_EQ(readText(*large, 0, 10), "sta");
    EXPECT_EQ(readText(*large, 3, 10), "");
    EXPECT_EQ(readText(*large, size - 3, 3), "");
    // A small file may be cut between the look at its size and the reading of it.
    folder.put("small", "0123456789");
    const FailingFiles shortened({.call = FileCall::read, .times = -1, .error = 0, .shortTo = 0});
    const Ref<const ByteSource> cut = ByteSource::open(folder.url("small"));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->size(), 0U);
}

TEST(ByteSource, RefusesWhatIsNoRegularFileAtOnce)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "folder");
    folder.put("file", "x");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    const int socketFile = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (folder / "socket").string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(socketFile, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    fs::create_symlink("pipe", folder / "to-pipe");
    fs::create_symlink("missing", folder / "dangling");
    fs::create_symlink("loop", folder / "loop");
    std::ofstream(folder / "huge").close();
    fs::resize_file(folder / "huge", std::uint64_t{1} << 40);
    struct Case {
        URL file;
        ZelFailureCode code;
        const char* message;
    };
    const Case cases[] = {
        {folder.url("missing.png"), ZelFailureCode::notFound, "missing.png: no such file"},
        {folder.url("dangling"), ZelFailureCode::notFound, "dangling: no such file"},
        {folder.url("file/below"), ZelFailureCode::notFound, "below: no such file"},
        {folder.url("folder"), ZelFailureCode::unreadable, "folder: a folder, not a file"},
        {folder.url("pipe"), ZelFailureCode::unreadable, "pipe: a pipe, not a file"},
        {folder.url("to-pipe"), ZelFailureCode::unreadable, "to-pipe: a pipe, not a file"},
        {folder.url("socket"), ZelFailureCode::unreadable, "socket: a socket, not a file"},
        {folder.url("loop"), ZelFailureCode::unreadable, "loop: too many levels of symbolic links"},
        {URL::file("/dev/zero"), ZelFailureCode::unreadable, "zero: a device, not a file"},
        {URL::file("/dev/null"), ZelFailureCode::unreadable, "null: a device, not a file"},
        {folder.url(std::string(256, 'n')), ZelFailureCode::unreadable, nullptr},
        {folder.url("huge"), ZelFailureCode::limit, "huge: the file has 1.1 TB, the limit is 1.1 GB"},
        {URL(), ZelFailureCode::invalidArgument, "an empty address names no file"},
        {*URL::parse("http://host/a.png"), ZelFailureCode::invalidArgument,
         "only a file can be opened: http://host/a.png"},
        {*URL::parse("relative.png"), ZelFailureCode::invalidArgument, "only a file can be opened: relative.png"},
    };
    const std::ptrdiff_t descriptors = testing::openDescriptors();
    for (const Case& row : cases) {
        SCOPED_TRACE(row.file.absoluteString());
        ZelFailure::clear();
        alarm(2);
        EXPECT_FALSE(ByteSource::open(row.file));
        EXPECT_EQ(ZelFailure::last().code, row.code);
        if (row.message != nullptr) {
            EXPECT_EQ(ZelFailure::last().message, row.message);
        }
        EXPECT_FALSE(Data::read(row.file));
        alarm(0);
        EXPECT_EQ(ZelFailure::last().operation, "open");
        if (row.file.isFile()) {
            EXPECT_EQ(ZelFailure::last().subject, row.file.filePath().string());
        }
    }
    close(socketFile);
    EXPECT_EQ(testing::openDescriptors(), descriptors - 1);
    // The kernel's own texts count as regular files of no length.
    const Ref<const ByteSource> status = ByteSource::open(URL::file("/proc/self/status"));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->size(), 0U);
}

TEST(ByteSource, KeepsToTheLimitOnInput)
{
    const TemporaryFolder folder;
    ZelLimits limits;
    limits.inputBytes = 10;
    const ZelLimits::Scope scope(limits);
    EXPECT_TRUE(ByteSource::open(folder.put("ten", "0123456789")));
    EXPECT_FALSE(ByteSource::open(folder.put("eleven", "0123456789a")));
    EXPECT_EQ(ZelFailure::last().message, "eleven: the file has 11 bytes, the limit is 10 bytes");
    EXPECT_FALSE(Data::read(folder.url("eleven")));
}

TEST(ByteSource, SaysWhyAFileCannotBeRead)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs to become another user";
    const TemporaryFolder folder;
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    folder.put("private", "x");
    ASSERT_EQ(chmod((folder / "private").c_str(), 0600), 0);
    ChildProcess child([&] {
        if (setgid(testing::nobody) != 0 || setuid(testing::nobody) != 0)
            return 10;
        if (ByteSource::open(folder.url("private")))
            return 11;
        return ZelFailure::last().message == "private: permission denied" &&
                       ZelFailure::last().code == ZelFailureCode::unreadable
                   ? 0
                   : 12;
    });
    EXPECT_EQ(child.wait(), 0);
}

TEST(ByteSource, SurvivesEveryFailingCall)
{
    const TemporaryFolder folder;
    const std::string text(5'000, 't');
    folder.put("file", text);
    const std::ptrdiff_t descriptors = testing::openDescriptors();
    for (const int error : {EIO, EINTR, EACCES, ENOMEM, 9999})
        for (int nth = 1, done = 0; done == 0; ++nth) {
            SCOPED_TRACE(::testing::Message() << errorText(error) << " at call " << nth);
            ZelFailure::clear();
            std::optional<Data> bytes;
            {
                const FailingFiles failing({.nth = nth, .error = error});
                bytes = Data::read(folder.url("file"));
                done = failing.fired() ? 0 : 1;
            }
            if (bytes) {
                EXPECT_EQ(std::string(bytes->span().begin(), bytes->span().end()), text);
            } else {
                EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::unreadable);
                EXPECT_EQ(ZelFailure::last().message, "file: " + errorText(error));
            }
            EXPECT_EQ(testing::openDescriptors(), descriptors);
        }
    {
        const FailingFiles failing({.call = FileCall::read, .times = -1, .error = 0, .shortTo = 7});
        EXPECT_EQ(Data::read(folder.url("file"))->size(), text.size());
        EXPECT_GT(failing.calls(), 700);
    }
    EXPECT_EQ(errorText(9999), "error 9999");
}

TEST(ByteSource, WarnsWhereALargeFileCannotBeReadOn)
{
    const TemporaryFolder folder;
    const Ref<const ByteSource> large = ByteSource::open(largeFile(folder, 17 * mebibyte));
    ASSERT_TRUE(large);
    const ZelReport report;
    {
        const FailingFiles failing({.call = FileCall::read, .error = EIO});
        EXPECT_EQ(readText(*large, 100, 5), "");
        EXPECT_EQ(readText(*large, 0, 5), "start");
    }
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].severity, ZelSeverity::warning);
    EXPECT_EQ(report.notes()[0].message, "input/output error at byte 100");
    EXPECT_EQ(report.notes()[0].subject, large->subject());
    const FailingFiles failing({.call = FileCall::read, .error = EIO});
    EXPECT_FALSE(Data::read(folder.url("large")));
}

TEST(ByteSource, MayBeReadByManyThreads)
{
    const TemporaryFolder folder;
    const std::uint64_t size = 17 * mebibyte;
    const Ref<const ByteSource> large = ByteSource::open(largeFile(folder, size));
    ASSERT_TRUE(large);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 200; ++i)
                EXPECT_EQ(thread % 2 == 0 ? readText(*large, 0, 5) : readText(*large, size - 3, 8),
                          thread % 2 == 0 ? "start" : "end");
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Data, IsReadAndWrittenWhole)
{
    const TemporaryFolder folder;
    const Data data({1, 2, 3});
    EXPECT_TRUE(data.write(folder.url("file")));
    EXPECT_EQ(Data::read(folder.url("file")), data);
    EXPECT_TRUE(Data().write(folder.url("file")));
    EXPECT_EQ(Data::read(folder.url("file")), Data());
    EXPECT_FALSE(data.write(folder.url("missing/file")));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::writeFailed);
}

} // namespace
} // namespace zel
