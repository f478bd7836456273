#include <zel/engine/fill_holes.h>
#include <zel/engine/label_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <string>

namespace zel::engine {
namespace {

TEST(Label, MarksAgreeWithTheReference)
{
    forEachTarget([] {
        for (int width = 1; width <= 200; ++width) {
            const TestPicture source(width, 1, 4, 12, static_cast<std::uint32_t>(width));
            const auto count = static_cast<std::size_t>(width);
            const auto threshold = static_cast<std::uint8_t>(width * 5);
            std::vector<std::uint64_t> expected((count + 63) / 64 + 1, 7), actual = expected;
            markAlphaAboveReference(source.pixels().data, count, threshold, expected.data());
            markAlphaAbove(source.pixels().data, count, threshold, actual.data());
            EXPECT_EQ(actual, expected) << width;
        }
    });
}

BitPicture drawing(const std::vector<std::string>& rows)
{
    BitPicture bits(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
    for (std::size_t y = 0; y < rows.size(); ++y)
        for (std::size_t x = 0; x < rows[y].size(); ++x)
            if (rows[y][x] == '#')
                bits.row(static_cast<int>(y))[x / 64] |= std::uint64_t{1} << x % 64;
    return bits;
}

/// A wide picture: the pattern, again and again, past two words.
std::string repeated(const std::string& pattern, int times)
{
    std::string row;
    for (int i = 0; i < times; ++i)
        row += pattern;
    return row;
}

TEST(Label, CutsPicturesIntoRegions)
{
    const struct {
        const char* name;
        std::vector<std::string> rows;
        std::vector<std::int64_t> set, clear; // pixels of the regions, in order
    } cases[] = {
        {"one pixel", {"#"}, {1}, {}},
        {"nothing", {"..", ".."}, {}, {4}},
        {"corners do not join", {"#.", ".#"}, {1, 1}, {1, 1}},
        {"arms that meet below", {"#.#.#", "#.#.#", "#####"}, {11}, {2, 2}},
        {"arms that meet late, in another order", {"..#..", "#.#.#", "#.###", "#####"}, {13}, {4, 3}},
        {"a ring", {".....", ".###.", ".#.#.", ".###.", "....."}, {8}, {16, 1}},
        {"past a word", {repeated("##..", 40)}, std::vector<std::int64_t>(40, 2), std::vector<std::int64_t>(40, 2)},
        {"a word and one", {std::string(65, '#'), std::string(64, '.') + "#"}, {66}, {64}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const BitPicture bits = drawing(c.rows);
        const RegionMap map(bits);
        std::vector<std::int64_t> set, clear;
        for (const Region& region : map.regions())
            (region.isSet ? set : clear).push_back(region.pixels);
        EXPECT_EQ(set, c.set);
        EXPECT_EQ(clear, c.clear);
        std::uint64_t runs = 0;
        for (int y = 0; y < map.height(); ++y)
            runs += map.row(y).size();
        EXPECT_EQ(RegionMap::countRuns(bits), runs);
    }
}

TEST(Label, FindsWhatRegionsEnclose)
{
    // Pixels of the holes, in the order of the regions around them.
    const struct {
        const char* name;
        std::vector<std::string> rows;
        std::vector<std::int64_t> holes;
    } cases[] = {
        {"none", {"###", "#.#"}, {}},
        {"one", {"###", "#.#", "###"}, {1}},
        {"a corner is no way out", {".##", "#.#", "###"}, {1}},
        {"a gap is", {".#.#", "#..#", "####"}, {}},
        {"two in one", {"#####", "#.#.#", "#####"}, {1, 1}},
        {"two that meet at a corner are two", {"####", "#.##", "##.#", "####"}, {1, 1}},
        {"another region in a hole counts with it", {"#####", "#...#", "#.#.#", "#...#", "#####"}, {9}},
        {"a ring in a ring", {"#######", "#.....#", "#.###.#", "#.#.#.#", "#.###.#", "#.....#", "#######"}, {25, 1}},
        {"what two regions close together is no hole of either", {"###..", "#..#.", "###.."}, {}},
        {"a ring without its corner", {".###.", ".#..#", ".####"}, {2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const RegionMap map(drawing(c.rows));
        const Holes holes = findHoles(map);
        std::vector<std::int64_t> pixels;
        for (const Hole& hole : holes.list) {
            pixels.push_back(hole.pixels);
            std::int64_t sum = 0;
            for (std::uint32_t i = hole.first; i < hole.last; ++i)
                sum += map.regions()[holes.regions[i]].pixels;
            EXPECT_EQ(sum, hole.pixels);
        }
        EXPECT_EQ(pixels, c.holes);
    }
}

/// Diagonal lines, one in another: every box is nearly the whole picture, and nothing may be done for a whole box.
TEST(Label, ManyLargeBoxesAreNoTrap)
{
    const int side = 1500;
    BitPicture bits(side, side);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            if ((x + y) % 4 < 2)
                bits.row(y)[static_cast<std::size_t>(x) / 64] |= std::uint64_t{1} << static_cast<unsigned>(x % 64);
    const RegionMap map(bits);
    EXPECT_EQ(map.regions().size(), 1500U);
    EXPECT_TRUE(findHoles(map).list.empty());
}

} // namespace
} // namespace zel::engine
