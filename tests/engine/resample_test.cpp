#include <zel/engine/parallel.h>
#include <zel/engine/resample.h>
#include <zel/engine/resample_axis.h>

#include <engine/sample_picture.h>

#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

namespace zel::engine {
namespace {

constexpr Kernel kernels[] = {Kernel::nearest, Kernel::triangle, Kernel::lanczos3};
constexpr double infinite = std::numeric_limits<double>::infinity();

TEST(ResampleAxis, WeightsAddUpExactlyAndStayWithinBounds)
{
    const struct {
        const char* name;
        int from, to;
        double start, length;
    } cases[] = {
        {"24 MP across", 6000, 1600, 0, infinite},
        {"24 MP down", 4000, 1067, 0, infinite},
        {"to one", 6000, 1, 0, infinite},
        {"from one", 1, 50, 0, infinite},
        {"from two", 2, 77, 0, infinite},
        {"three to two", 3, 2, 0, infinite},
        {"enlarged", 1000, 4000, 0, infinite},
        {"by a hair", 1000, 1001, 0, infinite},
        {"reduced by a hair", 1001, 1000, 0, infinite},
        {"equal", 17, 17, 0, infinite},
        {"window", 100, 30, 12.3, 45.6},
        {"window beyond both ends", 10, 300, -20, 50},
        {"far outside", 10, 5, 1e9, 3},
        {"a huge reduction", 200000, 3, 0, infinite},
    };
    for (const int bits : {14, 24}) {
        for (const Kernel kernel : kernels) {
            for (const auto& c : cases) {
                SCOPED_TRACE(testing::Message() << c.name << ", kernel " << static_cast<int>(kernel));
                const std::optional<Axis> axis = makeAxis(c.from, c.to, c.start, c.length, kernel, bits);
                ASSERT_TRUE(axis);
                ASSERT_EQ(axis->taps.size(), static_cast<std::size_t>(c.to));
                int first = 0, end = 0;
                for (const Taps& taps : axis->taps) {
                    ASSERT_GE(taps.count, 1);
                    ASSERT_GE(taps.first, first);
                    ASSERT_GE(taps.end(), end);
                    ASSERT_LE(taps.end(), c.from);
                    first = taps.first;
                    end = taps.end();
                    long long sum = 0, magnitude = 0;
                    for (int k = 0; k < taps.count; ++k) {
                        sum += axis->weightsOf(taps)[k];
                        magnitude += std::abs(axis->weightsOf(taps)[k]);
                    }
                    ASSERT_EQ(sum, 1 << bits);
                    ASSERT_LT(magnitude, 2 << bits);
                }
                EXPECT_EQ(axis->first, axis->taps.front().first);
                EXPECT_EQ(axis->end, end);
            }
        }
    }
}

TEST(ResampleAxis, KnowsWhenItCopies)
{
    EXPECT_TRUE(makeAxis(9, 9, 0, infinite, Kernel::lanczos3, 14)->copies);
    EXPECT_TRUE(makeAxis(9, 4, 3, 4, Kernel::triangle, 14)->copies);
    EXPECT_FALSE(makeAxis(9, 4, 3.5, 4, Kernel::triangle, 14)->copies);
    EXPECT_FALSE(makeAxis(9, 9, 3, 9, Kernel::nearest, 14)->copies) << "repeats the edge";
    EXPECT_FALSE(makeAxis(4, 2, 0, infinite, Kernel::nearest, 14)->copies);
}

TEST(Resample, RefusesWhatHasNoMeaning)
{
    const SamplePicture source(8, 6, 4);
    SamplePicture target(4, 3, 4), deep(4, 3, 8);
    const double none = std::numeric_limits<double>::quiet_NaN();
    const Window windows[] = {{0, 0, 0, 5},        {0, 0, 5, -1},       {none, 0, 5, 5},     {0, 0, none, 5},
                              {0, infinite, 5, 5}, {9, 0, infinite, 5}, {0, 0, -infinite, 5}};
    for (const Kernel kernel : kernels) {
        EXPECT_FALSE(resample({}, target.pixels(), kernel));
        EXPECT_FALSE(resample(source.pixels(), {}, kernel));
        EXPECT_FALSE(resample(source.pixels(), deep.pixels(), kernel));
        for (const Window& window : windows)
            EXPECT_FALSE(resample(source.pixels(), target.pixels(), kernel, window));
    }
}

TEST(Resample, FlatAreasStayFlat)
{
    const Size sizes[] = {{1, 1}, {2, 3}, {7, 1}, {1, 9}, {31, 17}, {64, 40}, {203, 111}};
    const Window windows[] = {whole, {0.3, 0.7, 0.9, 1.1}, {-3, -5, 400, 300}};
    for (const int bytes : {4, 8}) {
        for (const Kernel kernel : kernels) {
            for (const Size from : sizes) {
                for (const Size to : sizes) {
                    for (const Window& window : windows) {
                        SamplePicture source(from.width, from.height, bytes);
                        source.fill({231, 17, 255, 255});
                        SamplePicture target(to.width, to.height, bytes);
                        SamplePicture expected(to.width, to.height, bytes);
                        expected.fill({231, 17, 255, 255});
                        ASSERT_TRUE(resample(source.pixels(), target.pixels(), kernel, window));
                        ASSERT_EQ(target, expected) << from << " to " << to << " kernel " << static_cast<int>(kernel);
                    }
                }
            }
        }
    }
}

TEST(Resample, CopiesWholePixels)
{
    for (const int bytes : {4, 8}) {
        for (const Kernel kernel : kernels) {
            const SamplePicture source = SamplePicture::noise(37, 23, bytes);
            SamplePicture same(37, 23, bytes), part(11, 7, bytes);
            ASSERT_TRUE(resample(source.pixels(), same.pixels(), kernel, whole, Alpha::opaque));
            EXPECT_EQ(same, source);
            ASSERT_TRUE(resample(source.pixels(), part.pixels(), kernel, {5, 9, 11, 7}, Alpha::opaque));
            EXPECT_EQ(part, source.part(5, 9, 11, 7));
        }
    }
}

TEST(Resample, CopiesAlongOneDirectionWhileItFiltersTheOther)
{
    // Every row alike: whatever happens downwards, the result's rows are the source's.
    SamplePicture source = SamplePicture::noise(37, 23, 4);
    for (int y = 1; y < 23; ++y)
        std::copy_n(source.pixels().row(0), 37 * 4, source.pixels().row(y));
    for (const int height : {1, 9, 22, 24, 90}) {
        SamplePicture target(37, height, 4);
        ASSERT_TRUE(resample(source.pixels(), target.pixels(), Kernel::lanczos3, whole, Alpha::opaque));
        for (int y = 0; y < height; ++y)
            ASSERT_EQ(target.part(0, y, 37, 1), source.part(0, 0, 37, 1)) << height << " rows, row " << y;
    }
}

TEST(Resample, NearestTakesThePixelUnderTheCentre)
{
    const struct {
        const char* name;
        int from, to;
        Window window;
        std::vector<int> columns;
    } cases[] = {
        {"half", 6, 3, whole, {1, 3, 5}},
        {"a third", 9, 3, whole, {1, 4, 7}},
        {"double", 3, 6, whole, {0, 0, 1, 1, 2, 2}},
        {"five to three", 5, 3, whole, {0, 2, 4}},
        {"window", 10, 3, {2, 0, 6, 1}, {3, 5, 7}},
        {"window with fractions", 10, 2, {2.6, 0, 2, 1}, {3, 4}},
        {"window beyond the edges", 3, 5, {-1, 0, 5, 1}, {0, 0, 1, 2, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SamplePicture source(c.from, 1, 4);
        for (int x = 0; x < c.from; ++x)
            source.set(x, 0, {x, x, x, 255});
        SamplePicture target(c.to, 1, 4);
        ASSERT_TRUE(resample(source.pixels(), target.pixels(), Kernel::nearest, c.window));
        for (int x = 0; x < c.to; ++x)
            EXPECT_EQ(target.get(x, 0)[0], c.columns[static_cast<std::size_t>(x)]) << "at " << x;
    }
}

TEST(Resample, TriangleGivesTheFiguresComputedByHand)
{
    const struct {
        const char* name;
        std::vector<int> from, expected;
        Window window;
    } cases[] = {
        {"doubled: quarters between the centres", {0, 200}, {0, 50, 150, 200}, whole},
        // Halved: weights 1/8 3/8 3/8 1/8; at the left 3/7 3/7 1/7 once the missing tap is left out.
        {"halved", {0, 80, 160, 240, 240, 240}, {57, 190, 240}, whole},
        {"a window takes pixels beside it", {0, 100, 200, 100}, {100, 200}, {1, 0, 2, 1}},
        {"half a pixel on", {0, 100, 200, 100}, {150, 150}, {1.5, 0, 2, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const int to = static_cast<int>(c.expected.size());
        for (const bool down : {false, true}) {
            const int from = static_cast<int>(c.from.size());
            SamplePicture source(down ? 1 : from, down ? from : 1, 4);
            for (int i = 0; i < from; ++i) {
                const int value = c.from[static_cast<std::size_t>(i)];
                source.set(down ? 0 : i, down ? i : 0, {value, 0, value, 255});
            }
            SamplePicture target(down ? 1 : to, down ? to : 1, 4);
            Window window = c.window;
            if (down)
                window = {window.y, window.x, window.height, window.width};
            ASSERT_TRUE(resample(source.pixels(), target.pixels(), Kernel::triangle, window));
            for (int i = 0; i < to; ++i) {
                const std::array<int, 4> pixel = target.get(down ? 0 : i, down ? i : 0);
                const int value = c.expected[static_cast<std::size_t>(i)];
                EXPECT_THAT(pixel, testing::ElementsAre(value, 0, value, 255)) << "at " << i;
            }
        }
    }
}

/// The textbook: every result pixel as the weighted mean of all source pixels, in floating point.
double exact(const SamplePicture& source, const SamplePicture& target, Kernel kernel, const Window& window, int x,
             int y, int component)
{
    const auto weight = [kernel](double distance) {
        if (kernel == Kernel::triangle)
            return std::max(0.0, 1 - std::abs(distance));
        const double angle = std::numbers::pi * distance;
        if (std::abs(distance) < 1e-9)
            return 1.0;
        return std::abs(distance) < 3 ? std::sin(angle) / angle * std::sin(angle / 3) / (angle / 3) : 0.0;
    };
    const auto alongAxis = [&](int from, double start, double length, int to, int i) {
        length = std::min(length, from - start);
        const double scale = length / to;
        std::vector<double> weights(static_cast<std::size_t>(from));
        double sum = 0;
        for (int j = 0; j < from; ++j) {
            const double distance = j + 0.5 - (start + (i + 0.5) * scale);
            sum += weights[static_cast<std::size_t>(j)] = weight(distance / std::max(1.0, scale));
        }
        for (double& w : weights)
            w /= sum;
        return weights;
    };
    const ConstPixels from = source.pixels();
    const std::vector<double> across = alongAxis(from.width, window.x, window.width, target.pixels().width, x);
    const std::vector<double> down = alongAxis(from.height, window.y, window.height, target.pixels().height, y);
    double value = 0;
    for (int row = 0; row < from.height; ++row)
        for (int column = 0; column < from.width; ++column)
            value += across[static_cast<std::size_t>(column)] * down[static_cast<std::size_t>(row)] *
                     source.get(column, row)[static_cast<std::size_t>(component)];
    return std::clamp(value, 0.0, source.maximum());
}

TEST(Resample, IsTheWeightedMeanOfTheTextbook)
{
    const struct {
        const char* name;
        Size from, to;
        Window window;
    } cases[] = {
        {"reduced", {41, 37}, {13, 9}, whole},
        {"reduced by a hair", {20, 20}, {19, 19}, whole},
        {"enlarged", {9, 11}, {30, 41}, whole},
        {"wider and lower", {11, 40}, {33, 12}, whole},
        {"narrower and higher", {40, 11}, {12, 33}, whole},
        {"to one pixel", {30, 20}, {1, 1}, whole},
        {"from one row", {30, 1}, {8, 3}, whole},
        {"a window with fractions", {30, 30}, {12, 14}, {4.25, 7.5, 20.125, 9.75}},
        {"a window at the corner", {30, 30}, {12, 40}, {20.5, 20.5, infinite, infinite}},
    };
    for (const int bytes : {4, 8}) {
        // Rounding of the result, 0.5; what the weights and the values between the passes lose stays below 0.1.
        const double tolerance = 0.6;
        for (const Kernel kernel : {Kernel::triangle, Kernel::lanczos3}) {
            for (const auto& c : cases) {
                SCOPED_TRACE(testing::Message()
                             << c.name << ", " << bytes << " bytes, kernel " << static_cast<int>(kernel));
                const SamplePicture source = SamplePicture::noise(c.from.width, c.from.height, bytes);
                SamplePicture target(c.to.width, c.to.height, bytes);
                ASSERT_TRUE(resample(source.pixels(), target.pixels(), kernel, c.window, Alpha::opaque));
                for (int y = 0; y < c.to.height; ++y)
                    for (int x = 0; x < c.to.width; ++x)
                        for (int component = 0; component < 4; ++component)
                            ASSERT_NEAR(target.get(x, y)[static_cast<std::size_t>(component)],
                                        exact(source, target, kernel, c.window, x, y, component), tolerance)
                                << "at " << x << ", " << y;
            }
        }
    }
}

TEST(Resample, ColoursStayWithinAlpha)
{
    for (const int bytes : {4, 8}) {
        for (const Size to : {Size{60, 70}, Size{13, 11}}) {
            SamplePicture source(31, 29, bytes); // bars of opaque white and of nothing overshoot on both sides
            for (int y = 0; y < 29; ++y)
                for (int x = 0; x < 31; ++x)
                    source.set(x, y, (x / 4 + y / 3) % 2 == 0 ? Color{255, 128, 0, 128} : Color{0, 0, 0, 255});
            for (int y = 0; y < 29; ++y) // a premultiplied picture to begin with
                for (int x = 0; x < 31; ++x)
                    if (source.get(x, y)[3] < source.get(x, y)[0])
                        source.set(x, y, {128, 128, 0, 128});
            SamplePicture held(to.width, to.height, bytes), free(to.width, to.height, bytes);
            ASSERT_TRUE(resample(source.pixels(), held.pixels(), Kernel::lanczos3));
            ASSERT_TRUE(resample(source.pixels(), free.pixels(), Kernel::lanczos3, whole, Alpha::opaque));
            int beyond = 0;
            for (int y = 0; y < to.height; ++y) {
                for (int x = 0; x < to.width; ++x) {
                    std::array<int, 4> expected = free.get(x, y);
                    for (int c = 0; c < 3; ++c) {
                        int& colour = expected[static_cast<std::size_t>(c)];
                        beyond += colour > expected[3] ? 1 : 0;
                        colour = std::min(colour, expected[3]);
                    }
                    ASSERT_EQ(held.get(x, y), expected);
                }
            }
            EXPECT_GT(beyond, 0) << "the case does not reach what it is for";
        }
    }
}

TEST(Resample, TakesStridesOfAnySign)
{
    const SamplePicture source = SamplePicture::noise(40, 30, 4);
    const SamplePicture turned = source.flipped();
    SamplePicture expected(17, 50, 4), actual(17, 50, 4);
    ASSERT_TRUE(resample(turned.pixels(), expected.pixels(), Kernel::lanczos3));
    const ConstPixels from = source.pixels();
    const ConstPixels upwards{from.row(29), -from.stride, 40, 30, 4};
    ASSERT_TRUE(resample(upwards, actual.pixels(), Kernel::lanczos3));
    EXPECT_EQ(actual, expected);
}

TEST(Resample, GivesTheSameBytesForAnyNumberOfThreads)
{
    for (const Size to : {Size{700, 333}, Size{1999, 1501}, Size{700, 2000}}) {
        const SamplePicture source = SamplePicture::noise(1500, 1100, 4);
        for (const Kernel kernel : kernels) {
            SamplePicture one(to.width, to.height, 4), three(to.width, to.height, 4);
            setConcurrency(1);
            ASSERT_TRUE(resample(source.pixels(), one.pixels(), kernel));
            setConcurrency(3);
            ASSERT_TRUE(resample(source.pixels(), three.pixels(), kernel));
            setConcurrency(0);
            EXPECT_EQ(one, three);
        }
    }
}

} // namespace
} // namespace zel::engine
