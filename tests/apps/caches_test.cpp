#include "apps/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// `cache`: what it tells of caches, what it removes, and that nothing else goes.
namespace zel::testing {
namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

class Caches : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"desk/thumbs/below", "desk/pages", "other/thumbs"})
            fs::create_directories(folder_ / name);
        put("desk/thumbs/new.png", 100, 0);
        put("desk/thumbs/old.jpg", 2000, 10);
        put("desk/thumbs/below/old.png", 1, 10);
        put("desk/thumbs/.zel-1-0.tmp", 1, 0);
        put("desk/pages/a.png", 30, 40);
        // What must not be touched.
        put("desk/loose.png", 1, 1000);
        put("other/thumbs/old.png", 1, 1000);
        put("outside.png", 1, 1000);
        fs::create_symlink(folder_ / "outside.png", folder_ / "desk/thumbs/link.png");
        fs::create_symlink(folder_ / "other/thumbs", folder_ / "desk/linked");
    }
    void put(const std::string& name, std::size_t bytes, int days) const
    {
        folder_.put(name, std::string(bytes, 'x'));
        fs::last_write_time(folder_ / name, fs::file_time_type::clock::now() - std::chrono::hours(24 * days + 1));
    }
    [[nodiscard]] Ended cache(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"cache", "--application", "desk"});
        return zel(folder_,
                   Command{.words = std::move(words), .environment = {"XDG_CACHE_HOME=" + folder_.path().string()}});
    }
    /// Regular files, by their paths in the folder.
    [[nodiscard]] std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(folder_.path()))
            if (entry.symlink_status().type() == fs::file_type::regular)
                names.push_back(fs::relative(entry.path(), folder_.path()).string());
        std::sort(names.begin(), names.end());
        return names;
    }
    TemporaryFolder folder_{true};
};

TEST_F(Caches, AreListedAndCounted)
{
    EXPECT_EQ(cache({"stats"}).out, "CACHE   FILES  SIZE\n"
                                    "pages   1      30 bytes\n"
                                    "thumbs  3      2.1 kB\n");
    const auto list = cache({"list", "thumbs"}).out;
    for (const char* line : {"thumbs  new.png       100 bytes  20", "thumbs  old.jpg       2.0 kB     20"})
        EXPECT_THAT(list, HasSubstr(line));
    EXPECT_THAT(list, Not(HasSubstr("link.png")));
    const Command nowhere{.words = {"cache", "list"}, .environment = {"XDG_CACHE_HOME=" + (folder_ / "no").string()}};
    EXPECT_EQ(zel(folder_, nowhere).status, 0) << "no caches are no failure";
}

TEST_F(Caches, LoseWhatIsOldOrAll)
{
    const auto before = files();
    EXPECT_THAT(cache({"prune", "--older-than", "7", "--dry-run"}).out, HasSubstr("old.jpg"));
    EXPECT_THAT(cache({"clear", "--all", "--dry-run"}).out, HasSubstr("new.png"));
    EXPECT_EQ(files(), before);

    EXPECT_EQ(cache({"prune", "--older-than", "20"}).status, 0);
    const std::vector<std::string> outside = {"desk/loose.png", "desk/thumbs/.zel-1-0.tmp", "desk/thumbs/below/old.png",
                                              "other/thumbs/old.png", "outside.png"};
    auto left = outside;
    left.insert(left.begin() + 3, {"desk/thumbs/new.png", "desk/thumbs/old.jpg"});
    EXPECT_EQ(files(), left) << "the page of forty days";
    const auto cleared = cache({"clear", "thumbs", "-v"});
    EXPECT_EQ(cleared.out, "");
    EXPECT_EQ(cleared.err, "zel cache: thumbs/new.png: removed\nzel cache: thumbs/old.jpg: removed\n");
    EXPECT_EQ(files(), outside) << "what is being written, links and folders stay";
    EXPECT_TRUE(fs::is_symlink(folder_ / "desk/thumbs/link.png"));
}

TEST_F(Caches, NamesLeadNowhereElse)
{
    const auto before = files();
    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } cases[] = {
        {{"clear", ".."}, 2, "'..' cannot be the name of a cache"},
        {{"clear", ""}, 2, "'' cannot be the name of a cache"},
        {{"clear", "."}, 2, "cannot be the name"},
        {{"clear", "../other/thumbs"}, 2, "cannot be the name"},
        {{"clear", "/"}, 2, "cannot be the name"},
        {{"clear", std::string(300, 'x')}, 2, "cannot be the name"},
        {{"prune", "..", "--older-than", "0"}, 2, "cannot be the name"},
        {{"list", ".."}, 2, "cannot be the name"},
        {{"clear", "linked"}, 3, "linked: no such cache"},
        {{"clear", "loose.png"}, 3, "no such cache"},
        {{"stats", "none"}, 3, "no such cache"},
        {{"clear"}, 2, "no cache (hint: zel cache clear NAME, or --all)"},
        {{"clear", "thumbs", "--all"}, 2, "exclude each other"},
        {{"prune"}, 2, "--older-than DAYS"},
        {{"prune", "--older-than=-1"}, 2, "not between"},
        {{"list", "--all"}, 2, "--all is for clear"},
        {{"stats", "--dry-run"}, 2, "--dry-run is for prune and clear"},
        {{"empty"}, 2, "'empty' is none of list, stats, prune, clear"},
        {{}, 2, "no action"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.says);
        const auto ended = cache(c.words);
        EXPECT_EQ(ended.status, c.status);
        EXPECT_THAT(ended.err, HasSubstr(c.says));
        EXPECT_EQ(files(), before);
    }
    for (const char* name : {"..", "", "a/b"}) {
        const Command elsewhere{.words = {"cache", "clear", "--all", "--application", name},
                                .environment = {"XDG_CACHE_HOME=" + folder_.path().string()}};
        EXPECT_EQ(zel(folder_, elsewhere).status, 2) << name;
    }
    EXPECT_EQ(files(), before);
}

} // namespace
} // namespace zel::testing
