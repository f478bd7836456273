#include <zel/operations/rotate.h>

#include <zel/operations/resize.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

using Direction = ZelImage::RotationDirection;
using test::flat;
using test::pixelAt;
using test::positions;
using test::Rgba;

/// Red counts columns and green rows of the stored picture, by 16-bit samples; decoded when asked, stored any way.
class StoredPositions : public PixelProvider {
public:
    StoredPositions(int width, int height, Orientation orientation, int bits)
    {
        facts_.layout = {width, height, bits, CGAlphaInfo::last, nullptr, true};
        facts_.orientation = orientation;
    }
    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override
    {
        ++decodings;
        const int end = request.rowCount < 0 ? facts_.layout.height : request.firstRow + request.rowCount;
        const std::size_t bytes = facts_.layout.bitsPerComponent == 16 ? 2 : 1;
        for (int y = request.firstRow; y < end; ++y) {
            std::vector<std::uint8_t> row;
            for (int x = 0; x < facts_.layout.width; ++x)
                for (const int value : {x, y, 200, 100})
                    row.insert(row.end(), bytes, static_cast<std::uint8_t>(value));
            if (!sink(y, {row.data(), static_cast<std::ptrdiff_t>(row.size()), facts_.layout.width, 1,
                          static_cast<int>(4 * bytes)}))
                return false;
        }
        return true;
    }
    mutable int decodings = 0;

private:
    PictureFacts facts_;
};

TEST(Rotate, QuarterTurnsByHand)
{
    // Where the corners of 300 × 200 go: what then stands at the upper left and at the upper right.
    const struct {
        const char* name;
        Direction direction;
        CGSize size;
        int leftX, leftY, rightX, rightY;
    } cases[] = {
        {"right edge to the top", Direction::r90Clockwhise, {200, 300}, 299, 0, 299, 199},
        {"right edge to the bottom", Direction::r90AntiClockWise, {200, 300}, 0, 199, 0, 0},
        {"half", Direction::r180, {300, 200}, 299, 199, 0, 199},
        {"copy", Direction::fixHorizon, {300, 200}, 0, 0, 299, 0},
    };
    const auto where = [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(x >> 8), static_cast<std::uint8_t>(y), 77};
    };
    for (const auto info : {CGAlphaInfo::first, CGAlphaInfo::last, CGAlphaInfo::premultipliedLast})
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            const auto source = makeZelImage(test::painted(300, 200, info, where));
            const auto turned = rotate(source, c.direction);
            ASSERT_NE(turned, nullptr);
            EXPECT_NE(turned, source);
            EXPECT_EQ(turned->size, c.size);
            EXPECT_EQ(turned->image->size(), c.size);
            EXPECT_EQ(turned->cgImage->layout().alphaInfo, info);
            const int right = turned->cgImage->width() - 1;
            EXPECT_EQ(pixelAt(*turned->cgImage, 0, 0), where(c.leftX, c.leftY));
            EXPECT_EQ(pixelAt(*turned->cgImage, right, 0), where(c.rightX, c.rightY));
        }
}

TEST(Rotate, NoneIsTheVeryImage)
{
    const auto blank = makeZelImage(BlankSize{.size = {3, 3}}), source = makeZelImage(positions(3, 2));
    EXPECT_EQ(rotate(blank, Direction::none), blank);
    EXPECT_EQ(rotate(source->cgImage, Direction::none), source->cgImage);
    EXPECT_EQ(rotate(blank, Direction::r180), nullptr) << "without a bitmap";
    const auto copy = rotate(source, Direction::fixHorizon);
    const auto before = source->cgImage->bytes(), after = copy->cgImage->bytes();
    EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin(), after.end()));
}

TEST(Rotate, WhatIsNotDecodedYetTurnsLater)
{
    // Red counts stored columns, green stored rows; upright by 8 = turned counterclockwise, then turned again.
    const struct {
        Orientation stored;
        Direction direction;
        int width, height, red, green; // at the upper left of the result
    } cases[] = {
        {Orientation::up, Direction::r90Clockwhise, 20, 30, 29, 0},
        {Orientation::up, Direction::r180, 30, 20, 29, 19},
        {Orientation::left, Direction::r90AntiClockWise, 30, 20, 0, 0}, // and back again
        {Orientation::left, Direction::r90Clockwhise, 30, 20, 29, 19},
        {Orientation::mirrored, Direction::r180, 30, 20, 0, 19},
    };
    for (const int bits : {8, 16})
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(c.stored) << ", " << static_cast<int>(c.direction));
            const auto provider = std::make_shared<const StoredPositions>(30, 20, c.stored, bits);
            const auto source = CGImage::make(provider);
            const auto turned = rotate(source, c.direction);
            EXPECT_EQ(provider->decodings, 0);
            ASSERT_EQ(turned->width(), c.width);
            ASSERT_EQ(turned->height(), c.height);
            EXPECT_EQ(turned->layout().bitsPerComponent, bits);
            EXPECT_TRUE(turned->layout().isGray);
            const auto bytes = turned->bytes();
            EXPECT_EQ(bytes[0], c.red);
            EXPECT_EQ(bytes[bits == 16 ? 2 : 1], c.green);
            ASSERT_FALSE(source->bytes().empty()); // and the same of what is in memory
            const auto again = rotate(source, c.direction);
            EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), again->bytes().begin(), again->bytes().end()));
        }
}

TEST(Rotate, ByAnyAngleGrowsTheCanvas)
{
    // w |cos| + h |sin| and w |sin| + h |cos|, rounded up.
    const struct {
        double degrees;
        CGSize size;
    } cases[] = {
        {7, {105, 52}}, {-7, {105, 52}}, {45, {99, 99}},    {30, {107, 85}},  {135, {99, 99}},  {1e-9, {100, 40}},
        {0, {100, 40}}, {90, {40, 100}}, {-450, {40, 100}}, {180, {100, 40}}, {720, {100, 40}},
    };
    const auto source = makeZelImage(flat(100, 40, {200, 100, 50, 255}));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.degrees);
        const auto turned = rotate(source, {.degrees = c.degrees});
        ASSERT_NE(turned, nullptr);
        EXPECT_EQ(turned->size, c.size);
        EXPECT_EQ(turned->image->size(), c.size);
        const CGImage& pixels = *turned->cgImage;
        EXPECT_EQ(pixelAt(pixels, pixels.width() / 2, pixels.height() / 2), (Rgba{200, 100, 50, 255}));
        double area = 0;
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); ++x)
                area += pixelAt(pixels, x, y)[3] / 255.0;
        EXPECT_NEAR(area, 4000, 8);
        if (std::fmod(c.degrees, 90) != 0 && std::fabs(c.degrees) > 1) {
            EXPECT_EQ(pixelAt(pixels, 0, 0)[3], 0) << "the corners stay clear";
        }
    }
}

TEST(Rotate, PositiveAnglesTurnCounterclockwise)
{
    // A white mark at the middle of the right edge of 101 × 101 goes up by 45°, to about (50 + 50 cos 45°, …) from the
    // lower left of the old canvas, which the new one holds in its middle.
    const auto source = makeZelImage(test::painted(101, 101, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        const auto value = static_cast<std::uint8_t>(x > 90 && std::abs(y - 50) < 5 ? 255 : 0);
        return Rgba{value, value, value, 255};
    }));
    const double reach = 45 * std::sqrt(0.5);
    for (const bool byFilters : {false, true}) {
        const auto turned = byFilters ? ZelImageHelper::rotate(source, {.by = 45}) : rotate(source, {.degrees = 45});
        ASSERT_EQ(turned->size, (CGSize{143, 143}));
        const auto at = [&](double right, double up) {
            return pixelAt(*turned->cgImage, static_cast<int>(71.5 + right), static_cast<int>(71.5 - up))[0];
        };
        EXPECT_GT(at(reach, reach), 200) << byFilters;
        EXPECT_EQ(at(reach, -reach), 0) << byFilters;
    }
}

TEST(Rotate, PointsFollowThePicture)
{
    const auto dense = makeZelImage(NSImage::make(flat(100, 40, {9, 9, 9, 255}), {50, 20}));
    EXPECT_EQ(rotate(dense, {.degrees = 90})->image->size(), (CGSize{20, 50}));
    EXPECT_EQ(rotate(dense, {.degrees = 7})->image->size(), (CGSize{52.5, 26}));
    // Half as dense upward: brought to squares of the finer side before it turns.
    const auto uneven = makeZelImage(NSImage::make(flat(100, 20, {9, 9, 9, 255}), {100, 40}));
    EXPECT_EQ(rotate(uneven, {.degrees = 7})->size, (CGSize{105, 52}));
    Screens::set({2.0});
    const auto blank = rotate(makeZelImage(BlankSize{.size = {30, 20}}), {.degrees = 90});
    Screens::set({});
    EXPECT_EQ(blank->size, (CGSize{20, 30}));
    EXPECT_EQ(blank->image->size(), (CGSize{10, 15}));
}

TEST(Rotate, TheRimIsAntialiasedAndKeepsItsColour)
{
    const auto turned = rotate(makeZelImage(flat(60, 60, {240, 120, 60, 255})), {.degrees = 10});
    int between = 0;
    for (int y = 0; y < turned->cgImage->height(); ++y)
        for (int x = 0; x < turned->cgImage->width(); ++x) {
            const Rgba pixel = pixelAt(*turned->cgImage, x, y); // premultiplied
            between += pixel[3] > 0 && pixel[3] < 255 ? 1 : 0;
            ASSERT_NEAR(pixel[1], pixel[3] * 120 / 255.0, 1);
        }
    EXPECT_GT(between, 240 / 2);
    EXPECT_LT(between, 240 * 3);
}

TEST(Rotate, TheFiltersTurnQuartersExactly)
{
    const auto source = makeZelImage(positions(37, 23));
    const auto exact = rotate(source, Direction::r90Clockwhise), turned = ZelImageHelper::rotate(source, {.by = 90});
    ASSERT_EQ(turned->size, exact->size);
    for (int y = 0; y < 37; ++y)
        for (int x = 0; x < 23; ++x)
            ASSERT_EQ(pixelAt(*turned->cgImage, x, y), pixelAt(*exact->cgImage, x, y)) << x << ", " << y;
}

TEST(Rotate, AnglesAndImagesThatGiveNothing)
{
    const auto source = makeZelImage(positions(8, 8)), blank = makeZelImage(BlankSize{.size = {8, 8}});
    for (const double none : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        ZelFailure::clear();
        EXPECT_EQ(rotate(source, {.degrees = none}), nullptr);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
        ZelFailure::clear();
        EXPECT_EQ(ZelImageHelper::rotate(source, {.by = none}), source) << "falls back";
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    }
    EXPECT_EQ(ZelImageHelper::rotate(blank, {.by = 7}), blank);
    EXPECT_EQ(rotate(makeZelImage(BlankSize{.size = {0, 0}}), {.degrees = 7}), nullptr);
    EXPECT_EQ(rotate(source, static_cast<Direction>(9)), nullptr);
    EXPECT_NE(rotate(source, {.degrees = 1e300}), nullptr) << "an angle like any other";
}

} // namespace
} // namespace zel
