#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;

struct Change {
    std::string name;
    Sides from;
    std::vector<std::string> words; ///< before the file and behind the verb's own
    int status;
    Sides to;
    std::string says;
};

const Change changes[] = {
    {"a quarter turn", {64, 48}, {"rotate", "--by", "90"}, 0, {48, 64}, "a.jpg -> c.jpg: 48 x 64, .*coded data kept\n"},
    {"the other way", {64, 48}, {"rotate", "--by", "-90"}, 0, {48, 64}, ".*coded data kept\n"},
    {"one and a quarter", {64, 48}, {"rotate", "--by", "450"}, 0, {48, 64}, ".*coded data kept\n"},
    {"a part", {64, 48}, {"crop", "--rect", "16,32,20,100"}, 0, {20, 16}, ".*coded data kept\n"},
    {"a part within blocks", {64, 48}, {"crop", "--rect", "8,0,20,10"}, 2, {}, "zel crop: a.jpg: .*16 x 16.*\n"},
    {"as it is", {61, 37}, {"convert"}, 0, {61, 37}, ".*coded data kept\n"},
    {"quietly", {64, 48}, {"rotate", "-q", "--by", "180"}, 0, {64, 48}, ""},
    {"an edge in the way", {61, 37}, {"rotate", "--by", "180"}, 3, {}, "zel rotate: a.jpg: .*16 x 16.*\n"},
    {"an edge given up", {61, 37}, {"rotate", "--by", "180", "--trim"}, 0, {48, 32}, ".*coded data kept\n"},
};

TEST(Lossless, KeepsTheCodedDataAndSaysSo)
{
    for (const auto& [name, from, words, status, to, says] : changes) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder(true);
        folder.put("a.jpg", jpegFile(from.width, from.height));
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--lossless", "a.jpg", "-o", "c.jpg"});
        const auto ended = zel(folder, all);
        EXPECT_EQ(ended.status, status);
        EXPECT_THAT(ended.err, ::testing::ContainsRegex(says));
        EXPECT_EQ(sidesOf(folder.text("c.jpg")), to);
    }
}

TEST(Lossless, TurnsClockwise)
{
    const TemporaryFolder folder(true);
    folder.put("a.jpg", jpegFile(64, 48));
    ASSERT_EQ(zel(folder, {"rotate", "--by", "90", "--lossless", "a.jpg", "-o", "c.jpg"}).status, 0);
    const auto before = pixelsOfFile(folder.text("a.jpg")), after = pixelsOfFile(folder.text("c.jpg"));
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t y = 0; y < 64; ++y)
        for (std::size_t x = 0; x < 48; ++x)
            for (std::size_t component = 0; component < 3; ++component)
                ASSERT_NEAR(after[y * 48 + x][component], before[(47 - x) * 64 + y][component], 3);
}

TEST(Lossless, ChangesTheResolutionAlone)
{
    const TemporaryFolder folder(true);
    const std::string before = jpegFile(61, 37);
    folder.put("a.jpg", before);
    const auto ended = zel(folder, {"convert", "--lossless", "--dpi", "300", "--json", "a.jpg", "-o", "c.jpg"});
    EXPECT_THAT(ended.out, HasSubstr("\"lossless\": true"));
    std::string expected = before;
    expected.replace(13, 5, std::string("\1\1\x2C\1\x2C", 5)); // dots an inch, 300 and 300
    EXPECT_EQ(folder.text("c.jpg"), expected);
}

TEST(Lossless, WrongUsageIsSaidBeforeAnyWork)
{
    const struct {
        std::vector<std::string> words;
        std::string says;
    } cases[] = {
        {{"rotate", "--by", "45", "a.jpg", "-o", "c.jpg", "--lossless"}, "90, 180 or 270"},
        {{"rotate", "--by", "90", "a.jpg", "-o", "c.png", "--lossless"}, "the output is png"},
        {{"rotate", "--by", "90", "a.jpg", "-o", "c.jpg", "--trim"}, "goes with --lossless"},
        {{"convert", "a.jpg", "-o", "c.jpg", "--lossless", "--quality", "3"}, "anew"},
        {{"convert", "a.jpg", "-o", "c.jpg", "--lossless", "--background", "red"}, "--background"},
    };
    const TemporaryFolder folder(true);
    folder.put("a.jpg", jpegFile(64, 48));
    for (const auto& [words, says] : cases) {
        const auto ended = zel(folder, words);
        EXPECT_EQ(ended.status, 2) << says;
        EXPECT_THAT(ended.err, HasSubstr(says));
    }
    folder.put("b.png", pngFile(16, 16));
    const auto ended = zel(folder, {"rotate", "--by", "90", "--lossless", "b.png", "-o", "c.jpg"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.err, HasSubstr("b.png: it is no JPEG but png"));
    EXPECT_EQ(folder.text("c.jpg"), "absent");
}

} // namespace
} // namespace zel::testing
