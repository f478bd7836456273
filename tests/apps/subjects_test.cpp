#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using Json = nlohmann::json;

/// Squares of green on a clear ground: two of 4 pixels a side, in a row, and one lower; a single pixel; a ring.
std::string sheet()
{
    return pngFile(40, 30, [](int x, int y) {
        const auto isIn = [&](int left, int top, int side) {
            return x >= left && y >= top && x < left + side && y < top + side;
        };
        const bool isRing = isIn(20, 15, 8) && !isIn(22, 17, 4);
        const bool isSubject = isIn(20, 2, 4) || isIn(2, 2, 4) || isIn(5, 20, 4) || isIn(38, 28, 1) || isRing;
        return isSubject ? Pixel{0, 200, 0, 255} : Pixel{0, 0, 0, 0};
    });
}

TEST(Subjects, BecomeFilesInTheirOrder)
{
    const TemporaryFolder folder;
    folder.put("sheet.png", sheet());
    const auto ended = zel(folder, {"subjects", "sheet.png", "-o", "cut/", "--min-pixels", "2", "--padding", "1",
                                    "--fill-holes", "--json", "--boxes", "boxes.json"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    const Json subjects = Json::parse(ended.out)["inputs"][0]["subjects"];
    const Json expected = {
        {{"output", "cut/sheet-1.png"}, {"box", {2, 2, 4, 4}}, {"crop", {1, 1, 7, 7}}, {"pixels", 16}},
        {{"output", "cut/sheet-2.png"}, {"box", {20, 2, 4, 4}}, {"crop", {19, 1, 7, 7}}, {"pixels", 16}},
        {{"output", "cut/sheet-3.png"}, {"box", {20, 15, 8, 8}}, {"crop", {19, 14, 11, 11}}, {"pixels", 48}},
        {{"output", "cut/sheet-4.png"}, {"box", {5, 20, 4, 4}}, {"crop", {4, 19, 7, 7}}, {"pixels", 16}},
    };
    EXPECT_EQ(subjects, expected);
    const Json boxes = Json::parse(folder.text("boxes.json"));
    EXPECT_EQ(boxes["inputs"][0]["subjects"], expected);
    EXPECT_EQ(boxes["inputs"][0]["width"], 40);
    const auto ring = pixelsOfFile(folder.text("cut/sheet-3.png"));
    ASSERT_EQ(ring.size(), 121U);
    EXPECT_EQ(ring[5 * 11 + 5], (Pixel{0, 0, 0, 255})) << "the closed hole";
    EXPECT_EQ(ring[0], (Pixel{0, 0, 0, 0}));
}

TEST(Subjects, TakePatternsAndReplaceNothingUnasked)
{
    const TemporaryFolder folder;
    folder.put("sheet.png", sheet());
    const std::vector<std::string> words = {"subjects", "sheet.png", "-o", "{stem}/{n:02}-{width}.{ext}"};
    ASSERT_EQ(zel(folder, words).status, 0);
    EXPECT_EQ(sidesOf(folder.text("sheet/01-5.png")), (Sides{5, 5}));
    EXPECT_EQ(sidesOf(folder.text("sheet/05-2.png")), (Sides{2, 2})) << "the single pixel, one more behind";
    const auto again = zel(folder, words);
    EXPECT_EQ(again.status, 5);
    EXPECT_THAT(again.err, HasSubstr("exists already"));
    const struct {
        std::vector<std::string> flags;
        int status;
    } more[] = {{{"--force"}, 0}, {{"--skip-existing"}, 0}, {{"--dry-run"}, 0}, {{"--threshold", "256"}, 2}};
    for (const auto& [flags, status] : more) {
        auto all = words;
        all.insert(all.end(), flags.begin(), flags.end());
        EXPECT_EQ(zel(folder, all).status, status) << flags[0];
    }
}

TEST(Subjects, RefuseNamesForOnePicture)
{
    const TemporaryFolder folder;
    folder.put("sheet.png", sheet());
    for (const char* const output : {"one.png", "-", "{stem}.png", "{n}-{row}.png"}) {
        const auto ended = zel(folder, {"subjects", "sheet.png", "-o", output});
        EXPECT_EQ(ended.status, 2) << output << ended.err;
    }
    EXPECT_EQ(zel(folder, {"subjects", "sheet.png", "--in-place"}).status, 2);
    EXPECT_EQ(zel(folder, {"subjects", "sheet.png", "-o", "cut/", "--boxes", "sheet.png"}).status, 2);
}

TEST(Key, TakesAColourOutOfAFile)
{
    const TemporaryFolder folder;
    folder.put("sheet.png", sheet());
    folder.put("a.png", pngFile(3, 1, [](int x, int) {
                   return Pixel{static_cast<std::uint8_t>(100 + x), 50, 9, 255};
               }));
    ASSERT_EQ(zel(folder, {"key", "a.png", "-o", "b.png", "--color", "#643209", "--tolerance", "1"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("b.png")), (std::vector<Pixel>{{0, 0, 0, 0}, {0, 0, 0, 0}, {102, 50, 9, 255}}));
    ASSERT_EQ(zel(folder, {"fill", "a.png", "-o", "c.png", "--color", "#0102ff"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("c.png")), (std::vector<Pixel>(3, {1, 2, 255, 255})));
    ASSERT_EQ(zel(folder, {"fill-holes", "sheet.png", "-o", "d.png", "--color", "white"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("d.png"))[18 * 40 + 23], (Pixel{255, 255, 255, 255}));
    EXPECT_EQ(zel(folder, {"key", "a.png", "-o", "e.png"}).status, 2) << "no colour";
    EXPECT_EQ(zel(folder, {"key", "a.png", "-o", "e.png", "--color", "#000", "--tolerance", "nan"}).status, 2);
}

} // namespace
} // namespace zel::testing
