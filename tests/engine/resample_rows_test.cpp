#include <zel/engine/parallel.h>
#include <zel/engine/resample.h>

#include <engine/sample_picture.h>

#include <gtest/gtest.h>

namespace zel::engine {
namespace {

RowResamplerSizes sizesOf(const SamplePicture& from, const SamplePicture& to)
{
    const ConstPixels in = from.pixels();
    const ConstPixels out = to.pixels();
    return {in.width, in.height, out.width, out.height, in.bytesPerPixel};
}

/// Writes the rows that it is given where they belong, and sees that they come in order.
RowResampler::Consumer collectInto(SamplePicture& picture, int& next)
{
    return [&picture, &next](int first, const ConstPixels& rows) {
        EXPECT_EQ(first, next);
        EXPECT_EQ(rows.width, picture.pixels().width);
        next = first + rows.height;
        for (int y = 0; y < rows.height; ++y)
            std::copy_n(rows.row(y), rows.rowBytes(), picture.pixels().row(first + y));
        return true;
    };
}

TEST(RowResampler, GivesTheBytesOfResampleForAnyBands)
{
    const struct {
        const char* name;
        Size from, to;
        Window window;
    } cases[] = {
        {"reduced", {61, 97}, {20, 23}, whole},
        {"reduced to one row", {61, 97}, {20, 1}, whole},
        {"enlarged", {20, 23}, {61, 97}, whole},
        {"narrower and higher", {50, 20}, {13, 67}, whole},
        {"wider and lower", {13, 67}, {50, 20}, whole},
        {"equal", {13, 67}, {13, 67}, whole},
        {"from one row", {30, 1}, {10, 40}, whole},
        {"window, reduced", {61, 97}, {20, 23}, {3.3, 20.7, 40.1, 51.9}},
        {"window, enlarged", {61, 97}, {120, 200}, {30.5, 60.25, 20, 30}},
        {"window, copied", {61, 97}, {20, 30}, {5, 60, 20, 30}},
    };
    for (const int bytes : {4, 8}) {
        for (const Kernel kernel : {Kernel::nearest, Kernel::triangle, Kernel::lanczos3}) {
            for (const auto& c : cases) {
                const SamplePicture source = SamplePicture::noise(c.from.width, c.from.height, bytes);
                SamplePicture expected(c.to.width, c.to.height, bytes);
                ASSERT_TRUE(resample(source.pixels(), expected.pixels(), kernel, c.window));
                for (const int band : {1, 2, 7, 40, 1000}) {
                    SCOPED_TRACE(testing::Message() << c.name << ", bands of " << band << ", " << bytes
                                                    << " bytes, kernel " << static_cast<int>(kernel));
                    SamplePicture actual(c.to.width, c.to.height, bytes);
                    int next = 0;
                    RowResampler resampler(sizesOf(source, actual), kernel, c.window, Alpha::premultiplied,
                                           collectInto(actual, next));
                    ASSERT_TRUE(resampler.valid());
                    for (int y = 0; y < c.from.height; y += band) {
                        const int count = std::min(band, c.from.height - y);
                        ASSERT_TRUE(resampler.push(y, source.pixels().rows(y, count)));
                    }
                    EXPECT_TRUE(resampler.finished());
                    EXPECT_EQ(next, c.to.height);
                    EXPECT_EQ(actual, expected);
                }
            }
        }
    }
}

TEST(RowResampler, NeedsOnlyTheRowsThatItNames)
{
    const struct {
        const char* name;
        Kernel kernel;
        int toHeight;
        Window window;
        int first, end;
    } cases[] = {
        {"triangle, equal scale, half a pixel off", Kernel::triangle, 10, {0, 20.5, 10, 10}, 20, 31},
        {"triangle, halved: two beyond on both sides", Kernel::triangle, 10, {0, 40, 10, 20}, 39, 61},
        {"lanczos, enlarged: three beyond", Kernel::lanczos3, 40, {0, 40, 10, 10}, 37, 53},
        {"nearest, halved", Kernel::nearest, 10, {0, 40, 10, 20}, 41, 60},
        {"copied", Kernel::lanczos3, 10, {0, 40, 10, 10}, 40, 50},
        {"whole", Kernel::lanczos3, 10, whole, 0, 100},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SamplePicture source = SamplePicture::noise(10, 100, 4);
        SamplePicture expected(10, c.toHeight, 4), actual(10, c.toHeight, 4);
        ASSERT_TRUE(resample(source.pixels(), expected.pixels(), c.kernel, c.window));
        int next = 0;
        RowResampler resampler(sizesOf(source, actual), c.kernel, c.window, Alpha::premultiplied,
                               collectInto(actual, next));
        EXPECT_EQ(resampler.firstRow(), c.first);
        EXPECT_EQ(resampler.endRow(), c.end);
        for (int y = c.first; y < c.end; y += 3)
            ASSERT_TRUE(resampler.push(y, source.pixels().rows(y, std::min(3, c.end - y))));
        EXPECT_TRUE(resampler.finished());
        EXPECT_EQ(actual, expected);
    }
}

TEST(RowResampler, IgnoresRowsTwiceAndRefusesGaps)
{
    const SamplePicture source = SamplePicture::noise(20, 30, 4);
    for (const int height : {11, 50}) {
        SamplePicture expected(9, height, 4), actual(9, height, 4);
        ASSERT_TRUE(resample(source.pixels(), expected.pixels(), Kernel::lanczos3));
        int next = 0;
        RowResampler resampler(sizesOf(source, actual), Kernel::lanczos3, whole, Alpha::premultiplied,
                               collectInto(actual, next));
        EXPECT_TRUE(resampler.push(0, source.pixels().rows(0, 10)));
        EXPECT_FALSE(resampler.push(11, source.pixels().rows(11, 2))) << "row 10 is missing";
        EXPECT_TRUE(resampler.push(5, source.pixels().rows(5, 5))) << "known";
        EXPECT_TRUE(resampler.push(5, source.pixels().rows(5, 10))) << "half known";
        EXPECT_FALSE(resampler.push(15, source.pixels().rows(0, 16))) << "beyond the end";
        EXPECT_FALSE(resampler.push(-1, source.pixels().rows(0, 2)));
        EXPECT_FALSE(resampler.push(15, source.pixels().part(0, 15, 19, 15))) << "another width";
        EXPECT_FALSE(resampler.finished());
        EXPECT_TRUE(resampler.push(15, source.pixels().rows(15, 15)));
        EXPECT_TRUE(resampler.finished());
        EXPECT_EQ(actual, expected);
    }
}

TEST(RowResampler, StopsWhenTheConsumerDoes)
{
    const SamplePicture source = SamplePicture::noise(20, 30, 4);
    int calls = 0;
    RowResampler resampler({20, 30, 10, 15, 4}, Kernel::triangle, whole, Alpha::opaque,
                           [&](int, const ConstPixels&) { return ++calls < 2; });
    EXPECT_TRUE(resampler.push(0, source.pixels().rows(0, 6)));
    EXPECT_FALSE(resampler.push(6, source.pixels().rows(6, 6)));
    EXPECT_FALSE(resampler.push(12, source.pixels().rows(12, 18)));
    EXPECT_EQ(calls, 2);
}

TEST(RowResampler, IsInvalidWhereResampleRefuses)
{
    const auto take = [](int, const ConstPixels&) { return true; };
    EXPECT_FALSE(RowResampler({0, 30, 10, 15, 4}, Kernel::triangle, whole, Alpha::opaque, take).valid());
    EXPECT_FALSE(RowResampler({20, 30, 10, 0, 4}, Kernel::triangle, whole, Alpha::opaque, take).valid());
    EXPECT_FALSE(RowResampler({20, 30, 10, 15, 3}, Kernel::triangle, whole, Alpha::opaque, take).valid());
    RowResampler resampler({20, 30, 10, 15, 4}, Kernel::triangle, {0, 0, 0, 0}, Alpha::opaque, take);
    EXPECT_FALSE(resampler.valid());
    EXPECT_FALSE(resampler.push(0, SamplePicture(20, 30, 4).pixels()));
    EXPECT_FALSE(resampler.finished());
}

TEST(RowResampler, GivesTheSameBytesForAnyNumberOfThreads)
{
    const SamplePicture source = SamplePicture::noise(1400, 1000, 4);
    for (const Size to : {Size{500, 300}, Size{1500, 1700}, Size{300, 1500}}) {
        SamplePicture expected(to.width, to.height, 4), actual(to.width, to.height, 4);
        setConcurrency(1);
        ASSERT_TRUE(resample(source.pixels(), expected.pixels(), Kernel::lanczos3));
        setConcurrency(3);
        int next = 0;
        RowResampler resampler(sizesOf(source, actual), Kernel::lanczos3, whole, Alpha::premultiplied,
                               collectInto(actual, next));
        ASSERT_TRUE(resampler.push(0, source.pixels().rows(0, 700)));
        ASSERT_TRUE(resampler.push(700, source.pixels().rows(700, 300)));
        setConcurrency(0);
        EXPECT_EQ(actual, expected);
    }
}

} // namespace
} // namespace zel::engine
