#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <zel/core/image.h>

#include <gtest/gtest.h>

#include <cmath>

namespace zel::testing {
namespace {

struct Sizing {
    std::string name;
    std::string verb;
    std::vector<std::string> flags;
    Sides from, to;
};

const Sizing sizings[] = {
    {"a width", "resize", {"--width", "50"}, {100, 40}, {50, 20}},
    {"a width, the height rounded up", "resize", {"--width", "16"}, {60, 40}, {16, 11}},
    {"a height", "resize", {"--height", "20"}, {100, 40}, {50, 20}},
    {"a width that enlarges", "resize", {"--width", "200"}, {100, 40}, {200, 80}},
    {"unless that is not wanted", "resize", {"--width", "200", "--no-enlarge"}, {100, 40}, {100, 40}},
    {"both sides", "resize", {"--width", "30", "--height", "30"}, {100, 40}, {30, 30}},
    {"both sides in one", "resize", {"--size", "30x35"}, {100, 40}, {30, 35}},
    {"both, fitted", "resize", {"--size", "50x50", "--fit", "fit"}, {100, 40}, {50, 50}},
    {"both, filled", "resize", {"--size", "50x50", "--fit", "fill"}, {100, 40}, {50, 50}},
    {"the longer side, parts cut off", "resize", {"--max-side", "50"}, {100, 35}, {50, 17}},
    {"the longer side never enlarges", "resize", {"--max-side", "200"}, {100, 35}, {100, 35}},
    {"the longer side keeps a pixel", "resize", {"--max-side", "10"}, {1000, 10}, {10, 1}},
    {"the shorter side", "resize", {"--min-side", "20"}, {100, 40}, {50, 20}},
    {"the shorter side never enlarges", "resize", {"--min-side", "200"}, {100, 40}, {100, 40}},
    {"a filled size that would enlarge",
     "resize",
     {"--size", "50x50", "--fit", "fill", "--no-enlarge"},
     {100, 40},
     {100, 40}},
    {"a fitted size that would not",
     "resize",
     {"--size", "50x50", "--fit", "fit", "--no-enlarge"},
     {100, 40},
     {50, 50}},
    {"a thumbnail", "thumbnail", {}, {1024, 512}, {256, 128}},
    {"a thumbnail of something small", "thumbnail", {}, {64, 32}, {256, 128}},
    {"unless that is not wanted, too", "thumbnail", {"--no-enlarge"}, {64, 32}, {64, 32}},
    {"a thumbnail of a size", "thumbnail", {"--max-side", "20"}, {30, 60}, {10, 20}},
    {"a thumbnail of a width", "thumbnail", {"--width", "20"}, {30, 60}, {20, 40}},
    {"an export as it is", "export", {}, {100, 40}, {100, 40}},
    {"an export of a width", "export", {"--width", "50"}, {100, 40}, {50, 20}},
    {"an export of a longer side", "export", {"--max-side", "50"}, {40, 100}, {20, 50}},
};

TEST(Pictures, GetTheSizeThatWasAskedFor)
{
    for (const auto& [name, verb, flags, from, to] : sizings) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder(true);
        folder.put("a.png", pngFile(from.width, from.height));
        for (const char* const output : {"b.png", "b.jpg", "b.tif"}) {
            std::vector<std::string> words = {verb, "a.png", "-o", output};
            words.insert(words.end(), flags.begin(), flags.end());
            const auto ended = zel(folder, words);
            EXPECT_EQ(ended.status, 0) << ended.err;
            EXPECT_EQ(sidesOf(folder.text(output)), to) << output;
        }
    }
}

TEST(Pictures, PngToPngKeepsEveryPixel)
{
    const TemporaryFolder folder;
    const Painter faded = [](int x, int y) {
        return Pixel{static_cast<std::uint8_t>(x * 9), static_cast<std::uint8_t>(y * 11), 77,
                     static_cast<std::uint8_t>(x * y)};
    };
    folder.put("a.png", pngFile(31, 17, faded));
    ASSERT_EQ(zel(folder, {"convert", "a.png", "-o", "b.png"}).status, 0);
    const auto pixels = pixelsOfFile(folder.text("b.png"));
    ASSERT_EQ(pixels.size(), 31U * 17U);
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 31; ++x)
            ASSERT_EQ(pixels[static_cast<std::size_t>(y * 31 + x)], faded(x, y)) << x << ", " << y;
}

TEST(Pictures, SixteenBitsAreKeptByPngAndTiff)
{
    const TemporaryFolder folder;
    folder.put("a.png", png16File(5, 4, [](int x, int y) {
                   return std::array<std::uint16_t, 4>{static_cast<std::uint16_t>(x * 10000 + 1),
                                                       static_cast<std::uint16_t>(y * 9999), 12345,
                                                       static_cast<std::uint16_t>(65535 - x)};
               }));
    ASSERT_EQ(zel(folder, {"convert", "a.png", "-o", "b.tif"}).status, 0);
    ASSERT_EQ(zel(folder, {"convert", "b.tif", "-o", "c.png"}).status, 0);
    const auto before = makeZelImage(folder.url("a.png")), after = makeZelImage(folder.url("c.png"));
    ASSERT_TRUE(before && after);
    EXPECT_EQ(after->cgImage->layout().bitsPerComponent, 16);
    const auto expected = before->cgImage->bytes(), actual = after->cgImage->bytes();
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), actual.begin(), actual.end()));
}

TEST(Pictures, ExportStaysWithinItsBytes)
{
    const TemporaryFolder folder;
    const Painter busy = [](int x, int y) {
        const auto wave = 127 * (1 + std::sin(x * 0.37) * std::cos(y * 0.53));
        return Pixel{static_cast<std::uint8_t>(wave), static_cast<std::uint8_t>(x ^ y),
                     static_cast<std::uint8_t>(x * y), 255};
    };
    folder.put("a.png", pngFile(300, 200, busy));
    for (const int most : {100'000, 20'000, 9'000, 5'000, 2'000, 900}) {
        SCOPED_TRACE(most);
        const auto ended = zel(folder, {"export", "a.png", "-o", "b.jpg", "--max-bytes", std::to_string(most)});
        ASSERT_EQ(ended.status, 0) << ended.err;
        const auto size = folder.text("b.jpg").size();
        EXPECT_LE(size, static_cast<std::size_t>(most));
        // Enough of what is allowed is used, unless the picture does not need it.
        if (most <= 20'000) {
            EXPECT_GE(size, static_cast<std::size_t>(most) * 3 / 4);
        }
    }
}

TEST(Pictures, HeicAndAvifAndTheirBytes)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(200, 100, [](int x, int y) {
                   return Pixel{static_cast<std::uint8_t>(x * y), static_cast<std::uint8_t>(x ^ y), 90, 255};
               }));
    const struct {
        const char *file, *begins, *format;
    } outputs[] = {{"b.heic", "ftypheic", "\"heif\""}, {"b.avif", "ftypavif", "\"avif\""}};
    for (const auto& [file, begins, format] : outputs) {
        SCOPED_TRACE(file);
        std::size_t sizes[2] = {};
        for (const int i : {0, 1}) {
            const auto ended =
                zel(folder, {"convert", "a.png", "-o", file, "--quality", i == 0 ? "20" : "80", "--force"});
            ASSERT_EQ(ended.status, 0) << ended.err;
            sizes[i] = folder.text(file).size();
        }
        EXPECT_LT(sizes[0], sizes[1]);
        EXPECT_EQ(folder.text(file).substr(4, 8), begins);
        const auto info = zel(folder, {"info", file, "--json"});
        EXPECT_NE(info.out.find(format), std::string::npos) << info.out;
        // At last below what any quality gives: reduced from its pixels, whatever the resolution of the input makes of
        // its points.
        for (const int most : {3000, 1200}) {
            const auto reduced = zel(folder, {"export", "a.png", "-o", file, "--max-bytes", std::to_string(most)});
            ASSERT_EQ(reduced.status, 0) << reduced.err;
            EXPECT_LE(folder.text(file).size(), static_cast<std::size_t>(most));
        }
    }
}

TEST(Pictures, AByteLimitMayTakeASuffix)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(64, 64));
    EXPECT_EQ(zel(folder, {"export", "a.png", "-o", "b.jpg", "--max-bytes", "1.5k"}).status, 0);
    EXPECT_LE(folder.text("b.jpg").size(), 1500U);
}

std::vector<int> densityOf(const std::string& jpeg)
{
    std::vector<int> bytes;
    for (std::size_t i = 13; i < 18; ++i)
        bytes.push_back(static_cast<std::uint8_t>(jpeg[i]));
    return bytes;
}

TEST(Pictures, ResolutionIsRecorded)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(8, 8));
    ASSERT_EQ(zel(folder, {"convert", "a.png", "-o", "b.jpg", "--dpi", "300"}).status, 0);
    EXPECT_EQ(densityOf(folder.text("b.jpg")), (std::vector<int>{1, 1, 44, 1, 44}));
    ASSERT_EQ(zel(folder, {"export", "a.png", "-o", "b.jpg", "--dpi", "72", "--max-bytes", "1k"}).status, 0);
    EXPECT_EQ(densityOf(folder.text("b.jpg")), (std::vector<int>{1, 0, 72, 0, 72}));
}

// 11811 dots a metre are 300 an inch.
TEST(Pictures, ResolutionOfTheInputIsKept)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(8, 8, ramp, 11811));
    ASSERT_EQ(zel(folder, {"resize", "a.png", "-o", "b.jpg", "--width", "4"}).status, 0);
    EXPECT_EQ(densityOf(folder.text("b.jpg")), (std::vector<int>{1, 1, 44, 1, 44}));
    ASSERT_EQ(zel(folder, {"convert", "b.jpg", "-o", "c.png"}).status, 0);
    const auto file = folder.text("c.png");
    const auto at = file.find("pHYs");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(file.substr(at + 4, 9), std::string("\x00\x00\x2e\x23\x00\x00\x2e\x23\x01", 9));
}

// A TIFF of one row and one column of strips, 300 dots an inch across and 150 down, in the machine's byte order.
std::string unevenTiff()
{
    std::string file("II*\0\x08\0\0\0", 8);
    const auto put = [&file](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            file += static_cast<char>(value >> (8 * i) & 255);
    };
    const std::uint32_t tags[][3] = {{256, 3, 2}, {257, 3, 1}, {258, 3, 8},   {262, 3, 1},   {273, 4, 160},
                                     {278, 3, 1}, {279, 4, 2}, {282, 5, 162}, {283, 5, 170}, {296, 3, 2}};
    put(std::size(tags), 2);
    for (const auto& [tag, type, value] : tags) {
        put(tag, 2), put(type, 2), put(1, 4), put(value, 4);
    }
    put(0, 4);
    file.resize(160);
    file += "\x10\x80";
    put(300, 4), put(1, 4), put(150, 4), put(1, 4);
    return file;
}

TEST(Pictures, ResolutionTurnsAlong)
{
    const TemporaryFolder folder;
    folder.put("a.tif", unevenTiff());
    ASSERT_EQ(zel(folder, {"rotate", "a.tif", "-o", "b.jpg", "--by", "90"}).status, 0);
    EXPECT_EQ(densityOf(folder.text("b.jpg")), (std::vector<int>{1, 0, 150, 1, 44}));
}

TEST(Pictures, NoResolutionIsMadeUp)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(8, 8));
    ASSERT_EQ(zel(folder, {"convert", "a.png", "-o", "b.png"}).status, 0);
    EXPECT_EQ(folder.text("b.png").find("pHYs"), std::string::npos);
}

TEST(Pictures, ClearPartsShowTheBackground)
{
    const TemporaryFolder folder;
    const Painter half = [](int x, int) { return Pixel{0, 0, 255, static_cast<std::uint8_t>(x < 8 ? 0 : 255)}; };
    folder.put("a.png", pngFile(16, 16, half));
    const struct {
        std::vector<std::string> flags;
        Pixel left;
    } cases[] = {
        {{}, {255, 255, 255, 255}},
        {{"--background", "#f80"}, {255, 136, 0, 255}},
        {{"--background", "102030"}, {16, 32, 48, 255}},
        {{"--background", "black"}, {0, 0, 0, 255}},
    };
    for (const auto& [flags, left] : cases) {
        std::vector<std::string> words = {"convert", "a.png", "-o", "b.jpg", "--quality", "100"};
        words.insert(words.end(), flags.begin(), flags.end());
        ASSERT_EQ(zel(folder, words).status, 0);
        const auto pixels = pixelsOfFile(folder.text("b.jpg"));
        ASSERT_EQ(pixels.size(), 256U);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(pixels[8 * 16 + 2][i], left[i], 3);
            EXPECT_NEAR(pixels[8 * 16 + 13][i], i == 2 ? 255 : 0, 3);
        }
    }
}

TEST(Pictures, AHalfClearBackgroundStaysSoInPng)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 4, [](int, int) { return Pixel{0, 0, 0, 0}; }));
    ASSERT_EQ(zel(folder, {"convert", "a.png", "-o", "b.png", "--background", "#ff000080"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("b.png")).front(), (Pixel{255, 0, 0, 128}));
}

// A quarter of what fits: 25 of 100 pixels wide, 10 of 40 high.
TEST(Pictures, WatermarksStandWhereTheyBelong)
{
    const TemporaryFolder folder(true);
    const auto flat = [](Pixel colour) { return [colour](int, int) { return colour; }; };
    folder.put("a.png", pngFile(100, 40, flat({255, 255, 255, 255})));
    folder.put("mark.png", pngFile(50, 20, flat({255, 0, 0, 255})));
    const struct {
        const char* position;
        int left, top;
    } cases[] = {
        {"Top Left", 0, 0},     {"top-center", 38, 0},     {"topRight", 75, 0},
        {"center_left", 0, 15}, {"Center", 38, 15},        {"CENTER RIGHT", 75, 15},
        {"bottom left", 0, 30}, {"Bottom Center", 38, 30}, {"Bottom Right", 75, 30},
    };
    for (const auto& [position, left, top] : cases) {
        SCOPED_TRACE(position);
        const auto ended = zel(folder, {"watermark", "a.png", "-o", "b.png", "--watermark", "mark.png", "--position",
                                        position, "--scale", "0.25", "--opacity", "1"});
        ASSERT_EQ(ended.status, 0) << ended.err;
        const auto pixels = pixelsOfFile(folder.text("b.png"));
        ASSERT_EQ(pixels.size(), 4000U);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 100; ++x) {
                // Centres may fall between pixels; the pixel beside the edge is left out.
                const bool inside = x > left && x < left + 24 && y > top && y < top + 9;
                const bool outside = x < left - 1 || x > left + 25 || y < top - 1 || y > top + 10;
                const auto& pixel = pixels[static_cast<std::size_t>(y * 100 + x)];
                if (inside) {
                    ASSERT_EQ(pixel, (Pixel{255, 0, 0, 255})) << x << ", " << y;
                }
                if (outside) {
                    ASSERT_EQ(pixel, (Pixel{255, 255, 255, 255})) << x << ", " << y;
                }
            }
    }
}

TEST(Pictures, WatermarkOpacityAndSettings)
{
    const TemporaryFolder folder;
    const auto flat = [](Pixel colour) { return [colour](int, int) { return colour; }; };
    folder.put("a.png", pngFile(40, 40, flat({255, 255, 255, 255})));
    folder.put("mark.png", pngFile(10, 10, flat({0, 0, 0, 255})));
    folder.put("own.json",
               R"({"position":"Top Left","scale":{"policy":"Original Size","scale":1,"maxScale":1,"minScale":0},)"
               R"("opacity":0.2})");
    // 255 × (1 - 0.6) = 102; 255 × (1 - 0.2) = 204.
    ASSERT_EQ(zel(folder,
                  {"watermark", "a.png", "-o", "b.png", "--watermark", "mark.png", "--scale", "1", "--opacity", "0.6"})
                  .status,
              0);
    EXPECT_NEAR(pixelsOfFile(folder.text("b.png"))[20 * 40 + 20][0], 102, 1);
    ASSERT_EQ(
        zel(folder, {"watermark", "a.png", "-o", "b.png", "--watermark", "mark.png", "--settings", "own.json"}).status,
        0);
    const auto pixels = pixelsOfFile(folder.text("b.png"));
    EXPECT_NEAR(pixels[5 * 40 + 5][0], 204, 1);
    EXPECT_EQ(pixels[5 * 40 + 12][0], 255);
}

// Clockwise by a quarter turn, the left edge becomes the upper one: what was at (x, y) lies at (height - 1 - y, x).
TEST(Pictures, TurnClockwise)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(30, 20));
    const struct {
        const char* by;
        Sides sides;
        Pixel upperLeft;
    } cases[] = {
        {"0", {30, 20}, ramp(0, 0)},    {"90", {20, 30}, ramp(0, 19)},  {"180", {30, 20}, ramp(29, 19)},
        {"270", {20, 30}, ramp(29, 0)}, {"-90", {20, 30}, ramp(29, 0)}, {"450", {20, 30}, ramp(0, 19)},
        {"7", {33, 24}, {0, 0, 0, 0}}, // 30 cos 7° + 20 sin 7° = 32.2, 30 sin 7° + 20 cos 7° = 23.5; its corners are
                                       // clear
    };
    for (const auto& [by, sides, upperLeft] : cases) {
        SCOPED_TRACE(by);
        const auto ended = zel(folder, {"rotate", "a.png", "-o", "b.png", "--by", by});
        ASSERT_EQ(ended.status, 0) << ended.err;
        ASSERT_EQ(sidesOf(folder.text("b.png")), sides);
        EXPECT_EQ(pixelsOfFile(folder.text("b.png")).front(), upperLeft);
    }
}

// Nine ones over three: the middle of a flat grey of 30 becomes 90, a corner has four of the nine.
TEST(Pictures, AreConvolved)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 4, [](int, int) { return Pixel{30, 30, 30, 255}; }));
    ASSERT_EQ(zel(folder, {"convolve", "a.png", "-o", "b.png", "--kernel", "1,1,1, 1,1,1, 1,1,1"}).status, 0);
    const auto pixels = pixelsOfFile(folder.text("b.png"));
    EXPECT_EQ(pixels[5], (Pixel{90, 90, 90, 255}));
    EXPECT_EQ(pixels[0], (Pixel{40, 40, 40, 255}));
    ASSERT_EQ(zel(folder, {"convolve", "a.png", "-o", "b.png", "--kernel", "-1 0 0 0 7 0 0 0 0"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("b.png"))[5], (Pixel{60, 60, 60, 255}));
}

// The filters' own tests look closer; this is that flags arrive, signs and all, and that cubes are read in each form.
TEST(Pictures, AreFiltered)
{
    const TemporaryFolder folder;
    const auto grey = [](int, int) { return Pixel{100, 100, 100, 255}; };
    folder.put("a.png", pngFile(9, 9, grey));
    folder.put("swap.cube", std::string("LUT_3D_SIZE 2\n0 0 0\n0 0 0\n0 1 0\n0 1 0\n1 0 1\n1 0 1\n1 1 1\n1 1 1\n"));
    folder.put("swap.png", pngFile(2, 4, [](int, int y) {
                   const auto blue = static_cast<std::uint8_t>(y / 2 * 255),
                              green = static_cast<std::uint8_t>(y % 2 * 255);
                   return Pixel{blue, green, blue, 255};
               }));
    folder.put("color.png", pngFile(3, 3, [](int, int) { return Pixel{10, 100, 200, 255}; }));
    const struct {
        std::vector<std::string> words;
        Pixel middle;
    } cases[] = {{{"expose", "a.png", "--ev", "1"}, {138, 138, 138, 255}},
                 {{"expose", "a.png", "--ev", "-1"}, {71, 71, 71, 255}},
                 {{"sharpen", "a.png"}, {100, 100, 100, 255}},
                 {{"straighten", "a.png", "--by", "-3"}, {100, 100, 100, 255}},
                 {{"cube", "color.png", "--cube", "swap.cube"}, {200, 100, 200, 255}},
                 {{"cube", "color.png", "--cube", "swap.png"}, {200, 100, 200, 255}}};
    for (const auto& c : cases) {
        std::vector<std::string> words = c.words;
        words.insert(words.end(), {"-o", "b.png", "--force"});
        const auto ended = zel(folder, words);
        ASSERT_EQ(ended.status, 0) << ended.err;
        const auto pixels = pixelsOfFile(folder.text("b.png"));
        EXPECT_EQ(pixels[pixels.size() / 2], c.middle) << c.words[0] << ' ' << c.words[2];
    }
    // Clockwise, as the help says: what was on the left moves up.
    folder.put("left.png", pngFile(41, 41, [](int x, int) {
                   return Pixel{static_cast<std::uint8_t>(x < 20 ? 255 : 0), 0, 0, 255};
               }));
    ASSERT_EQ(zel(folder, {"straighten", "left.png", "-o", "c.png", "--by", "80"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder.text("c.png"))[20], (Pixel{255, 0, 0, 255}));
}

TEST(Pictures, TheSameHoweverManyWork)
{
    const TemporaryFolder folder;
    std::vector<std::string> words = {"thumbnail", "-o", "", "--max-side", "50", "--format", "jpeg", "--jobs", ""};
    for (int i = 0; i < 12; ++i) {
        const auto name = std::to_string(i) + ".png";
        folder.put(name, pngFile(100 + i, 80));
        words.push_back(name);
    }
    for (const char* const jobs : {"1", "4"}) {
        words[2] = std::string("jobs") + jobs;
        words[8] = jobs;
        ASSERT_EQ(zel(folder, words).status, 0);
    }
    for (int i = 0; i < 12; ++i) {
        const auto name = std::to_string(i) + ".jpg";
        EXPECT_EQ(folder.text("jobs1/" + name), folder.text("jobs4/" + name));
        EXPECT_NE(folder.text("jobs1/" + name), "absent");
    }
}

} // namespace
} // namespace zel::testing
