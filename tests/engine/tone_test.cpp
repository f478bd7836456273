#include <zel/engine/tone.h>
#include <zel/engine/tone_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

namespace zel::engine {
namespace {

ToneTable scattered()
{
    ToneTable table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<std::uint8_t>(i * 167 + 13); // a permutation
    return table;
}

TEST(Tone, EveryValueFindsItsEntryOnEveryTarget)
{
    const ToneTable table = scattered();
    forEachTarget([&] {
        for (int width = 1; width <= 131; ++width) {
            TestPicture from(width, 3, 4, static_cast<std::size_t>(width % 5)), expected(width, 3), actual(width, 3);
            toneRowsReference(table, from.pixels(), expected.pixels());
            toneRows(table, from.pixels(), actual.pixels());
            ASSERT_EQ(actual.bytes, expected.bytes) << width;
        }
        TestPicture all(256, 1), result(256, 1);
        for (int x = 0; x < 256; ++x)
            for (int i = 0; i < 4; ++i)
                all.pixels().at(x, 0)[i] = static_cast<std::uint8_t>(x + 64 * i);
        ASSERT_TRUE(applyTone(all.pixels(), table, result.pixels()));
        for (int x = 0; x < 256; ++x)
            for (int i = 0; i < 4; ++i) {
                const int value = (x + 64 * i) % 256;
                ASSERT_EQ(result.pixels().at(x, 0)[i], i == 3 ? value : (value * 167 + 13) % 256) << x << ' ' << i;
            }
    });
}

TEST(Tone, WorksInPlaceAndRefusesWhatDoesNotFit)
{
    TestPicture picture(700, 600), copy = picture, result(700, 600);
    ASSERT_TRUE(applyTone(copy.pixels(), scattered(), result.pixels()));
    ASSERT_TRUE(applyTone(picture.pixels(), scattered(), picture.pixels()));
    for (int y = 0; y < 600; ++y)
        ASSERT_EQ(std::memcmp(picture.pixels().row(y), result.pixels().row(y), picture.pixels().rowBytes()), 0);
    TestPicture other(699, 600), deep(700, 600, 8);
    EXPECT_FALSE(applyTone(picture.pixels(), scattered(), other.pixels()));
    EXPECT_FALSE(applyTone(deep.pixels(), scattered(), deep.pixels()));
    EXPECT_FALSE(applyTone({}, scattered(), {}));
}

} // namespace
} // namespace zel::engine
