#include <zel/engine/pixel_buffer.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <type_traits>

namespace zel::engine {
namespace {

constexpr int most = std::numeric_limits<int>::max();

TEST(PixelBuffer, HoldsWritablePixelsOfTheSizeAskedFor)
{
    const struct {
        const char* name;
        int width, height, bytesPerPixel;
    } cases[] = {
        {"one pixel", 1, 1, 4},
        {"one pixel of 16 bits", 1, 1, 8},
        {"a thin row", 1001, 1, 4},
        {"just below the border to mapped memory", 1024, 1023, 4},
        {"at the border", 1024, 1024, 4},
        {"beyond it, no multiple of a page", 1237, 1019, 8},
        {"rows of one byte a pixel", 5, 7, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PixelBuffer buffer(c.width, c.height, c.bytesPerPixel);
        ASSERT_FALSE(buffer.empty());
        const Pixels& pixels = buffer.pixels();
        EXPECT_EQ(pixels.width, c.width);
        EXPECT_EQ(pixels.height, c.height);
        EXPECT_EQ(pixels.bytesPerPixel, c.bytesPerPixel);
        EXPECT_EQ(pixels.stride, c.width * c.bytesPerPixel);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pixels.data) % 64, 0U);
        EXPECT_EQ(buffer.sizeInBytes(), static_cast<std::size_t>(c.width * c.height * c.bytesPerPixel));
        std::memset(pixels.data, 0x5A, buffer.sizeInBytes());
        EXPECT_EQ(pixels.data[buffer.sizeInBytes() - 1], 0x5A);
    }
}

TEST(PixelBuffer, IsEmptyWhereThereCanBeNone)
{
    const struct {
        const char* name;
        int width, height, bytesPerPixel;
    } cases[] = {
        {"no width", 0, 5, 4},
        {"negative height", 5, -5, 4},
        {"two negative sides", -5, -5, 4},
        {"no bytes in a pixel", 5, 5, 0},
        {"the product wraps around in 64 bits", most, most, 8},
        {"more than can be addressed", most, most / 1000, 8},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const PixelBuffer buffer(c.width, c.height, c.bytesPerPixel);
        EXPECT_TRUE(buffer.empty());
        EXPECT_TRUE(buffer.pixels().empty());
        EXPECT_EQ(buffer.sizeInBytes(), 0U);
    }
}

TEST(PixelBuffer, MovesItsPixels)
{
    static_assert(std::is_nothrow_move_constructible_v<PixelBuffer> && !std::is_copy_constructible_v<PixelBuffer>);
    for (const int side : {4, 1500}) {
        SCOPED_TRACE(side);
        PixelBuffer first(side, side);
        first.pixels().data[17] = 42;
        const std::uint8_t* where = first.pixels().data;

        PixelBuffer second(std::move(first));
        EXPECT_TRUE(first.empty()); // NOLINT(bugprone-use-after-move): what is left behind is defined
        EXPECT_EQ(first.sizeInBytes(), 0U);
        EXPECT_EQ(second.pixels().data, where);

        PixelBuffer third(2, 2);
        third = std::move(second);
        EXPECT_TRUE(second.empty()); // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(third.pixels().data, where);
        EXPECT_EQ(third.pixels().data[17], 42);
        EXPECT_EQ(third.pixels().width, side);
    }
}

} // namespace
} // namespace zel::engine
