#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <zel/support/colors.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using Json = nlohmann::json;

Painter flat(Pixel color)
{
    return [color](int, int) { return color; };
}

/// Black, but for one pixel.
Pixel oneGrey(int x, int y)
{
    return x == 3 && y == 2 ? Pixel{51, 51, 51, 255} : Pixel{0, 0, 0, 255};
}

TEST(Average, IsTextAndJson)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(2, 1, [](int x, int) {
                   return x == 0 ? Pixel{200, 100, 0, 255} : Pixel{9, 9, 255, 0};
               }));
    folder.put("old.txt", "old");
    const auto text = zel(folder, {"average", "a.png", "-o", "old.txt"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "");
    EXPECT_EQ(folder.text("old.txt"), "COLOR      RED     GREEN   BLUE  ALPHA   FILE\n"
                                      "#c8640080  200.00  100.00  0.00  127.50  a.png\n");
    const auto facts = Json::parse(zel(folder, {"average", "a.png", "--json"}).out).at("inputs").at(0);
    EXPECT_EQ(facts.at("color").get<std::string>(), "#c8640080");
    EXPECT_EQ(facts.at("average").get<std::vector<double>>(), (std::vector{200.0, 100.0, 0.0, 127.5}));
    EXPECT_EQ(zel(folder, {"average", "none.png", "-o", "old.txt"}).status, 3);
    EXPECT_THAT(folder.text("old.txt"), HasSubstr("#c8640080")) << "nothing takes the place of what stands there";
}

TEST(Colors, AreTextJsonAndSwatches)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 2, [](int x, int y) {
                   return Pixel{static_cast<std::uint8_t>(x < 2 ? 0 : 255), static_cast<std::uint8_t>(100 * y), 0, 255};
               }));
    EXPECT_EQ(zel(folder, {"colors", "a.png", "--grid", "2x2"}).out, "#000000 #ff0000\n#006400 #ff6400\n");

    ASSERT_EQ(zel(folder, {"colors", "a.png", "--grid", "2x1", "-o", "a.json"}).status, 0);
    const auto document = Json::parse(folder.text("a.json"));
    EXPECT_EQ(document.at("version").get<int>(), 1);
    EXPECT_EQ(document.at("columns").get<int>(), 2);
    const auto colors = ZelImageHelper::decodeColorList(folder.text("a.json"));
    ASSERT_TRUE(colors && colors->size() == 2);
    EXPECT_NEAR(colors->back().greenComponent, 50 / 255.0, 1e-6);

    ASSERT_EQ(zel(folder, {"colors", "a.png", "--grid", "2x2", "--swatch", "3", "-o", "b.png"}).status, 0);
    const auto pixels = pixelsOfFile(folder.text("b.png"));
    ASSERT_EQ(sidesOf(folder.text("b.png")), (Sides{6, 6}));
    EXPECT_EQ(pixels[2], (Pixel{0, 0, 0, 255}));
    EXPECT_EQ(pixels[3], (Pixel{255, 0, 0, 255}));
    EXPECT_EQ(pixels[3 * 6 + 5], (Pixel{255, 100, 0, 255}));
}

TEST(Compare, MeasuresEveryPixel)
{
    const TemporaryFolder folder;
    folder.put("black.png", pngFile(10, 10, flat({0, 0, 0, 255})));
    folder.put("grey.png", pngFile(10, 10, oneGrey));
    folder.put("white.png", pngFile(10, 10, flat({255, 255, 255, 255})));
    folder.put("clear.png", pngFile(10, 10, flat({70, 80, 90, 0})));
    folder.put("clear2.png", pngFile(10, 10, flat({1, 2, 3, 0})));
    folder.put("small.png", pngFile(10, 9, flat({0, 0, 0, 255})));
    const struct {
        std::vector<std::string> words;
        int status;
        double mean, largest, differing;
        Json psnr;
        double grid;
    } cases[] = {
        {{"black.png", "black.png"}, 0, 0, 0, 0, nullptr, 0},
        {{"black.png", "black.png", "--fail-above", "0"}, 0, 0, 0, 0, nullptr, 0},
        {{"black.png", "grey.png"}, 0, 0.51, 51, 1, 33.9794, 0.392},
        {{"black.png", "grey.png", "--fail-above", "0"}, 1, 0.51, 51, 1, 33.9794, 0.392},
        {{"black.png", "grey.png", "--fail-above", "1"}, 0, 0.51, 51, 1, 33.9794, 0.392},
        {{"black.png", "grey.png", "--fail-above", "0", "--tolerance", "51"}, 0, 0.51, 51, 0, 33.9794, 0.392},
        {{"black.png", "white.png", "--fail-above", "99.9"}, 1, 255, 255, 100, 0.0, 100},
        {{"clear.png", "clear2.png"}, 0, 0, 0, 0, nullptr, 0},
        {{"clear.png", "black.png"}, 0, 63.75, 255, 100, 6.0206, 0},
    };
    for (const auto& c : cases) {
        std::vector<std::string> words = {"compare", "--json", "--grid", "1x1"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        SCOPED_TRACE(::testing::PrintToString(words));
        const auto ended = zel(folder, words);
        EXPECT_EQ(ended.status, c.status) << ended.err;
        const auto facts = Json::parse(ended.out).at("inputs").at(0);
        EXPECT_EQ(facts.at("reference").get<std::string>(), c.words[0]);
        EXPECT_NEAR(facts.at("mean").get<double>(), c.mean, 1e-6);
        EXPECT_EQ(facts.at("largest").get<double>(), c.largest);
        EXPECT_NEAR(facts.at("differing").get<double>(), c.differing, 1e-6);
        EXPECT_NEAR(facts.at("grid").get<double>(), c.grid, 0.01); // 0.51 rounds to 1 of 255
        EXPECT_EQ(facts.at("psnr").is_null(), c.psnr.is_null());
        if (!c.psnr.is_null()) {
            EXPECT_NEAR(facts.at("psnr").get<double>(), c.psnr.get<double>(), 1e-3);
        }
        EXPECT_EQ(facts.contains("exceeds"), c.words.size() > 2);
    }
    const auto sizes = zel(folder, {"compare", "black.png", "small.png"});
    EXPECT_EQ(sizes.status, 2);
    EXPECT_EQ(sizes.err, "zel compare: small.png: 10 x 9 pixels cannot be compared with 10 x 10\n");
    EXPECT_EQ(zel(folder, {"compare", "none.png", "black.png"}).status, 3);
    EXPECT_EQ(zel(folder, {"compare", "black.png", "none.png", "grey.png"}).status, 1);
}

TEST(Compare, DrawsWhereTheyDiffer)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(5, 4, flat({0, 0, 0, 255})));
    folder.put("b.png", pngFile(5, 4, oneGrey));
    ASSERT_EQ(zel(folder, {"compare", "a.png", "b.png", "--map", "out/map.png"}).status, 0);
    const auto pixels = pixelsOfFile(folder.text("out/map.png"));
    ASSERT_EQ(pixels.size(), 20U);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        EXPECT_EQ(pixels[i][1], i == 2 * 5 + 3 ? 255 : 0) << i;
}

TEST(MaskVerb, KeepsColoursAndReplacesAlpha)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 4, flat({200, 100, 50, 255})));
    folder.put("faded.png", pngFile(4, 4, flat({200, 100, 50, 51})));
    folder.put("mask.png", pngFile(4, 4, [](int x, int) {
                   return x < 2 ? Pixel{0, 0, 0, 255} : Pixel{128, 128, 128, 255};
               }));
    folder.put("shape.png", pngFile(4, 4, flat({0, 0, 0, 77})));
    ASSERT_EQ(zel(folder, {"mask", "a.png", "faded.png", "-o", "out/", "--mask", "mask.png"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("out/a.png"))[3], (Pixel{200, 100, 50, 128}));
    EXPECT_EQ(pixelsOfFile(folder.text("out/a.png"))[0][3], 0);
    EXPECT_EQ(pixelsOfFile(folder.text("out/faded.png"))[3], (Pixel{200, 100, 50, 128}));
    ASSERT_EQ(zel(folder, {"mask", "a.png", "-o", "b.png", "--mask", "shape.png", "--by", "alpha"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("b.png"))[0], (Pixel{200, 100, 50, 77}));
    EXPECT_EQ(zel(folder, {"mask", "a.png", "-o", "c.png", "--mask", "none.png"}).status, 3);
}

} // namespace
} // namespace zel::testing
