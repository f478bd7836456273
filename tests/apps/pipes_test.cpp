#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;

TEST(Pipes, APictureGoesThrough)
{
    const TemporaryFolder folder;
    const auto ended = zel(folder, {.words = {"resize", "-", "-o", "-", "--width", "20"}, .input = pngFile(40, 30)});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(formatOf(ended.out), "png");
    EXPECT_EQ(sidesOf(ended.out), (Sides{20, 15}));
    EXPECT_TRUE(folder.names().empty());
}

TEST(Pipes, StandardInputGoesIntoAFile)
{
    const TemporaryFolder folder;
    EXPECT_EQ(zel(folder, {.words = {"convert", "-", "-o", "out/{stem}.{ext}"}, .input = jpegFile(8, 9)}).status, 0);
    EXPECT_EQ(sidesOf(folder.text("out/stdin.jpg")), (Sides{8, 9}));
}

TEST(Pipes, AFileGoesToStandardOutputInAnotherFormat)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    EXPECT_EQ(formatOf(zel(folder, {"convert", "a.png", "-o", "-", "--format", "jpeg"}).out), "jpeg");
}

TEST(Pipes, FailuresNameStandardInput)
{
    const TemporaryFolder folder;
    const auto ended = zel(folder, {.words = {"convert", "-", "-o", "-"}, .input = "no picture at all"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.err.rfind("zel convert: standard input: ", 0), 0U) << ended.err;
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(zel(folder, {.words = {"info", "-"}, .input = ""}).status, 3);
}

TEST(Pipes, NamesComeFromStandardInput)
{
    const TemporaryFolder folder;
    folder.put("a b.png", pngFile(4, 3));
    folder.put("c.png", pngFile(4, 3));
    const Command command = {.words = {"convert", "--files-from", "-", "-0", "-o", "out"},
                             .input = std::string("a b.png\0c.png\0", 14)};
    EXPECT_EQ(zel(folder, command).status, 0);
    EXPECT_EQ(sidesOf(folder.text("out/a b.png")), (Sides{4, 3}));
    EXPECT_EQ(sidesOf(folder.text("out/c.png")), (Sides{4, 3}));
}

TEST(Pipes, AReaderThatWentAwayIsAnOutputThatCannotBeWritten)
{
    if (!isInstalled("bash"))
        GTEST_SKIP() << "bash is not installed";
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(400, 300));
    for (const char* const verb : {"convert a.png -o - --format png", "info --jsonl a.png"}) {
        const std::string line =
            std::string("trap '' PIPE; { sleep 0.3; \"$0\" ") + verb + "; echo $? >status; } | true";
        const auto ended = zel(folder, {.words = {}, .before = {"bash", "-c", line}});
        EXPECT_EQ(folder.text("status"), "5\n") << verb;
        EXPECT_THAT(ended.err, HasSubstr("standard output")) << verb;
    }
}

TEST(Pipes, AFullDeviceIsAnOutputThatCannotBeWritten)
{
    if (!isInstalled("bash") || access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "no device here that is always full";
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    for (const char* const verb : {"convert a.png -o - --format png", "info a.png", "version", "formats"}) {
        const auto ended =
            zel(folder, {.words = {}, .before = {"bash", "-c", std::string("\"$0\" ") + verb + " >/dev/full"}});
        EXPECT_EQ(ended.status, 5) << verb;
    }
}

} // namespace
} // namespace zel::testing
