#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

/// A PNG header that claims a size, with nothing behind it that would hold it.
std::string claim(int width, int height)
{
    std::string file = pngFile(1, 1);
    std::string header = pngFile(1, 1).substr(8, 25);
    for (int i = 0; i < 4; ++i) {
        header[static_cast<std::size_t>(8 + i)] = static_cast<char>(width >> (24 - 8 * i) & 0xFF);
        header[static_cast<std::size_t>(12 + i)] = static_cast<char>(height >> (24 - 8 * i) & 0xFF);
    }
    // The check sum over type and content.
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 4; i < 21; ++i) {
        crc ^= static_cast<std::uint8_t>(header[i]);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    }
    crc = ~crc;
    for (int i = 0; i < 4; ++i)
        header[static_cast<std::size_t>(21 + i)] = static_cast<char>(crc >> (24 - 8 * i) & 0xFF);
    file.replace(8, 25, header);
    return file;
}

/// Something that takes many bytes, so that half a file holds many rows.
Pixel noise(int x, int y)
{
    const auto value = static_cast<std::uint8_t>((x * 7919 + y * 104729) * 31 >> 3);
    return {value, static_cast<std::uint8_t>(value * 5), static_cast<std::uint8_t>(value * 11), 255};
}

struct Failing {
    std::string name;
    std::vector<std::string> words; ///< behind "convert"
    int status;
    std::string says; ///< a regular expression for the whole of standard error
};

const Failing failings[] = {
    {"missing", {"none.png", "-o", "c.jpg"}, 3, "zel convert: none\\.png: no such file\n"},
    {"in a missing folder", {"none/a.png", "-o", "c.jpg"}, 3, "zel convert: none/a\\.png: no such file\n"},
    {"empty", {"empty.png", "-o", "c.jpg"}, 3, "zel convert: empty\\.png: .*\n"},
    {"no picture", {"notes.png", "-o", "c.jpg"}, 3, "zel convert: notes\\.png: .*\n"},
    {"cut in the header", {"cut.png", "-o", "c.jpg"}, 3, "zel convert: cut\\.png: .*\n"},
    {"a pipe", {"pipe", "-o", "c.jpg"}, 3, "zel convert: pipe: a pipe, not a file\n"},
    {"too large for the memory",
     {"larger.png", "-o", "c.jpg", "--memory", "1G", "--max-pixels", "1G"},
     4,
     "zel convert: larger\\.png: 28000 x 28000 pixels need 3\\.1 GB, the limit is 1\\.0 GB \\(hint: --memory 4G\\)\n"},
    {"a little too large for the memory",
     {"huge.png", "-o", "c.jpg", "--memory", "1G"},
     4,
     "zel convert: huge\\.png: 16000 x 16000 pixels need .*, the limit is .* \\(hint: --memory 1025M\\)\n"},
    {"too many pixels",
     {"huge.png", "-o", "c.jpg", "--max-pixels", "10M"},
     4,
     "zel convert: huge\\.png: 16000 x 16000 are 256000000 pixels, the limit is 10000000 \\(hint: --max-pixels "
     "257M\\)\n"},
    {"a result that is too large", {"a.png", "-o", "c.png", "--memory", "5"}, 4, "zel convert: a\\.png: .*\n"},
    {"an output that is a folder", {"a.png", "-o", "folder/.", "--format", "png"}, 5, "zel convert: folder/\\.: .*\n"},
};

TEST(Status, ASingleInputTellsWhatFailed)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    folder.put("empty.png", "");
    folder.put("notes.png", "Dear diary, this is no picture.");
    folder.put("cut.png", pngFile(4, 3).substr(0, 20));
    folder.put("huge.png", claim(16000, 16000));
    folder.put("larger.png", claim(28000, 28000));
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const auto& [name, words, status, says] : failings) {
        SCOPED_TRACE(name);
        std::vector<std::string> all = {"convert"};
        all.insert(all.end(), words.begin(), words.end());
        const auto ended = zel(folder, all);
        EXPECT_EQ(ended.status, status);
        EXPECT_THAT(ended.err, MatchesRegex(says));
        EXPECT_EQ(ended.out, "");
        EXPECT_EQ(folder.text("c.jpg"), "absent");
    }
}

TEST(Status, SeveralInputsGoOnAndEndWithOne)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    folder.put("b.png", pngFile(4, 3));
    folder.put("cut.png", pngFile(4, 3).substr(0, 20));
    const auto ended = zel(folder, {"convert", "cut.png", "a.png", "none.png", "b.png", "-o", "out/"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.err, HasSubstr("zel convert: cut.png: "));
    EXPECT_THAT(ended.err, HasSubstr("zel convert: none.png: no such file\n"));
    EXPECT_THAT(ended.err, HasSubstr("zel convert: 2 of 4 done, 2 failed\n"));
    EXPECT_EQ(sidesOf(folder.text("out/a.png")), (Sides{4, 3}));
    EXPECT_EQ(sidesOf(folder.text("out/b.png")), (Sides{4, 3}));
}

TEST(Status, QuietSaysErrorsOnly)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    EXPECT_EQ(zel(folder, {"convert", "-q", "a.png", "none.png", "-o", "out/"}).err,
              "zel convert: none.png: no such file\n");
}

TEST(Status, VerboseSaysWhatWasWritten)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(40, 30));
    const auto ended = zel(folder, {"resize", "-v", "a.png", "-o", "b.png", "--width", "20"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err, HasSubstr("zel resize: a.png -> b.png: 20 x 15, "));
}

TEST(Status, SuccessIsSilent)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(40, 30));
    for (const std::vector<std::string>& words : {
             std::vector<std::string>{"resize", "a.png", "-o", "b.png", "--width", "20"},
             {"export", "a.png", "-o", "b.jpg", "--max-bytes", "700", "--max-side", "20"},
             {"thumbnail", "a.png", "-o", "out/"},
         }) {
        const auto ended = zel(folder, words);
        EXPECT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(ended.out + ended.err, "");
    }
}

// Half of the rows are there: a picture, and a warning.
TEST(Status, AFileThatEndsEarlyGivesAPictureAndAWarning)
{
    const TemporaryFolder folder;
    const auto whole = jpegFile(256, 256, noise);
    folder.put("cut.jpg", whole.substr(0, whole.size() * 3 / 4));
    const auto ended = zel(folder, {"convert", "cut.jpg", "-o", "c.png"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err, MatchesRegex("zel convert: cut\\.jpg: warning: .*\n"));
    EXPECT_EQ(sidesOf(folder.text("c.png")), (Sides{256, 256}));
    EXPECT_EQ(zel(folder, {"convert", "-q", "cut.jpg", "-o", "c.png"}).err, "");
}

TEST(Status, StrictMakesAWarningAFailure)
{
    const TemporaryFolder folder;
    const auto whole = jpegFile(256, 256, noise);
    folder.put("cut.jpg", whole.substr(0, whole.size() * 3 / 4));
    folder.put("c.png", "old");
    const auto ended = zel(folder, {"convert", "--strict", "cut.jpg", "-o", "c.png"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    EXPECT_EQ(folder.text("c.png"), "old");
    EXPECT_EQ(zel(folder, {"info", "--strict", "--average", "cut.jpg"}).status, 3);
}

TEST(Status, AMissingWatermarkEndsEverything)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    folder.put("b.png", pngFile(4, 3));
    const auto ended = zel(folder, {"watermark", "a.png", "b.png", "-o", "out/", "--watermark", "none.png"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.err, MatchesRegex("zel watermark: .*none\\.png: no such file\n"));
    EXPECT_FALSE(std::filesystem::exists(folder / "out"));
}

} // namespace
} // namespace zel::testing
