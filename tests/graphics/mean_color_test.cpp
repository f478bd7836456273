#include <zel/platform/graphics/mean_color.h>

#include <zel/engine/orient.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/graphics/image_rows.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace zel {
namespace {

using Cell = std::array<double, 4>;

std::uint8_t noise(int seed)
{
    return static_cast<std::uint8_t>((static_cast<unsigned>(seed) * 2654435761U) >> 13U);
}

Ref<const CGImage> noisy(int width, int height, CGAlphaInfo info)
{
    return test::painted(width, height, info, [&](int x, int y) {
        const int at = 4 * (x + y * width);
        return test::Rgba{noise(at), noise(at + 1), noise(at + 2), noise(at + 3)};
    });
}

/// A stored pixel as red, green, blue, alpha, premultiplied.
Cell premultiplied(const CGImage& image, int x, int y)
{
    const auto info = image.layout().alphaInfo;
    const auto stored = test::pixelAt(image, x, y);
    Cell color{};
    const bool first =
        info == CGAlphaInfo::first || info == CGAlphaInfo::premultipliedFirst || info == CGAlphaInfo::noneSkipFirst;
    for (std::size_t i = 0; i < 4; ++i)
        color[i] = stored[first ? (i + 1) % 4 : i];
    if (!hasAlpha(info))
        color[3] = 255;
    if (info == CGAlphaInfo::first || info == CGAlphaInfo::last)
        for (std::size_t i = 0; i < 3; ++i)
            color[i] *= color[3] / 255;
    return color;
}

/// The mean by its definition, in floating numbers: each pixel weighs by the area that it shares with the cell.
Cell meanOf(const CGImage& image, int columns, int rows, int column, int row)
{
    const auto share = [](int pixel, int pixels, int cell, int cells) {
        const double size = static_cast<double>(pixels) / cells;
        return std::max(0.0, std::min(pixel + 1.0, (cell + 1) * size) - std::max<double>(pixel, cell * size));
    };
    Cell sum{};
    double area = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const double weight = share(x, image.width(), column, columns) * share(y, image.height(), row, rows);
            const Cell color = premultiplied(image, x, y);
            for (std::size_t i = 0; i < 4; ++i)
                sum[i] += weight * color[i];
            area += weight;
        }
    for (double& component : sum)
        component /= area;
    return sum;
}

TEST(MeanGrid, IsTheMeanOverEachCellForEveryLayout)
{
    for (const auto info : {CGAlphaInfo::noneSkipLast, CGAlphaInfo::noneSkipFirst, CGAlphaInfo::last,
                            CGAlphaInfo::first, CGAlphaInfo::premultipliedLast, CGAlphaInfo::premultipliedFirst}) {
        const auto image = noisy(23, 17, info);
        for (const auto& [columns, rows] : {std::pair{1, 1}, {4, 3}, {23, 17}, {1, 17}, {50, 2}, {16, 40}}) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(info) << ", " << columns << " x " << rows);
            const auto grid = meanGrid(*image, columns, rows);
            ASSERT_EQ(grid.size(), static_cast<std::size_t>(columns * rows));
            for (int row = 0; row < rows; ++row)
                for (int column = 0; column < columns; ++column) {
                    const Cell expected = meanOf(*image, columns, rows, column, row);
                    const Cell& actual = grid[static_cast<std::size_t>(row * columns + column)];
                    for (std::size_t i = 0; i < 4; ++i) // straight colours are premultiplied to 16 bits
                        ASSERT_NEAR(actual[i], expected[i], 0.002) << column << ", " << row << ", " << i;
                }
        }
    }
}

TEST(MeanGrid, KeepsTheLowBitsOfDeepPictures)
{
    CGImage::Layout layout{.width = 2, .height = 1, .bitsPerComponent = 16, .alphaInfo = CGAlphaInfo::noneSkipLast};
    const std::uint16_t components[] = {257, 0, 65535, 0, 258, 2, 65535, 9};
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(components);
    const auto image = CGImage::make(layout, Data(std::vector<std::uint8_t>(bytes, bytes + sizeof components)), 16);
    const auto grid = meanGrid(*image, 1, 1);
    ASSERT_EQ(grid.size(), 1U);
    EXPECT_DOUBLE_EQ(grid.front()[0], 257.5 / 257);
    EXPECT_DOUBLE_EQ(grid.front()[1], 1.0 / 257);
    EXPECT_EQ(grid.front()[3], 255);
}

/// A picture that lies as its orientation says, handed out in bands of three rows.
class Lying : public PixelProvider {
public:
    Lying(const Ref<const CGImage>& stored, Orientation orientation) : stored_(stored)
    {
        facts_.layout = stored->layout();
        facts_.orientation = orientation;
    }
    const PictureFacts& facts() const override { return facts_; }
    bool canReduce(int) const override { return true; }
    bool decode(const Request& request, const RowSink& sink) const override
    {
        if (request.denominator != 1)
            return false; // a reduced picture's pixels are rounded means
        const auto pixels = pixelsOf(*stored_);
        for (int y = 0; y < pixels.height; y += 3)
            if (!sink(y, pixels.rows(y, std::min(3, pixels.height - y))))
                return false;
        return true;
    }

private:
    Ref<const CGImage> stored_;
    PictureFacts facts_;
};

TEST(MeanGrid, IsThatOfTheUprightPicture)
{
    const auto stored = noisy(19, 11, CGAlphaInfo::last);
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        const auto provider = std::make_shared<const Lying>(stored, static_cast<Orientation>(orientation));
        const auto image = CGImage::make(provider), turned = CGImage::make(provider);
        const auto grid = meanGrid(*image, 4, 3);
        EXPECT_FALSE(image->isDecoded()) << "no pixels are kept for a grid";
        const auto mean = meanColor(*image);
        EXPECT_FALSE(image->isDecoded());
        ASSERT_FALSE(turned->bytes().empty()); // turned upright by the decoder's side of the house
        EXPECT_EQ(grid, meanGrid(*turned, 4, 3));
        EXPECT_EQ(mean, meanColor(*turned));
    }
}

TEST(MeanGrid, RefusesWhatIsNoGrid)
{
    const auto image = noisy(3, 3, CGAlphaInfo::last);
    ZelLimits limits;
    limits.operationBytes = 1 << 20;
    const ZelLimits::Scope scope(limits);
    for (const auto& [columns, rows, code] : {std::tuple{0, 4, ZelFailureCode::invalidArgument},
                                              {4, -1, ZelFailureCode::invalidArgument},
                                              {1000, 1000, ZelFailureCode::limit},
                                              {2'000'000'000, 2'000'000'000, ZelFailureCode::limit}}) {
        ZelFailure::clear();
        EXPECT_TRUE(meanGrid(*image, columns, rows).empty()) << columns;
        EXPECT_EQ(ZelFailure::last().code, code);
    }
    ZelFailure::clear();
}

} // namespace
} // namespace zel
