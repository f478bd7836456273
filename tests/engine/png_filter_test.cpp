#include <engine/targets.h>
#include <zel/engine/png_filter.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace zel::engine {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t guard = 64;
constexpr std::size_t distances[] = {1, 2, 3, 4, 6, 8};
constexpr PngFilter filters[] = {PngFilter::none, PngFilter::sub, PngFilter::up, PngFilter::average, PngFilter::paeth};

/// Rows in which every byte value meets its neighbours in all orders: noise, small steps and repetitions.
Bytes someRow(std::size_t bytes, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes row(bytes);
    std::uint8_t value = 0;
    for (auto& byte : row) {
        const auto kind = random() % 4;
        value = static_cast<std::uint8_t>(kind == 0 ? random() : kind == 1 ? value + random() % 5 : value);
        byte = value;
    }
    return row;
}

TEST(PngFilter, everyTargetFiltersLikeTheReference)
{
    forEachTarget([] {
        for (const std::size_t distance : distances)
            for (std::size_t bytes = 1; bytes <= 200; ++bytes)
                for (const PngFilter filter : filters) {
                    SCOPED_TRACE(testing::Message() << "distance " << distance << ", " << bytes << " bytes, filter "
                                                    << static_cast<int>(filter));
                    const Bytes source = someRow(bytes + 33, 7), above = someRow(bytes + 33, 8);
                    const std::uint8_t* row = source.data() + bytes % 33; // inputs at changing alignments
                    Bytes expected(guard + bytes + guard, 0xA5), actual = expected;
                    pngFilterReference(filter, distance, row, above.data() + 1, expected.data() + guard, bytes);
                    pngFilter(filter, distance, row, above.data() + 1, actual.data() + guard, bytes);
                    ASSERT_EQ(actual, expected);
                }
    });
}

TEST(PngFilter, everyTargetUnfiltersLikeTheReference)
{
    forEachTarget([] {
        for (const std::size_t distance : distances)
            for (std::size_t bytes = 1; bytes <= 200; ++bytes)
                for (const PngFilter filter : filters) {
                    SCOPED_TRACE(testing::Message() << "distance " << distance << ", " << bytes << " bytes, filter "
                                                    << static_cast<int>(filter));
                    const Bytes source = someRow(bytes + 33, 9), above = someRow(bytes + 33, 10);
                    const std::uint8_t* filtered = source.data() + bytes % 33;
                    Bytes expected(guard + bytes + guard, 0xA5), actual = expected;
                    pngUnfilterReference(filter, distance, filtered, above.data() + 1, expected.data() + guard, bytes);
                    pngUnfilter(filter, distance, filtered, above.data() + 1, actual.data() + guard, bytes);
                    ASSERT_EQ(actual, expected);
                }
    });
}

TEST(PngFilter, everyTargetMeasuresLikeTheReference)
{
    forEachTarget([] {
        for (const std::size_t distance : distances)
            for (std::size_t bytes = 1; bytes <= 200; ++bytes) {
                const Bytes row = someRow(bytes, 11), above = someRow(bytes, 12);
                const auto expected = pngMeasureReference(distance, row.data(), above.data(), bytes);
                const auto actual = pngMeasure(distance, row.data(), above.data(), bytes);
                ASSERT_EQ(actual.costs, expected.costs) << distance << ", " << bytes;
                ASSERT_EQ(actual.repeated, expected.repeated) << distance << ", " << bytes;
            }
    });
}

/// The filters as the standard words them, on one pixel with neighbours a, b, c.
TEST(PngFilter, workedExamples)
{
    const struct {
        std::uint8_t a, b, c, x;
        int sub, up, average, paeth;
    } cases[] = {
        {10, 20, 15, 30, 20, 10, 15, 15},    // estimate 15: c itself
        {10, 20, 5, 30, 20, 10, 15, 10},     // estimate 25: b is nearest
        {10, 20, 20, 30, 20, 10, 15, 20},    // estimate 10: a
        {10, 10, 12, 0, 246, 246, 246, 246}, // below zero wraps round
        {255, 254, 0, 255, 0, 1, 1, 0},      // the mean does not wrap: (255 + 254) / 2 = 254
        {7, 7, 7, 7, 0, 0, 0, 0},
        {0, 4, 2, 9, 9, 5, 7, 7},         // estimate 2: c
        {2, 4, 3, 9, 7, 5, 6, 6},         // estimate 3: c
        {4, 2, 2, 9, 5, 7, 6, 5},         // estimate 4: a, before anything as near
        {3, 5, 1, 0, 253, 251, 252, 251}, // estimate 7: b
    };
    forEachTarget([&] {
        for (const auto& each : cases) {
            const std::uint8_t row[] = {each.a, each.x}, above[] = {each.c, each.b};
            const int expected[] = {each.x, each.sub, each.up, each.average, each.paeth};
            for (const PngFilter filter : filters) {
                std::uint8_t filtered[2] = {}, restored[2] = {};
                pngFilter(filter, 1, row, above, filtered, 2);
                EXPECT_EQ(filtered[1], expected[static_cast<int>(filter)])
                    << int{each.a} << ' ' << int{each.b} << ' ' << int{each.c} << ", filter "
                    << static_cast<int>(filter);
                pngUnfilter(filter, 1, filtered, above, restored, 2);
                EXPECT_EQ(std::memcmp(restored, row, 2), 0);
            }
        }
    });
}

// The kernels use other formulas than the standard for the nearest of three: all 2^24 triples must agree.
TEST(PngFilter, nearestOfThreeIsExactForAllTriples)
{
    forEachTarget([] {
        constexpr std::size_t distance = 8;
        Bytes row(256 * distance), above(256 * distance), filtered(row.size()), restored(row.size()),
            expected(row.size());
        for (int a = 0; a < 256; ++a)
            for (int c = 0; c < 256; c += 4) {
                // Pixels take turns: neighbours a and c in four components each, then each value of b once.
                for (std::size_t b = 0; b < 256; ++b)
                    for (std::size_t k = 0; k < distance; ++k) {
                        const bool isLeft = b % 2 == 0;
                        row[b * distance + k] = static_cast<std::uint8_t>(isLeft ? a : static_cast<int>(b * 5 + k));
                        above[b * distance + k] = static_cast<std::uint8_t>(isLeft ? c + static_cast<int>(k % 4)
                                                                                   : static_cast<int>(b - 1 + k / 4));
                    }
                pngFilterReference(PngFilter::paeth, distance, row.data(), above.data(), expected.data(), row.size());
                pngFilter(PngFilter::paeth, distance, row.data(), above.data(), filtered.data(), row.size());
                ASSERT_EQ(filtered, expected) << a << ' ' << c;
                pngUnfilter(PngFilter::paeth, distance, filtered.data(), above.data(), restored.data(), row.size());
                ASSERT_EQ(restored, row) << a << ' ' << c;
            }
    });
}

TEST(PngFilter, theLeastCostWinsAndTheFirstOfEquals)
{
    PngRowMeasure measure;
    measure.costs = {5, 3, 4, 3, 9};
    EXPECT_EQ(measure.best(), PngFilter::sub);
    const Bytes flat(100, 77);
    EXPECT_EQ(pngMeasure(4, flat.data(), flat.data(), 100).best(), PngFilter::up);
    EXPECT_EQ(pngMeasure(4, flat.data(), flat.data(), 100).repeated, 100U);
    const Bytes zeros(100, 0);
    EXPECT_EQ(pngMeasure(4, zeros.data(), zeros.data(), 100).best(), PngFilter::none);
}

} // namespace
} // namespace zel::engine
