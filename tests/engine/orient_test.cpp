#include <zel/engine/orient.h>
#include <zel/engine/orient_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <string>

namespace zel::engine {
namespace {

constexpr Orientation everyOrientation[] = {
    Orientation::upright,    Orientation::mirrored,  Orientation::halfTurn,    Orientation::flipped,
    Orientation::transposed, Orientation::clockwise, Orientation::transversed, Orientation::counterclockwise};

/// Letters as pixels, rows parted by "/".
TestPicture lettered(const std::string& rows, int bytesPerPixel)
{
    const auto width = static_cast<int>(rows.find('/'));
    const auto height = static_cast<int>((rows.size() + 1) / (rows.find('/') + 1));
    TestPicture picture(width, height, bytesPerPixel);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            std::memset(picture.pixels().at(x, y), rows[static_cast<std::size_t>(y * (width + 1) + x)],
                        static_cast<std::size_t>(bytesPerPixel));
    return picture;
}

std::string letters(const ConstPixels& pixels)
{
    std::string rows;
    for (int y = 0; y < pixels.height; ++y) {
        if (y > 0)
            rows += '/';
        for (int x = 0; x < pixels.width; ++x)
            rows += static_cast<char>(*pixels.at(x, y));
    }
    return rows;
}

TEST(Orient, TheEightWaysByHand)
{
    // The tag tells which sides of the upright picture the stored first row and column are, for example 6: the first
    // row is the right side, the first column the top.
    struct Case {
        int tag;
        const char* upright;
    };
    const Case cases[] = {{1, "abc/def"},  {2, "cba/fed"},  {3, "fed/cba"},  {4, "def/abc"},
                          {5, "ad/be/cf"}, {6, "da/eb/fc"}, {7, "fc/eb/da"}, {8, "cf/be/ad"}};
    for (const int bytesPerPixel : {4, 8}) {
        const TestPicture stored = lettered("abc/def", bytesPerPixel);
        for (const Case& c : cases) {
            SCOPED_TRACE(c.tag);
            const auto orientation = static_cast<Orientation>(c.tag);
            const bool swapped = swapsSides(orientation);
            EXPECT_EQ(swapped, c.tag >= 5);
            TestPicture upright(swapped ? 2 : 3, swapped ? 3 : 2, bytesPerPixel);
            ASSERT_TRUE(orient(stored.pixels(), orientation, upright.pixels()));
            EXPECT_EQ(letters(upright.pixels()), c.upright);
        }
    }
}

TEST(Orient, FourQuarterTurnsAndEveryMirrorTwiceGiveThePictureBack)
{
    for (const int bytesPerPixel : {4, 8}) {
        const TestPicture first(601, 455, bytesPerPixel, 0); // large enough for several bands
        TestPicture sideways(455, 601, bytesPerPixel, 0), back(601, 455, bytesPerPixel, 0, 9);
        for (const Orientation orientation : everyOrientation) {
            SCOPED_TRACE(static_cast<int>(orientation));
            TestPicture& once = swapsSides(orientation) ? sideways : back;
            ASSERT_TRUE(orient(first.pixels(), orientation, once.pixels()));
            Orientation inverse = orientation;
            if (orientation == Orientation::clockwise)
                inverse = Orientation::counterclockwise;
            if (orientation == Orientation::counterclockwise)
                inverse = Orientation::clockwise;
            TestPicture twice(601, 455, bytesPerPixel, 0, 10);
            ASSERT_TRUE(orient(once.pixels(), inverse, twice.pixels()));
            for (int y = 0; y < 455; ++y)
                ASSERT_EQ(std::memcmp(twice.pixels().row(y), first.pixels().row(y), first.pixels().rowBytes()), 0);
        }
    }
}

TEST(Orient, TwoMovesInOne)
{
    const TestPicture stored = lettered("abc/def", 4);
    const auto oriented = [](const TestPicture& from, Orientation how) {
        const bool swapped = swapsSides(how);
        TestPicture to(swapped ? from.shape.height : from.shape.width, swapped ? from.shape.width : from.shape.height);
        EXPECT_TRUE(orient(from.pixels(), how, to.pixels()));
        return to;
    };
    for (const Orientation first : everyOrientation)
        for (const Orientation second : everyOrientation)
            EXPECT_EQ(letters(oriented(stored, composed(first, second)).pixels()),
                      letters(oriented(oriented(stored, first), second).pixels()))
                << static_cast<int>(first) << ", then " << static_cast<int>(second);
}

TEST(Orient, RefusesOtherSizesAndUnknownTags)
{
    const TestPicture stored(3, 2);
    TestPicture lying(3, 2), standing(2, 3), deep(3, 2, 8);
    const auto before = lying.bytes;
    EXPECT_FALSE(orient(stored.pixels(), Orientation::clockwise, lying.pixels()));
    EXPECT_FALSE(orient(stored.pixels(), Orientation::halfTurn, standing.pixels()));
    EXPECT_FALSE(orient(stored.pixels(), Orientation::mirrored, deep.pixels()));
    EXPECT_FALSE(orient(stored.pixels(), static_cast<Orientation>(0), lying.pixels()));
    EXPECT_FALSE(orient(stored.pixels(), static_cast<Orientation>(9), standing.pixels()));
    EXPECT_FALSE(orient(ConstPixels{}, Orientation::upright, Pixels{}));
    EXPECT_EQ(lying.bytes, before);
}

TEST(OrientKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    forEachTarget([] {
        for (const int bytesPerPixel : {4, 8})
            for (int width = 1; width <= 140; width += width < 36 ? 1 : 13)
                for (const int height : {1, 2, 7, 8, 9, 16, 17, 31, 33, 70}) {
                    const TestPicture from(width, height, bytesPerPixel, static_cast<std::size_t>(4 * (width % 3)));
                    TestPicture expected(height, width, bytesPerPixel, 4);
                    TestPicture actual = expected;
                    transposePixelsReference(from.pixels(), expected.pixels());
                    transposePixels(from.pixels(), actual.pixels());
                    ASSERT_EQ(actual.bytes, expected.bytes) << "transposing " << width << " x " << height;
                    TestPicture mirrored(width, height, bytesPerPixel, 4);
                    TestPicture mirroredActual = mirrored;
                    mirrorRowsReference(from.pixels(), mirrored.pixels());
                    mirrorRows(from.pixels(), mirroredActual.pixels());
                    ASSERT_EQ(mirroredActual.bytes, mirrored.bytes) << "mirroring " << width << " x " << height;
                }
    });
}

} // namespace
} // namespace zel::engine
