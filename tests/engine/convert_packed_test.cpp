#include <zel/engine/convert_packed.h>

#include "targets.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace zel::engine {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr PackedFormat everyFormat[] = {PackedFormat::grey, PackedFormat::greyAlpha, PackedFormat::rgb,
                                        PackedFormat::rgba};

/// 16-bit components in the machine's byte order.
Bytes native(std::initializer_list<std::uint16_t> values)
{
    Bytes bytes;
    for (const std::uint16_t value : values) {
        const auto* stored = reinterpret_cast<const std::uint8_t*>(&value);
        bytes.insert(bytes.end(), {stored[0], stored[1]});
    }
    return bytes;
}

TEST(ConvertPacked, TwoPixelsOfEachFormat)
{
    struct Case {
        const char* name;
        PackedFormat format;
        int bytes;
        Bytes packed, expanded;
        Bytes back; ///< what packing gives again
    };
    const Case cases[] = {
        {"grey", PackedFormat::grey, 1, {7, 9}, {7, 7, 7, 255, 9, 9, 9, 255}, {7, 9}},
        {"grey and alpha", PackedFormat::greyAlpha, 1, {7, 1, 9, 0}, {7, 7, 7, 1, 9, 9, 9, 0}, {7, 1, 9, 0}},
        {"colour", PackedFormat::rgb, 1, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 255, 4, 5, 6, 255}, {1, 2, 3, 4, 5, 6}},
        {"colour and alpha",
         PackedFormat::rgba,
         1,
         {1, 2, 3, 4, 5, 6, 7, 8},
         {1, 2, 3, 4, 5, 6, 7, 8},
         {1, 2, 3, 4, 5, 6, 7, 8}},
        {"deep grey",
         PackedFormat::grey,
         2,
         {0x12, 0x34, 0xAB, 0xCD},
         native({0x1234, 0x1234, 0x1234, 0xFFFF, 0xABCD, 0xABCD, 0xABCD, 0xFFFF}),
         {0x12, 0x34, 0xAB, 0xCD}},
        {"deep grey and alpha",
         PackedFormat::greyAlpha,
         2,
         {0x12, 0x34, 0x00, 0x01},
         native({0x1234, 0x1234, 0x1234, 1}),
         {0x12, 0x34, 0x00, 0x01}},
        {"deep colour",
         PackedFormat::rgb,
         2,
         {1, 2, 3, 4, 5, 6},
         native({0x0102, 0x0304, 0x0506, 0xFFFF}),
         {1, 2, 3, 4, 5, 6}},
        {"deep colour and alpha",
         PackedFormat::rgba,
         2,
         {1, 2, 3, 4, 5, 6, 7, 8},
         native({0x0102, 0x0304, 0x0506, 0x0708}),
         {1, 2, 3, 4, 5, 6, 7, 8}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::size_t pixels = c.expanded.size() / (4 * static_cast<std::size_t>(c.bytes));
        Bytes expanded(c.expanded.size());
        expandRow(c.packed.data(), c.format, c.bytes, expanded.data(), pixels);
        EXPECT_EQ(expanded, c.expanded);
        Bytes back(c.back.size());
        packRow(expanded.data(), back.data(), c.format, c.bytes, pixels);
        EXPECT_EQ(back, c.back);
    }
}

TEST(ConvertPacked, GreyTakesRedAndDropsAlpha)
{
    const Bytes pixels{10, 20, 30, 40, 50, 60, 70, 80};
    Bytes grey(2), pair(4), color(6);
    packRow(pixels.data(), grey.data(), PackedFormat::grey, 1, 2);
    packRow(pixels.data(), pair.data(), PackedFormat::greyAlpha, 1, 2);
    packRow(pixels.data(), color.data(), PackedFormat::rgb, 1, 2);
    EXPECT_EQ(grey, (Bytes{10, 50}));
    EXPECT_EQ(pair, (Bytes{10, 40, 50, 80}));
    EXPECT_EQ(color, (Bytes{10, 20, 30, 50, 60, 70}));
}

TEST(ConvertPacked, DeepRowsOfFourComponentsInPlace)
{
    Bytes row{1, 2, 3, 4, 5, 6, 7, 8};
    expandRow(row.data(), PackedFormat::rgba, 2, row.data(), 1);
    EXPECT_EQ(row, native({0x0102, 0x0304, 0x0506, 0x0708}));
}

TEST(ConvertPackedKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    constexpr std::size_t guard = 64;
    Bytes source(2048);
    std::minstd_rand random(3);
    for (auto& byte : source)
        byte = static_cast<std::uint8_t>(random() >> 8);
    forEachTarget([&] {
        for (const PackedFormat format : everyFormat)
            for (const std::size_t bytes : {1u, 2u})
                for (std::size_t pixels = 0; pixels <= 140; ++pixels) {
                    // The row ends where its memory ends, so that reading beyond it shows under the address sanitizer.
                    const auto perPixel = static_cast<std::size_t>(componentsOf(format));
                    const int depth = static_cast<int>(bytes);
                    const Bytes packed(source.begin(),
                                       source.begin() + static_cast<std::ptrdiff_t>(pixels * perPixel * bytes));
                    const Bytes whole(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(pixels * 4 * bytes));
                    Bytes expected(2 * guard + pixels * 4 * bytes, 0xA5);
                    Bytes actual = expected;
                    expandRowReference(packed.data(), format, depth, expected.data() + guard, pixels);
                    expandRow(packed.data(), format, depth, actual.data() + guard, pixels);
                    ASSERT_EQ(actual, expected) << "expanding " << pixels << ", " << perPixel << " of " << bytes;
                    expected.assign(2 * guard + pixels * perPixel * bytes, 0xA5);
                    actual = expected;
                    packRowReference(whole.data(), expected.data() + guard, format, depth, pixels);
                    packRow(whole.data(), actual.data() + guard, format, depth, pixels);
                    ASSERT_EQ(actual, expected) << "packing " << pixels << ", " << perPixel << " of " << bytes;
                }
    });
}

} // namespace
} // namespace zel::engine
