#include <zel/operations/cube_text.h>
#include <zel/operations/filters.h>
#include <zel/operations/lut_files.h>
#include <zel/operations/rotate.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>

namespace zel {
namespace {

using test::flat;
using test::painted;
using test::pixelAt;
using test::Rgba;
using Lines = std::vector<std::string>;

/// A cube of n a side that exchanges red and blue, encoded.
Data swappingCube(int side)
{
    const auto step = [side](int value) { return static_cast<std::uint8_t>(value * 255 / (side - 1)); };
    return *encodePng(painted(side, side * side, CGAlphaInfo::noneSkipLast,
                              [&](int x, int y) {
                                  return Rgba{step(y / side), step(y % side), step(x), 255};
                              }),
                      {});
}

Rgba middleOf(const Ref<ZelImage>& image)
{
    return image ? pixelAt(*image->cgImage, image->cgImage->width() / 2, image->cgImage->height() / 2) : Rgba{};
}

TEST(FilterOperations, FallBackOrGiveNothingAndSayWhy)
{
    const Ref<ZelImage> picture = makeZelImage(flat(6, 4, {50, 100, 150, 255}));
    const Ref<ZelImage> blank = makeZelImage(BlankSize{{6, 4}});
    const double nan = std::nan("");
    EXPECT_EQ(middleOf(exposure(picture, 1)), (Rgba{71, 138, 205, 255}));
    EXPECT_EQ(exposure(picture, nan), picture);
    EXPECT_EQ(exposure(blank, 1), blank);
    EXPECT_EQ(exposure(nullptr, 1), nullptr);
    EXPECT_EQ(rotateAndZoom(picture, {.byDegrees = 0})->size, (CGSize{6, 4}));
    EXPECT_EQ(middleOf(rotateAndZoom(picture, {.byDegrees = 33})), (Rgba{50, 100, 150, 255}));
    EXPECT_EQ(rotateAndZoom(picture, {.byDegrees = nan}), nullptr);
    EXPECT_EQ(rotateAndZoom(blank, {.byDegrees = 1}), nullptr);

    const test::PrintedLines printed;
    EXPECT_EQ(middleOf(sharpen(picture, {.sharpness = 2})), (Rgba{50, 100, 150, 255}));
    EXPECT_EQ(printed.lines(), Lines{});
    ZelFailure::clear();
    EXPECT_EQ(sharpen(blank, {.sharpness = 1}), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_EQ(sharpen(Ref<const CGImage>(), {.sharpness = 1}), nullptr);
    EXPECT_EQ(sharpen(picture, {.sharpness = NAN}), nullptr);
    ZelLimits tight;
    tight.operationBytes = 8;
    const ZelLimits::Scope scope(tight);
    EXPECT_EQ(sharpen(picture, {.sharpness = 1}), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    EXPECT_EQ(printed.lines(),
              (Lines{"Failed to get CGImage", "Failed to create CISharpenLuminance filter",
                     "Failed to get output image from filter", "Failed to create CGImage from CIImage"}));
}

TEST(Lut, IsAPictureOfSlices)
{
    const Ref<ZelImage> picture = makeZelImage(flat(5, 5, {50, 100, 150, 255}));
    for (const int side : {2, 16, 33}) {
        const auto lut = ZelLut::make(swappingCube(side));
        ASSERT_TRUE(lut);
        const Rgba graded = middleOf(apply(picture, {.lut = *lut}));
        EXPECT_NEAR(graded[0], 150, 1);
        EXPECT_NEAR(graded[1], 100, 1);
        EXPECT_NEAR(graded[2], 50, 1);
        // As JSON leaves it: the bytes, and no filter.
        const auto decoded = decode<ZelLut>(encode(*lut));
        EXPECT_EQ(decoded.data(), lut->data());
        EXPECT_EQ(apply(picture, {.lut = decoded}), nullptr);
    }
    EXPECT_EQ(encode(ZelLut(ZelLut::Undecoded{Data({1, 2, 255})})), R"({"data":"AQL/"})");

    ZelFailure::clear();
    const auto shapeless = ZelLut::make(*encodePng(flat(8, 60, {}), {}));
    ASSERT_TRUE(shapeless);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
    EXPECT_EQ(apply(picture, {.lut = *shapeless}), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_EQ(apply(makeZelImage(BlankSize{{6, 4}}), {.lut = *shapeless}), nullptr);
    EXPECT_FALSE(ZelLut::make(Data({1, 2, 3})));
    EXPECT_EQ(apply(picture, {.lutAtUrl = URL::file("no-such-folder/look.png")}), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::notFound);
}

TEST(Lut, RefusesOtherJson)
{
    const struct {
        const char* text;
        ZelDecodingError::Kind kind;
    } cases[] = {{R"({"data":"A*=A"})", ZelDecodingError::Kind::dataCorrupted},
                 {R"({"data":7})", ZelDecodingError::Kind::typeMismatch},
                 {R"({"data":null})", ZelDecodingError::Kind::valueNotFound},
                 {R"({"dat":""})", ZelDecodingError::Kind::keyNotFound}};
    for (const auto& c : cases)
        try {
            (void)decode<ZelLut>(c.text);
            ADD_FAILURE() << c.text;
        } catch (const ZelDecodingError& error) {
            EXPECT_EQ(error.kind(), c.kind) << c.text;
        }
}

Data dataOf(std::string_view text)
{
    return Data({text.begin(), text.end()});
}

constexpr std::string_view smallCube = "# a comment\r\nTITLE \"LUT_3D_SIZE 9\"\n\nLUT_3D_SIZE 2\nDOMAIN_MIN 0 0 0\n"
                                       "DOMAIN_MAX 1.0 1 1e0\n0 0 0\n0 0 1\n0 1 0\r\n0 1 1\n1 0 0\n1 0 1\n1 1 0\n"
                                       "  +1\t1.5 0.99999999 \n";

TEST(LutFiles, TextsAndHaldPicturesBecomeSlices)
{
    // All of them exchange red and blue.
    const Data hald = *encodePng(painted(8, 8, CGAlphaInfo::noneSkipLast,
                                         [](int x, int y) {
                                             const int i = y * 8 + x; // 4 a side, red fastest
                                             const auto step = [](int v) { return static_cast<std::uint8_t>(v * 85); };
                                             return Rgba{step(i / 16), step(i / 4 % 4), step(i % 4), 255};
                                         }),
                                 {});
    const struct {
        const char* name;
        Data file;
    } files[] = {{"slices", swappingCube(5)}, {"text", dataOf(smallCube)}, {"Hald", hald}};
    const Ref<ZelImage> picture = makeZelImage(flat(5, 5, {50, 100, 150, 255}));
    for (const auto& [name, file] : files) {
        const auto slices = lutPicture(file);
        ASSERT_TRUE(slices) << name;
        const auto lut = ZelLut::make(*slices);
        const Rgba graded = lut ? middleOf(apply(picture, {.lut = *lut})) : Rgba{};
        EXPECT_NEAR(graded[0], 150, 1) << name;
        EXPECT_NEAR(graded[2], 50, 1) << name;
    }
    EXPECT_FALSE(lutPicture(*encodePng(flat(9, 9, {}), {})));
    EXPECT_FALSE(lutPicture(Data()));
}

TEST(LutFiles, RefuseOtherTexts)
{
    const std::string colors = "0 0 0\n0 0 1\n0 1 0\n0 1 1\n1 0 0\n1 0 1\n1 1 0\n";
    const struct {
        const char* name;
        std::string text;
        ZelFailureCode code;
    } cases[] = {
        {"a colour missing", "LUT_3D_SIZE 2\n" + colors, ZelFailureCode::truncated},
        {"a colour too many", "LUT_3D_SIZE 2\n" + colors + "1 1 1\n1 1 1\n", ZelFailureCode::unreadable},
        {"no size", colors, ZelFailureCode::unreadable},
        {"nothing", "", ZelFailureCode::unreadable},
        {"size 1", "LUT_3D_SIZE 1\n0 0 0\n", ZelFailureCode::invalidArgument},
        {"size of no memory", "LUT_3D_SIZE 2000000000\n", ZelFailureCode::invalidArgument},
        {"size past all numbers", "LUT_3D_SIZE 99999999999999999999\n", ZelFailureCode::invalidArgument},
        {"size below 0", "LUT_3D_SIZE -33\n", ZelFailureCode::invalidArgument},
        {"two sizes", "LUT_3D_SIZE 2\nLUT_3D_SIZE 129\n", ZelFailureCode::invalidArgument},
        {"one dimension", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n", ZelFailureCode::unsupported},
        {"another domain", "LUT_3D_SIZE 2\nDOMAIN_MAX 2 2 2\n", ZelFailureCode::unsupported},
        {"a short domain", "LUT_3D_SIZE 2\nDOMAIN_MAX 1 1\n", ZelFailureCode::unsupported},
        {"two numbers", "LUT_3D_SIZE 2\n0 0\n", ZelFailureCode::unreadable},
        {"four numbers", "LUT_3D_SIZE 2\n0 0 0 0\n", ZelFailureCode::unreadable},
        {"no number", "LUT_3D_SIZE 2\n0 0 x\n", ZelFailureCode::unreadable},
        {"not finite", "LUT_3D_SIZE 2\n0 0 nan\n", ZelFailureCode::unreadable},
        {"past all numbers", "LUT_3D_SIZE 2\n0 0 1e999\n", ZelFailureCode::unreadable},
        {"two signs", "LUT_3D_SIZE 2\n0 0 +-1\n", ZelFailureCode::unreadable},
    };
    for (const auto& c : cases) {
        ZelFailure::clear();
        EXPECT_EQ(readCubeText(c.text), nullptr) << c.name;
        EXPECT_EQ(ZelFailure::last().code, c.code) << c.name;
    }
    // Cut anywhere, a text gives a table only where nothing but its last digits went.
    for (std::size_t length = 0; length + 30 < smallCube.size(); ++length)
        EXPECT_EQ(readCubeText(smallCube.substr(0, length)), nullptr) << length;
}

} // namespace
} // namespace zel
