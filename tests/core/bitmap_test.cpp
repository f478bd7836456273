#include <zel/core/bitmap.h>
#include <zel/platform/foundation/coding.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <unordered_set>

namespace zel {
namespace {

using Bytes = std::vector<int>;

Bytes bytesOf(const ZelImageBitmapRGBA& bitmap)
{
    const auto bytes = bitmap.bytes();
    return {bytes.begin(), bytes.end()};
}

ZelImageBitmapRGBA::Rect rect(std::int64_t x, std::int64_t y, std::int64_t width, std::int64_t height)
{
    return {ZelImageBitmapRGBA::Point(x, y), ZelImageBitmapRGBA::Size(width, height)};
}

ZelImageBitmapRGBA bitmapOfColours(const std::vector<std::array<std::uint8_t, 3>>& colours)
{
    test::PrintedLines quiet;
    ZelImageBitmapRGBA bitmap({.width = static_cast<std::int64_t>(colours.size()), .height = 1, .fillBlack = true});
    for (std::size_t i = 0; i < colours.size(); ++i)
        bitmap.setPixel({.x = static_cast<std::int64_t>(i),
                         .y = 0,
                         .r = colours[i][0],
                         .g = colours[i][1],
                         .b = colours[i][2],
                         .a = 255});
    return bitmap;
}

TEST(Bitmap, StoresAlphaFirst)
{
    const auto red = test::painted(2, 1, CGAlphaInfo::noneSkipLast, [](int x, int) {
        return x == 0 ? test::Rgba{255, 0, 0, 0} : test::Rgba{1, 2, 3, 0};
    });
    EXPECT_EQ(bytesOf(ZelImageBitmapRGBA(red)), (Bytes{255, 255, 0, 0, 255, 1, 2, 3}));
    EXPECT_EQ(bytesOf(ZelImageBitmapRGBA(makeZelImage(red))), (Bytes{255, 255, 0, 0, 255, 1, 2, 3}));
}

TEST(Bitmap, BlankOnesTellTheirDimensions)
{
    test::PrintedLines printed;
    EXPECT_EQ(bytesOf(ZelImageBitmapRGBA({.width = 1, .height = 2, .fillBlack = true})),
              (Bytes{255, 0, 0, 0, 255, 0, 0, 0}));
    EXPECT_EQ(bytesOf(ZelImageBitmapRGBA({.width = 2, .height = 1})), (Bytes(8, 0)));
    EXPECT_EQ(printed.lines(),
              (std::vector<std::string>{"ZelImageBitmapRGBA.init (width: 1, height: 2, fillBlack: true",
                                        "ZelImageBitmapRGBA.init (width: 2, height: 1, fillBlack: false"}));
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{0, 3}, {-4, 3}, {1LL << 40, 1LL << 40}}) {
        ZelImageBitmapRGBA none({.width = width, .height = height});
        EXPECT_TRUE(none.bytes().empty());
        EXPECT_EQ(none.cgImage(), nullptr);
        EXPECT_EQ(none.zelImage(), nullptr);
        EXPECT_EQ(none.height(), width == 0 ? height : 0);
        none.fill({.colorRed = 1}, 2, 3); // no pixels, no harm
        none.fillAlpha();
        none.lightDarkGate({.threshold = 0.5});
    }
}

TEST(Bitmap, ContextsComeUpsideDownAndPicturesUpright)
{
    const auto picture = test::positions(5, 7);
    const ZelContextImage context(picture);
    const ZelImageBitmapRGBA upright(picture), inverted(context);
    for (int y = 0; y < 7; ++y) {
        EXPECT_EQ(upright.getPixelZelColor255({.x = 3, .y = y}).g, y);
        EXPECT_EQ(inverted.getPixelZelColor255({.x = 3, .y = y}).g, 6 - y);
        EXPECT_EQ(inverted.getPixelZelColor255({.x = 3, .y = y, .invertedY = true}).g, y);
    }
    const ZelImageBitmapRGBA again(upright.cgImage());
    EXPECT_EQ(bytesOf(again), bytesOf(upright));
    EXPECT_EQ(upright.zelImage()->size, (CGSize{5, 7}));
}

TEST(Bitmap, CountsRowsFromTheBottomWhenAsked)
{
    test::PrintedLines quiet;
    ZelImageBitmapRGBA column({.width = 1, .height = 3});
    column.setPixelAlpha({.x = 0, .y = 0, .alpha = 7});
    EXPECT_EQ(column.bytes()[8], 7);
    column.setPixelAlpha({.x = 0, .y = 0, .alpha = 9, .invertedY = false});
    EXPECT_EQ(column.bytes()[0], 9);
    column.setPixel({.x = 0, .y = 0, .r = 1, .g = 2, .b = 3, .a = 4, .invertedY = true});
    EXPECT_EQ(column.getPixelZelColor255({.x = 0, .y = 0, .invertedY = true}), ZelColor255(1, 2, 3, {.a = 4}));
    EXPECT_EQ(column.getPixelZelColor255({.x = 0, .y = 2}), ZelColor255(1, 2, 3, {.a = 4}));
    column.setPixel({.x = 0, .y = 1, .color = ZelColor(0.999, 1, 0.5, 2)});
    EXPECT_EQ(column.getPixelZelColor255({.x = 0, .y = 1}), ZelColor255(254, 255, 127, {.a = 255}));
}

TEST(Bitmap, ReadsZerosAndWritesNothingOutside)
{
    test::PrintedLines quiet;
    ZelImageBitmapRGBA bitmap({.width = 2, .height = 2, .fillBlack = true});
    const Bytes before = bytesOf(bitmap);
    for (const auto& [x, y] :
         {std::pair<std::int64_t, std::int64_t>{-1, 0}, {2, 0}, {0, 2}, {0, -1}, {1LL << 62, 1LL << 62}}) {
        bitmap.setPixel({.x = x, .y = y, .r = 1, .g = 2, .b = 3, .a = 4});
        bitmap.setPixelAlpha({.x = x, .y = y, .alpha = 4});
        EXPECT_EQ(bitmap.getPixelAlpha({.x = x, .y = y}), 0);
    }
    EXPECT_EQ(bytesOf(bitmap), before);
}

TEST(Bitmap, LuminanceIsTheWholeMean)
{
    const auto bitmap = bitmapOfColours({{10, 10, 11}, {255, 255, 255}, {0, 1, 1}});
    EXPECT_EQ(bitmap.getPixelLuminance({.x = 0, .y = 0}), 10);
    EXPECT_EQ(bitmap.getPixelLuminance({.x = 1, .y = 0}), 255);
    EXPECT_EQ(bitmap.getPixelLuminance({.x = 2, .y = 0}), 0);
    EXPECT_EQ(bitmap.getPixelColor({.x = 0, .y = 0}), ZelColor::fromBytes(10, 10, 11));
}

TEST(Bitmap, KeyComparesDistancesWithTheTolerance)
{
    const struct {
        const char* name;
        double tolerance;
        Bytes alphas; // of black, (3, 4, 0) at 5, (1, 1, 1) at 1.73…, (255, 255, 255)
    } cases[] = {
        {"zero takes the very colour", 0, {0, 255, 255, 255}},
        {"exactly the distance counts", 5, {0, 0, 0, 255}},
        {"just below", 4.999999, {0, 255, 0, 255}},
        {"root of three", std::sqrt(3.0), {0, 255, 0, 255}},
        {"everything", 1e300, {0, 0, 0, 0}},
        {"negative takes nothing", -1, {255, 255, 255, 255}},
        {"not a number takes nothing", std::nan(""), {255, 255, 255, 255}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto bitmap = bitmapOfColours({{0, 0, 0}, {3, 4, 0}, {1, 1, 1}, {255, 255, 255}});
        bitmap.key({.colorRed = 0}, 0, 0, {.tolerance = c.tolerance});
        Bytes alphas;
        for (int x = 0; x < 4; ++x)
            alphas.push_back(bitmap.getPixelAlpha({.x = x, .y = 0}));
        EXPECT_EQ(alphas, c.alphas);
        EXPECT_EQ(bitmap.getPixelZelColor255({.x = 1, .y = 0}).g, 4); // colours stay
    }
}

TEST(Bitmap, GatesCompareTheSumWithTheTruncatedThreshold)
{
    // 0.5 × 765 = 382.5: the threshold is 382.
    const auto start = bitmapOfColours({{127, 127, 127}, {127, 127, 128}, {127, 128, 128}});
    auto light = start, dark = start, both = start;
    light.lightGate({.threshold = 0.5});
    dark.darkGate({.threshold = 0.5});
    both.lightDarkGate({.threshold = 0.5});
    EXPECT_EQ(bytesOf(light), (Bytes{255, 0, 0, 0, 255, 127, 127, 128, 255, 127, 128, 128}));
    EXPECT_EQ(bytesOf(dark), (Bytes{255, 127, 127, 127, 255, 127, 127, 128, 255, 255, 255, 255}));
    EXPECT_EQ(bytesOf(both), (Bytes{255, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255}));
    EXPECT_EQ(bytesOf(start)[1], 127); // a copy's writes do not show
}

TEST(Bitmap, FillsWhatItIsTold)
{
    test::PrintedLines quiet;
    ZelImageBitmapRGBA bitmap({.width = 3, .height = 2});
    bitmap.fillRect({CGPoint{1.9, 1}, CGSize{50, 50}}, {.toColor = ZelColor(1, 0, 0, 1)});
    EXPECT_EQ(bytesOf(bitmap), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0}));
    bitmap.fillRect(rect(0, 1, 1, 1), {.toColor = ZelColor(0, 1, 0, 1), .invertedY = true});
    EXPECT_EQ(bitmap.getPixelZelColor255({.x = 0, .y = 0}).g, 255);
    bitmap.fillTransparentPixelWithColor({.color = ZelColor(0, 0, 1, 0.5)});
    EXPECT_EQ(bitmap.getPixelZelColor255({.x = 2, .y = 0}), ZelColor255(0, 0, 255, {.a = 127}));
    bitmap.fill({.colorRed = 5}, 6, 7);
    bitmap.fillAlpha();
    EXPECT_EQ(bitmap.getPixelZelColor255({.x = 2, .y = 0}), ZelColor255(5, 6, 7, {.a = 255}));
    bitmap.fillRect(rect(-5, -5, INT64_MAX, INT64_MAX), {.toColor = ZelColor(1, 1, 1)});
    for (const std::int64_t corner : {1LL, -5LL})
        bitmap.fillRect(rect(corner, corner, INT64_MAX, INT64_MIN), {.toColor = ZelColor(0, 0, 0)});
    EXPECT_EQ(bitmap.getPixelLuminance({.x = 2, .y = 1}), 255);
}

TEST(Color255, ConvertsByTruncation)
{
    EXPECT_EQ(ZelColor255(NSColor{0.5, 0.25, 1.0, 1.0}), ZelColor255(127, 63, 255, {.a = 255}));
    EXPECT_EQ(ZelColor255(NSColor{2.0, -1.0, 0.999, 1.0}),
              ZelColor255(254, 1, 254, {.a = 255})); // 510 and -255: low 8 bits
    EXPECT_EQ(ZelColor255(NSColor{std::nan(""), 1e300, 0, 0}).r, 0);
    EXPECT_EQ(ZelColor255(ZelColor(0.999, 1.0, 7, -3)), ZelColor255(254, 255, 255, {.a = 0}));
    EXPECT_EQ(ZelColor255(1, 2, 3, {.a = 99}).simpleDistance({.to = ZelColor255(4, 5, 6, {.a = 1})}), 32);
    EXPECT_EQ(ZelColor255::pureBlack, ZelColor255(0, 0, 0, {.a = 255}));
}

TEST(Color255, ChangesLightnessAndSaturationAlone)
{
    const ZelColor255 color(200, 100, 50, {.a = 77});
    EXPECT_DOUBLE_EQ(color.lightness(), 200 / 255.0);
    EXPECT_EQ(color.modifyLightness({.by = 0.5}), ZelColor255(100, 50, 25, {.a = 77}));
    EXPECT_EQ(color.modifySaturation({.by = 0}), ZelColor255(200, 200, 200, {.a = 77}));
    EXPECT_EQ(color.modifyLightness({.by = 100}).r, 255);
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 17)
            for (int b = 0; b < 256; b += 51) {
                const ZelColor255 any(static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                                      static_cast<std::uint8_t>(b), {.a = 9});
                EXPECT_EQ(any.modifyLightness({.by = 1}), any) << r << ' ' << g << ' ' << b;
                EXPECT_EQ(any.modifySaturation({.by = 1}), any) << r << ' ' << g << ' ' << b;
            }
}

TEST(Color255, JsonNeedsAllFourComponents)
{
    EXPECT_EQ(encode(ZelColor255::pureBlack), R"({"r":0,"g":0,"b":0,"a":255})");
    EXPECT_EQ(decode<ZelColor255>(R"({"a":4,"b":3,"g":2,"r":1})"), ZelColor255(1, 2, 3, {.a = 4}));
    const struct {
        const char* text;
        ZelDecodingError::Kind kind;
    } cases[] = {
        {R"({"r":0,"g":0,"b":0})", ZelDecodingError::Kind::keyNotFound},
        {R"({"r":0,"g":0,"b":0,"a":null})", ZelDecodingError::Kind::valueNotFound},
        {R"({"r":"0","g":0,"b":0,"a":0})", ZelDecodingError::Kind::typeMismatch},
        {R"({"r":256,"g":0,"b":0,"a":0})", ZelDecodingError::Kind::dataCorrupted},
        {R"({"r":-1,"g":0,"b":0,"a":0})", ZelDecodingError::Kind::dataCorrupted},
        {"[]", ZelDecodingError::Kind::typeMismatch},
        {"{", ZelDecodingError::Kind::dataCorrupted},
    };
    for (const auto& c : cases)
        try {
            decode<ZelColor255>(c.text);
            ADD_FAILURE() << c.text;
        } catch (const ZelDecodingError& error) {
            EXPECT_EQ(error.kind(), c.kind) << c.text << ": " << error.what();
        }
    std::unordered_set<ZelColor255> set{ZelColor255(1, 2, 3, {.a = 4}), ZelColor255(1, 2, 3, {.a = 4}),
                                        ZelColor255(4, 3, 2, {.a = 1})};
    EXPECT_EQ(set.size(), 2U);
}

} // namespace
} // namespace zel
