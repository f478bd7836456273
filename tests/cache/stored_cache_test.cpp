#include <zel/cache/stored_cache.h>

#include <zel/io/encode.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <unistd.h>

namespace zel {
namespace {

namespace fs = std::filesystem;
using Mode = ZelImageStoredCache::Mode;

Ref<ZelImage> picture(int width, int height, std::uint8_t shade = 90)
{
    return makeZelImage(test::flat(width, height, {shade, 20, 30, 255}));
}

class StoredCacheTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fs::create_directories(base_);
        if (const char* before = std::getenv("XDG_CACHE_HOME"))
            before_ = before;
        setenv("XDG_CACHE_HOME", base_.c_str(), 1);
        caches_ = fs::path(ZelImageStoredCache({"x", 1, Mode::png}).imageUrl({.with = "y"}).filePath())
                      .parent_path()
                      .parent_path();
    }
    void TearDown() override
    {
        if (before_.empty())
            unsetenv("XDG_CACHE_HOME");
        else
            setenv("XDG_CACHE_HOME", before_.c_str(), 1);
        fs::remove_all(base_);
    }
    static void age(const fs::path& file, int days)
    {
        fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(24 * days));
    }
    static void touch(const fs::path& file)
    {
        fs::create_directories(file.parent_path());
        std::ofstream(file) << "some bytes";
    }
    static std::string head(const fs::path& file)
    {
        std::string bytes(3, ' ');
        std::ifstream(file, std::ios::binary).read(bytes.data(), 3);
        return bytes;
    }

    fs::path base_ = fs::temp_directory_path() / ("zel-stored-" + std::to_string(::getpid()));
    fs::path caches_;
    std::string before_;
};

TEST_F(StoredCacheTest, FilesAreNamedAfterCacheAndIdentifier)
{
    EXPECT_EQ(fromRawValue<Mode>("heif"), Mode::heif);
    for (const char* text : {"jpeg", "PNG", ""})
        EXPECT_FALSE(fromRawValue<Mode>(text)) << text;

    ZelImageStoredCache jpegs({.name = "thumbs", .removeItemsAfterDays = 7, .mode = Mode::heif});
    jpegs.store(picture(8, 4), {.withId = "a1"});
    jpegs.waitForWrites();
    EXPECT_EQ(jpegs.imageUrl({.with = "a1"}).filePath(), caches_ / "thumbs" / "a1.jpg");
    EXPECT_EQ(head(caches_ / "thumbs/a1.jpg"), "\xFF\xD8\xFF");

    ZelImageStoredCache pngs({.name = "thumbs", .removeItemsAfterDays = 7, .mode = Mode::png});
    pngs.store(picture(8, 4, 1), {.withId = "thumb-42"});
    pngs.store(picture(6, 6, 2), {.withId = "thumb-42"}); // the later one stays
    pngs.waitForWrites();
    EXPECT_EQ(head(caches_ / "thumbs/thumb-42.png"), "\x89PN");
    const auto read = pngs.retrieveImage({.withId = "thumb-42"});
    ASSERT_TRUE(read && read->cgImage);
    EXPECT_EQ(read->size, (CGSize{6, 6}));
    EXPECT_FALSE(pngs.retrieveImage({.withId = "a1"})) << "another extension";
}

TEST_F(StoredCacheTest, ComputesOnceAndReadsInTheNextRun)
{
    int calls = 0;
    const auto calc = [&calls] { return ++calls, picture(400, 200); };
    const ZelImageStoredCache::Options options{
        .name = "c", .removeItemsAfterDays = 7, .mode = Mode::png, .resizeMinSideToMax = 50};
    {
        ZelImageStoredCache cache(options);
        EXPECT_FALSE(cache.retrieveOrCalc({.imageWithId = "none", .calc = [&] { return ++calls, Ref<ZelImage>(); }}));
        EXPECT_FALSE(cache.retrieveOrCalc({.imageWithId = "none", .calc = [&] { return ++calls, Ref<ZelImage>(); }}));
        EXPECT_EQ(calls, 2) << "what came to nothing is asked for again";
        const auto first = cache.retrieveOrCalc({.imageWithId = "p", .calc = calc});
        EXPECT_EQ(cache.retrieveOrCalc({.imageWithId = "p", .calc = calc}), first);
        EXPECT_EQ(cache.cache().value({"p"}), first);
        EXPECT_EQ(first->size, (CGSize{400, 200})) << "the computed one, not the reduced one";
        cache.waitForWrites();
        EXPECT_EQ(calls, 3);
        EXPECT_FALSE(fs::exists(caches_ / "c/none.png"));
    }
    ZelImageStoredCache later(options);
    const auto read = later.retrieveOrCalc({.imageWithId = "p", .calc = calc});
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size, (CGSize{100, 50}));
    EXPECT_FALSE(later.cache().value({"p"})) << "what was read is not remembered";
    EXPECT_EQ(calls, 3);

    // Cut short, or no picture at all: computed anew and replaced.
    fs::resize_file(caches_ / "c/p.png", fs::file_size(caches_ / "c/p.png") - 5);
    EXPECT_FALSE(later.retrieveImage({.withId = "p"}));
    touch(caches_ / "c/q.png");
    for (const char* id : {"p", "q"})
        EXPECT_TRUE(later.retrieveOrCalc({.imageWithId = id, .calc = calc}));
    later.waitForWrites();
    EXPECT_EQ(calls, 5);
    EXPECT_TRUE(later.retrieveImage({.withId = "q"}));
}

TEST_F(StoredCacheTest, OldFilesGoWhenACacheIsMade)
{
    const fs::path folder = caches_ / "old";
    struct Case {
        const char* name;
        int days;
        bool stays;
    };
    const Case cases[] = {{"eight.png", 8, false},  {"six.png", 6, true},         {"eight.jpg", 8, false},
                          {"eight", 8, false},      {"below/eight.png", 8, true}, {".zel-1-0.tmp", 2, false},
                          {".zel-1-1.tmp", 0, true}};
    for (const Case& c : cases) {
        touch(folder / c.name);
        age(folder / c.name, c.days);
    }
    fs::create_symlink(folder / "six.png", folder / "link.png");
    ZelImageStoredCache({.name = "old", .removeItemsAfterDays = 7, .mode = Mode::png}).waitForWrites();
    for (const Case& c : cases)
        EXPECT_EQ(fs::exists(folder / c.name), c.stays) << c.name;
    ZelImageStoredCache({.name = "old", .removeItemsAfterDays = 0, .mode = Mode::png}).waitForWrites();
    EXPECT_FALSE(fs::exists(folder / "six.png"));
    EXPECT_TRUE(fs::is_symlink(folder / "link.png"));
    EXPECT_TRUE(fs::exists(folder / ".zel-1-1.tmp")) << "somebody is writing it";
    for (const std::int64_t days : {INT64_MAX, INT64_MIN})
        ZelImageStoredCache({.name = "old", .removeItemsAfterDays = days, .mode = Mode::png}).waitForWrites();
}

TEST_F(StoredCacheTest, NamesLeadNowhereElse)
{
    // Old files wherever a name might lead, among them those that the names themselves would be.
    const fs::path sentinels[] = {base_ / "old.png",       caches_ / "old.png", caches_ / "x.png",
                                  caches_ / "other/a.png", base_ / "x.png",     caches_ / "safe/a/b.png",
                                  caches_ / "a/b/s.png"};
    for (const fs::path& sentinel : sentinels) {
        touch(sentinel);
        age(sentinel, 1000);
    }
    const std::string bad[] = {"../../x", "../x", "../other/a", "a/b", std::string("n\0l", 3), std::string(300, 'x'),
                               "/etc/x"};
    int calls = 0;
    ZelImageStoredCache cache({.name = "safe", .removeItemsAfterDays = 0, .mode = Mode::png});
    for (const std::string& id : bad) {
        EXPECT_TRUE(cache.imageUrl({.with = id}).isEmpty());
        cache.store(picture(2, 2), {.withId = id});
        EXPECT_FALSE(cache.retrieveImage({.withId = id}));
        const auto computed = cache.retrieveOrCalc({.imageWithId = id, .calc = [&] { return ++calls, picture(2, 2); }});
        EXPECT_EQ(cache.retrieveOrCalc({.imageWithId = id, .calc = [&] { return ++calls, picture(2, 2); }}), computed);
    }
    EXPECT_EQ(calls, static_cast<int>(std::size(bad))) << "remembered in memory all the same";
    for (const std::string& name : {std::string(".."), std::string(), std::string("."), std::string("a/b"),
                                    std::string("../other"), std::string("a\0b", 3), std::string(300, 'x')}) {
        ZelImageStoredCache outside({.name = name, .removeItemsAfterDays = 0, .mode = Mode::png});
        outside.store(picture(2, 2), {.withId = "s"});
        outside.removeOldItems();
        outside.waitForWrites();
        EXPECT_TRUE(outside.imageUrl({.with = "s"}).isEmpty());
        EXPECT_FALSE(outside.retrieveImage({.withId = "s"}));
    }
    // Names that look odd and lead nowhere else.
    for (const char* id : {"", ".", "..", " ", "-x", "~", "%2F", "\xC3\xA9"}) {
        cache.store(picture(2, 2), {.withId = id});
        cache.waitForWrites();
        EXPECT_TRUE(cache.retrieveImage({.withId = id})) << id;
        EXPECT_EQ(cache.imageUrl({.with = id}).filePath(), caches_ / "safe" / (std::string(id) + ".png"));
    }
    for (const fs::path& sentinel : sentinels) {
        std::string text;
        std::getline(std::ifstream(sentinel), text);
        EXPECT_EQ(text, "some bytes") << sentinel;
    }
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(base_))
        files += entry.is_regular_file() ? 1U : 0U;
    EXPECT_EQ(files, std::size(sentinels) + 8) << "the sentinels and what is safe";
}

TEST_F(StoredCacheTest, ThreadsShareACache)
{
    // Two caches of one folder, one of which removes whatever it finds.
    ZelImageStoredCache cache({.name = "shared", .removeItemsAfterDays = 1, .mode = Mode::heif});
    ZelImageStoredCache broom({.name = "shared", .removeItemsAfterDays = 0, .mode = Mode::heif});
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) {
                const std::string id = std::to_string((i * 7 + t) % 5);
                const auto image = cache.retrieveOrCalc({.imageWithId = id, .calc = [] { return picture(16, 16); }});
                wrong += image && image->size == CGSize{16, 16} ? 0 : 1;
                if (i % 4 == t % 4)
                    cache.store(picture(16, 16, std::uint8_t(10 * t)), {.withId = id});
                if (const auto read = broom.retrieveImage({.withId = id}))
                    wrong += read->bitmapRep() && read->size == CGSize{16, 16} ? 0 : 1;
                if (i % 10 == 0)
                    broom.removeOldItems();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    cache.waitForWrites();
    broom.waitForWrites();
    EXPECT_EQ(wrong, 0);
    for (const auto& entry : fs::directory_iterator(caches_ / "shared"))
        EXPECT_EQ(entry.path().extension(), ".jpg") << "what was being written";
}

} // namespace
} // namespace zel
