#include <zel/operations/convolution.h>

#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::Rgba;

const std::vector<std::int16_t> same = {0, 0, 0, 0, 3, 0, 0, 0, 0}, ones(9, 1);

TEST(Convolution, ThreeInTheMiddleGivesThePictureBack)
{
    const auto busy = [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x * 7), static_cast<std::uint8_t>(y * 5),
                    static_cast<std::uint8_t>(x ^ y), static_cast<std::uint8_t>(x + y)};
    };
    for (const auto info : {CGAlphaInfo::premultipliedLast, CGAlphaInfo::last, CGAlphaInfo::noneSkipLast,
                            CGAlphaInfo::first, CGAlphaInfo::noneSkipFirst}) {
        const auto result = convolve(makeZelImage(test::painted(19, 13, info, busy)), {.kernel = same});
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->size, (CGSize{19, 13}));
        EXPECT_EQ(result->cgImage->layout().alphaInfo, CGAlphaInfo::noneSkipLast);
        for (int y = 0; y < 13; ++y)
            for (int x = 0; x < 19; ++x)
                ASSERT_EQ(pixelAt(*result->cgImage, x, y), busy(x, y)) << "bytes as they are stored";
    }
}

TEST(Convolution, NineOnesOnGrey)
{
    const auto grey = makeZelImage(flat(5, 5, {30, 30, 30, 255}));
    const struct {
        std::vector<std::uint8_t> beyond;
        int corner, edge; // 4 or 6 of the nine lie inside, 30 each; then ÷ 3
    } cases[] = {{{0, 0, 0, 0}, 40, 60}, {{3, 3, 3, 0}, 45, 63}, {{200, 200, 200, 0}, 255, 255}};
    for (const auto& c : cases) {
        ZelConvolution how(ones);
        how.bgColor = c.beyond;
        const auto result = convolve(grey, {.convolution = how});
        EXPECT_EQ(pixelAt(*result->cgImage, 2, 2)[0], 90);
        EXPECT_EQ(pixelAt(*result->cgImage, 0, 0)[0], c.corner);
        EXPECT_EQ(pixelAt(*result->cgImage, 2, 0)[1], c.edge);
        EXPECT_EQ(pixelAt(*result->cgImage, 4, 2)[2], c.edge);
    }
}

TEST(Convolution, TheKernelLiesAsItIsWritten)
{
    const auto dot = makeZelImage(test::painted(5, 5, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x == 2 && y == 2 ? 100 : 0), 10, 0, 255};
    }));
    const ZelConvolution how({3, 6, 0}, {0, 0, -3}, {0, 0, 0}); // the neighbours above left, above, right
    EXPECT_EQ(how.kernel, (std::vector<std::int16_t>{3, 6, 0, 0, 0, -3, 0, 0, 0}));
    const auto result = convolve(dot, {.convolution = how});
    EXPECT_EQ(pixelAt(*result->cgImage, 3, 3)[0], 100);
    EXPECT_EQ(pixelAt(*result->cgImage, 2, 3)[0], 200);
    EXPECT_EQ(pixelAt(*result->cgImage, 1, 2)[0], 0) << "-100 is held to 0";
    EXPECT_EQ(pixelAt(*result->cgImage, 2, 2)[1], 20) << "(3 + 6 - 3) × 10 ÷ 3";
    EXPECT_EQ(pixelAt(*convolve(dot, {.kernel = {0, 0, 0, 0, 2, 0, 0, 0, 0}})->cgImage, 0, 0)[1], 6) << "20 ÷ 3, cut";
}

TEST(Convolution, SixteenBitsBecomeEight)
{
    const std::uint16_t stored[] = {65535, 257, 0, 65535, 25700, 30000, 128, 0};
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(stored);
    const auto deep = CGImage::make({2, 1, 16, CGAlphaInfo::last, nullptr, false},
                                    Data(std::vector<std::uint8_t>(bytes, bytes + sizeof stored)), sizeof stored);
    ZelReport report;
    const auto result = convolve(makeZelImage(deep), {.kernel = same});
    EXPECT_EQ(pixelAt(*result->cgImage, 0, 0), (Rgba{255, 1, 0, 255}));
    EXPECT_EQ(pixelAt(*result->cgImage, 1, 0), (Rgba{100, 117, 0, 0})); // 30000 ÷ 257 = 116.7
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].severity, ZelSeverity::warning);
}

TEST(Convolution, RefusesOtherKernelsAndColours)
{
    const auto image = makeZelImage(flat(4, 4, {1, 2, 3, 255}));
    ZelConvolution threeBytes(same);
    threeBytes.bgColor = {0, 0, 0};
    for (const auto& how :
         {ZelConvolution({}), ZelConvolution({1, 2, 3}), ZelConvolution(std::vector<std::int16_t>(25)),
          ZelConvolution({1, 2, 3}, {4, 5, 6}, {7, 8}), threeBytes}) {
        ZelFailure::clear();
        EXPECT_EQ(convolve(image, {.convolution = how}), nullptr);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    }
    EXPECT_EQ(convolve(makeZelImage(BlankSize{.size = {4, 4}}), {.kernel = same}), nullptr);
}

} // namespace
} // namespace zel
