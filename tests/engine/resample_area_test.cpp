#include <zel/engine/parallel.h>
#include <zel/engine/resample.h>
#include <zel/engine/resample_area_kernels.h>

#include <engine/sample_picture.h>
#include <engine/targets.h>

#include <gtest/gtest.h>

namespace zel::engine {
namespace {

/// By repetition: with each pixel cut into columns × rows parts, every cell holds width × height whole parts.
Color meanOfParts(const SamplePicture& source, Size cells, int column, int row)
{
    const Size from{source.pixels().width, source.pixels().height};
    std::array<long long, 4> sums{};
    for (int y = row * from.height; y < (row + 1) * from.height; ++y) {
        for (int x = column * from.width; x < (column + 1) * from.width; ++x) {
            const Color color = source.get(x / cells.width, y / cells.height);
            for (std::size_t c = 0; c < 4; ++c)
                sums[c] += color[c];
        }
    }
    Color mean{};
    const long long parts = 1LL * from.width * from.height;
    for (std::size_t c = 0; c < 4; ++c)
        mean[c] = static_cast<int>((2 * sums[c] + parts) / (2 * parts));
    return mean;
}

TEST(AreaMean, IsTheMeanOverWhatEachPixelCovers)
{
    const struct {
        const char* name;
        Size from, to;
    } cases[] = {
        {"to one pixel", {31, 17}, {1, 1}},    {"whole blocks", {32, 18}, {8, 6}},
        {"with fractions", {31, 17}, {7, 5}},  {"by a hair", {20, 20}, {19, 19}},
        {"equal", {13, 9}, {13, 9}},           {"enlarged", {5, 3}, {12, 7}},
        {"wider and lower", {5, 30}, {12, 7}}, {"many rows", {20, 200}, {3, 101}},
        {"one pixel to many", {1, 1}, {5, 5}}, {"tall cells", {3, 300}, {1, 2}},
    };
    for (const int bytes : {4, 8}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", " << bytes << " bytes");
            const SamplePicture source = SamplePicture::noise(c.from.width, c.from.height, bytes);
            SamplePicture target(c.to.width, c.to.height, bytes);
            ASSERT_TRUE(areaMean(source.pixels(), target.pixels()));
            for (int y = 0; y < c.to.height; ++y)
                for (int x = 0; x < c.to.width; ++x)
                    ASSERT_EQ(target.get(x, y), meanOfParts(source, c.to, x, y)) << "at " << x << ", " << y;
        }
    }
}

TEST(AreaMean, TakesRowsInBandsOfAnyHeightAndOrder)
{
    const SamplePicture source = SamplePicture::noise(50, 61, 4);
    SamplePicture expected(7, 9, 4);
    ASSERT_TRUE(areaMean(source.pixels(), expected.pixels()));
    for (const int band : {1, 5, 16, 61}) {
        for (const bool upwards : {false, true}) {
            AreaMean mean(50, 61, 7, 9);
            ASSERT_TRUE(mean.valid());
            std::vector<int> starts;
            for (int y = 0; y < 61; y += band)
                starts.push_back(y);
            if (upwards)
                std::reverse(starts.begin(), starts.end());
            for (const int y : starts)
                ASSERT_TRUE(mean.push(y, source.pixels().rows(y, std::min(band, 61 - y))));
            SamplePicture actual(7, 9, 4);
            ASSERT_TRUE(mean.result(actual.pixels()));
            EXPECT_EQ(actual, expected) << "bands of " << band;
        }
    }
}

TEST(AreaMean, GivesFractionsOfALevel)
{
    SamplePicture source(2, 2, 4);
    source.set(0, 0, {10, 0, 0, 255});
    source.set(1, 0, {11, 0, 1, 255});
    source.set(0, 1, {11, 255, 0, 255});
    source.set(1, 1, {11, 255, 0, 254});
    AreaMean mean(2, 2, 1, 1);
    ASSERT_TRUE(mean.push(0, source.pixels()));
    EXPECT_EQ(mean.mean(0, 0), (std::array<double, 4>{10.75, 127.5, 0.25, 254.75}));
    SamplePicture target(1, 1, 4);
    ASSERT_TRUE(mean.result(target.pixels()));
    EXPECT_EQ(target.get(0, 0), (Color{11, 128, 0, 255}));
    EXPECT_EQ(mean.mean(1, 0), (std::array<double, 4>{})) << "no such cell";
}

TEST(AreaMean, DoesNotOverflowOnLongWhiteColumns)
{
    // More rows than 32 bits hold of the largest component, in one cell.
    SamplePicture source(2, 70000, 8);
    source.fill({255, 255, 255, 255});
    AreaMean mean(2, 70000, 1, 1, 8);
    ASSERT_TRUE(mean.push(0, source.pixels()));
    EXPECT_EQ(mean.mean(0, 0), (std::array<double, 4>{65535, 65535, 65535, 65535}));
}

TEST(AreaMean, GivesTheSameBytesForAnyNumberOfThreads)
{
    const SamplePicture source = SamplePicture::noise(1300, 1100, 4);
    for (const Size to : {Size{3, 2}, Size{400, 300}}) {
        SamplePicture one(to.width, to.height, 4), three(to.width, to.height, 4);
        setConcurrency(1);
        ASSERT_TRUE(areaMean(source.pixels(), one.pixels()));
        setConcurrency(3);
        ASSERT_TRUE(areaMean(source.pixels(), three.pixels()));
        setConcurrency(0);
        EXPECT_EQ(one, three);
    }
}

TEST(AreaMeanKernels, AddRowsOnEveryInstructionSet)
{
    for (const int rowCount : {1, 2, 7, mostRowsAdded}) {
        for (int width = 1; width <= 70; ++width) {
            SCOPED_TRACE(testing::Message() << rowCount << " rows of " << width << " pixels");
            SamplePicture source = SamplePicture::noise(width, rowCount, 4);
            std::fill_n(source.pixels().row(0), 4, std::uint8_t{255});
            std::vector<const std::uint8_t*> rows;
            for (int y = 0; y < rowCount; ++y)
                rows.push_back(source.pixels().row(y));
            const auto count = static_cast<std::size_t>(width) * 4;
            std::vector<std::uint32_t> expected(count + 64, 4000000000U);
            const std::vector<std::uint32_t> before = expected;
            addRowsReference(rows.data(), rowCount, expected.data(), count);
            forEachTarget([&] {
                std::vector<std::uint32_t> actual = before;
                addRows(rows.data(), rowCount, actual.data(), count);
                EXPECT_EQ(actual, expected);
            });
        }
    }
}

TEST(AreaMean, RefusesWhatDoesNotFit)
{
    const SamplePicture source(4, 4, 4);
    SamplePicture target(2, 2, 4), deep(2, 2, 8);
    EXPECT_FALSE(areaMean({}, target.pixels()));
    EXPECT_FALSE(areaMean(source.pixels(), {}));
    EXPECT_FALSE(areaMean(source.pixels(), deep.pixels()));
    EXPECT_FALSE(AreaMean(1 << 24, 1 << 24, 1, 1).valid()) << "sums would not fit in 64 bits";
    EXPECT_FALSE(AreaMean(4, 4, 0, 1).valid());
    EXPECT_FALSE(AreaMean(4, 4, 1, 1, 3).valid());
    AreaMean mean(4, 4, 2, 2);
    EXPECT_FALSE(mean.push(-1, source.pixels()));
    EXPECT_FALSE(mean.push(1, source.pixels()));
    EXPECT_FALSE(mean.push(0, SamplePicture(5, 4, 4).pixels()));
    EXPECT_FALSE(mean.push(0, SamplePicture(4, 4, 8).pixels()));
    EXPECT_FALSE(mean.result(SamplePicture(3, 2, 4).pixels()));
    EXPECT_FALSE(mean.result(deep.pixels()));
}

} // namespace
} // namespace zel::engine
