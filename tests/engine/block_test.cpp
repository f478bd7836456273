#include <zel/engine/block_kernels.h>

#include "targets.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace zel::engine {
namespace {

TEST(Blocks, EveryTargetGivesTheReferenceAndTheNearest)
{
    // Every block count up to some, out of the alignment of any vector; extreme figures among the ordinary ones.
    constexpr std::size_t most = 5;
    std::vector<std::int16_t> source(most * blockCoefficients + 1);
    std::array<std::int16_t, blockCoefficients> factors{};
    std::uint32_t seed = 7;
    const auto next = [&] { return (seed = seed * 1664525U + 1013904223U) >> 16; };
    for (auto& value : source)
        value = static_cast<std::int16_t>(static_cast<int>(next() % 2047) - 1023);
    source[3] = -32768, source[4] = 32767, source[5] = 0;
    for (auto& factor : factors)
        factor = static_cast<std::int16_t>(next() % 32768);
    factors[2] = factors[3] = 32767; // of source[3] and source[4]
    forEachTarget([&] {
        for (std::size_t blocks = 0; blocks <= most; ++blocks) {
            const std::size_t count = blocks * blockCoefficients;
            std::vector<std::int16_t> actual(count + 2, 0x5A5A), expected = actual;
            rescaleBlocks(source.data() + 1, factors.data(), actual.data() + 1, blocks);
            rescaleBlocksReference(source.data() + 1, factors.data(), expected.data() + 1, blocks);
            EXPECT_EQ(actual, expected);
            for (std::size_t i = 0; i < count; ++i) {
                const double exact = source[i + 1] * (factors[i % blockCoefficients] / 32768.0);
                ASSERT_LE(std::abs(actual[i + 1] - std::fmin(std::fmax(exact, -1023), 1023)), 0.5) << i;
            }
        }
    });
}

} // namespace
} // namespace zel::engine
