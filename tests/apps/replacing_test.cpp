#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace zel::testing {
namespace {

struct Replacing {
    std::string name;
    std::vector<std::string> words; ///< behind "convert a.png"
    int status;
    bool replaced; ///< whether out/a.png was
    std::string says;
};

const Replacing replacings[] = {
    {"a named file", {"-o", "out/a.png"}, 0, true, ""},
    {"a folder",
     {"-o", "out"},
     5,
     false,
     "zel convert: out/a.png: exists already (hint: --force or --skip-existing)\n"},
    {"a pattern",
     {"-o", "out/{stem}.{ext}"},
     5,
     false,
     "zel convert: out/a.png: exists already (hint: --force or --skip-existing)\n"},
    {"a folder by force", {"-o", "out", "--force"}, 0, true, ""},
    {"a pattern by force", {"-o", "out/{stem}.png", "--force"}, 0, true, ""},
    {"a named file, existing ones skipped", {"-o", "out/a.png", "--skip-existing"}, 0, false, ""},
    {"a folder, existing ones skipped", {"-o", "out", "--skip-existing"}, 0, false, ""},
    {"a dry run of a named file", {"-o", "out/a.png", "--dry-run"}, 0, false, ""},
    {"a dry run of a folder tells",
     {"-o", "out", "--dry-run"},
     5,
     false,
     "zel convert: out/a.png: exists already (hint: --force or --skip-existing)\n"},
    {"--in-place is no force",
     {"-o", "out", "--in-place"},
     5,
     false,
     "zel convert: out/a.png: exists already (hint: --force or --skip-existing)\n"},
    {"sides that make an existing name",
     {"-o", "out/{width}.png", "--format", "png"},
     5,
     false,
     "zel convert: out/4.png: exists already (hint: --force or --skip-existing)\n"},
};

TEST(Replacing, OnlyWhatWasNamedOrForced)
{
    for (const auto& [name, words, status, replaced, says] : replacings) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder;
        folder.put("a.png", pngFile(4, 3));
        std::filesystem::create_directory(folder / "out");
        folder.put("out/a.png", "old");
        folder.put("out/4.png", "old");
        std::vector<std::string> all = {"convert", "a.png"};
        all.insert(all.end(), words.begin(), words.end());
        const auto ended = zel(folder, all);
        EXPECT_EQ(ended.status, status);
        EXPECT_EQ(ended.err, says);
        EXPECT_EQ(folder.text("out/a.png") != "old", replaced);
        EXPECT_EQ(folder.text("out/4.png"), "old");
        EXPECT_EQ(folder.text("a.png"), pngFile(4, 3));
    }
}

TEST(Replacing, InPlaceChangesTheFilesThemselves)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(40, 30));
    folder.put("b.jpg", jpegFile(20, 30));
    ASSERT_EQ(chmod((folder / "a.png").c_str(), 0640), 0);
    EXPECT_EQ(zel(folder, {"resize", "a.png", "b.jpg", "--in-place", "--width", "10"}).status, 0);
    EXPECT_EQ(sidesOf(folder.text("a.png")), (Sides{10, 8}));
    EXPECT_EQ(sidesOf(folder.text("b.jpg")), (Sides{10, 15}));
    EXPECT_EQ(formatOf(folder.text("b.jpg")), "jpeg");
    struct stat facts = {};
    ASSERT_EQ(stat((folder / "a.png").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0640U);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.png", "b.jpg"}));
}

TEST(Replacing, InPlaceFollowsALinkAndKeepsIt)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(40, 30));
    ASSERT_EQ(symlink("a.png", (folder / "link.png").c_str()), 0);
    EXPECT_EQ(zel(folder, {"resize", "link.png", "--in-place", "--width", "10"}).status, 0);
    EXPECT_EQ(sidesOf(folder.text("a.png")), (Sides{10, 8}));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.png"));
}

TEST(Replacing, AFailureInPlaceLeavesTheFile)
{
    const TemporaryFolder folder;
    const std::string broken = pngFile(4, 3).substr(0, 30);
    folder.put("a.png", broken);
    EXPECT_EQ(zel(folder, {"resize", "a.png", "--in-place", "--width", "10"}).status, 3);
    EXPECT_EQ(folder.text("a.png"), broken);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.png"});
}

TEST(Replacing, NewFoldersAreMade)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    EXPECT_EQ(zel(folder, {"convert", "a.png", "-o", "one/two/three.jpg"}).status, 0);
    EXPECT_EQ(sidesOf(folder.text("one/two/three.jpg")), (Sides{4, 3}));
}

TEST(Replacing, WhatIsNoFileIsRefused)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    ASSERT_EQ(mkfifo((folder / "pipe.png").c_str(), 0600), 0);
    for (const char* const output : {"pipe.png", "/dev/null", "a.png/b.png"}) {
        SCOPED_TRACE(output);
        const auto ended = zel(folder, {"convert", "a.png", "-o", output, "--format", "png"});
        EXPECT_EQ(ended.status, 5);
        EXPECT_EQ(ended.err.rfind(std::string("zel convert: ") + output + ": ", 0), 0U) << ended.err;
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.png", "pipe.png"}));
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe.png"));
}

TEST(Replacing, AFolderThatMayNotBeWrittenKeepsItsFile)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    if (access("/proc/version", F_OK) != 0)
        GTEST_SKIP() << "no file system here that refuses everyone";
    const auto ended = zel(folder, {"convert", "a.png", "-o", "/proc/zel.png"});
    EXPECT_EQ(ended.status, 5);
    EXPECT_EQ(ended.err.rfind("zel convert: /proc/zel.png: ", 0), 0U) << ended.err;
}

} // namespace
} // namespace zel::testing
