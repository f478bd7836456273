#include <zel/core/image.h>
#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/images/draw.h>

#include <common/documents.h>
#include <common/pictures.h>

#include <gtest/gtest.h>

// Pages and drawings that are opened like any other picture.
namespace zel {
namespace {

using test::bytesOf;
using test::pixelAt;
using test::Rgba;

constexpr Rgba red{255, 0, 0, 255}, blue{0, 0, 255, 255}, paper{0, 0, 0, 0};

// Red on the left, blue on the right, a unit each.
const std::string drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='20' height='10'>"
                            "<rect width='10' height='10' fill='#ff0000'/>"
                            "<rect x='10' width='10' height='10' fill='#0000ff'/></svg>";

class DocumentImages : public testing::Test {
protected:
    void SetUp() override
    {
        if (!installedProgram("zel-documents") || !installedProgram("zel-drawings"))
            GTEST_SKIP() << "zel-documents or zel-drawings was not built";
        ZelFailure::clear();
    }
    void TearDown() override { documents::useProgram({}); }
};

TEST_F(DocumentImages, MeasureInPointsAndHaveAPixelEach)
{
    const struct {
        const char* name;
        std::string text;
        CGSize points;
        CGSize pixels;
    } cases[] = {
        {"the first page of two", test::pdf({{"/MediaBox[0 0 100 50]"}, {"/MediaBox[0 0 7 7]"}}), {100, 50}, {100, 50}},
        {"a turned page", test::pdf({{"/MediaBox[0 0 100 50]/Rotate 270"}}), {50, 100}, {50, 100}},
        {"a cropped page", test::pdf({{"/MediaBox[0 0 100 50]/CropBox[10 10 60 40]"}}), {50, 30}, {50, 30}},
        {"a page with a fraction", test::pdf({{"/MediaBox[0 0 10.5 0.25]"}}), {10.5, 0.25}, {11, 1}},
        {"a drawing", drawing, {20, 10}, {20, 10}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const CGFloat scale : {1.0, 2.0}) {
            Screens::set({scale});
            const Ref<ZelImage> image = makeZelImage(bytesOf(c.text));
            ASSERT_TRUE(image) << ZelFailure::last().message;
            EXPECT_EQ(image->image->size(), c.points);
            EXPECT_EQ(image->size, c.pixels);
            EXPECT_EQ(image->cgImage->width(), c.pixels.width);
        }
        Screens::set({});
    }
    const Ref<ZelImage> bare = makeZelImage(bytesOf(drawing), {.dontCreateAuxiliaryVars = true});
    EXPECT_EQ(bare->cgImage, nullptr);
    bare->setSize();
    EXPECT_EQ(bare->size, (CGSize{20, 10}));
    EXPECT_EQ(pixelAt(*bare->cgImage, 9, 4), red);
    EXPECT_EQ(pixelAt(*bare->cgImage, 10, 4), blue);
}

TEST_F(DocumentImages, AreRenderedAtTheSizeThatIsAskedFor)
{
    const Ref<NSImage> image = NSImage::make(bytesOf(drawing));
    ASSERT_TRUE(image) << ZelFailure::last().message;
    const Ref<const CGImage> natural = image->cgImage();
    EXPECT_EQ(image->cgImage(CGRect{{0, 0}, {20, 10}}), natural);
    const Ref<const CGImage> large = image->cgImage(CGRect{{0, 0}, {200, 99.5}});
    ASSERT_TRUE(large);
    EXPECT_EQ(large->width(), 200);
    EXPECT_EQ(large->height(), 100);
    EXPECT_EQ(pixelAt(*large, 99, 50), red);
    EXPECT_EQ(pixelAt(*large, 100, 50), blue) << "sharp, and not enlarged";
    EXPECT_EQ(image->cgImage(), natural);
    EXPECT_EQ(image->cgImage(CGRect{{0, 0}, {0, 5}}), nullptr);
}

TEST_F(DocumentImages, AreDrawnSharp)
{
    const auto drawn = [](const Draw::CopyBits& what) {
        const Ref<NSImage> target = NSImage::make(CGSize{80, 40});
        Draw::start(target);
        Draw::copybits(what);
        Draw::end();
        return target->cgImage();
    };
    const Ref<NSImage> image = NSImage::make(bytesOf(drawing));
    ASSERT_TRUE(image) << ZelFailure::last().message;
    const auto whole = drawn({.srcImage = image});
    EXPECT_EQ(pixelAt(*whole, 39, 20), red);
    EXPECT_EQ(pixelAt(*whole, 40, 20), blue);
    // The right three quarters: pixels of the picture at one a point.
    const auto part =
        drawn({.srcImage = image, .srcRect = CGRect{{5, 0}, {15, 10}}, .dstRect = CGRect{{0, 0}, {60, 40}}});
    EXPECT_EQ(pixelAt(*part, 19, 20), red);
    EXPECT_EQ(pixelAt(*part, 20, 20), blue);
    EXPECT_EQ(pixelAt(*part, 59, 20), blue);
    EXPECT_EQ(pixelAt(*part, 61, 20), paper);
    // What is drawn over it is what it shows from then on.
    Draw::start(image);
    Draw::fillRect({{0, 0}, {20, 10}}, {0, 0, 1, 1});
    Draw::end();
    EXPECT_EQ(pixelAt(*image->cgImage(CGRect{{0, 0}, {80, 40}}), 1, 1), blue);
    // Beyond the limits the pixels that are there do.
    const Ref<NSImage> another = NSImage::make(bytesOf(drawing));
    ZelLimits few;
    few.pixels = 5000; // of the target 3200; of the whole drawing, where a quarter fills the target, 25600
    const ZelLimits::Scope scope(few);
    ZelFailure::clear();
    const auto small =
        drawn({.srcImage = another, .srcRect = CGRect{{0, 0}, {5, 5}}, .dstRect = CGRect{{0, 0}, {80, 40}}});
    ASSERT_TRUE(small) << ZelFailure::last().message;
    EXPECT_EQ(pixelAt(*small, 1, 1), red);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
}

TEST_F(DocumentImages, GiveNothingWhereTheyDoNotRender)
{
    const auto why = [](const std::string& text) {
        ZelFailure::clear();
        EXPECT_EQ(makeZelImage(bytesOf(text)), nullptr);
        return ZelFailure::last().code;
    };
    EXPECT_EQ(why("%PDF-1.7\ngarbage"), ZelFailureCode::notAnImage);
    EXPECT_EQ(why("<svg width='9' height='9'"), ZelFailureCode::notAnImage);
    EXPECT_EQ(why(test::lockedPdf()), ZelFailureCode::unsupported);
    EXPECT_EQ(why(test::pdf({{"/MediaBox[0 0 100000 100000]"}})), ZelFailureCode::limit);
    EXPECT_EQ(why("<html>an <svg> in a page</html>"), ZelFailureCode::notAnImage);
    documents::useProgram("/missing/zel-documents");
    EXPECT_EQ(why(drawing), ZelFailureCode::missingPart);
}

// A picture with the mark of a document in a comment stays the picture that it is.
TEST_F(DocumentImages, AreNoPicturesInDisguise)
{
    const std::string ppm = "P6\n# %PDF-1.4\n2 1\n255\n" + std::string(6, '\x7f');
    const Ref<ZelImage> image = makeZelImage(bytesOf(ppm));
    ASSERT_TRUE(image) << ZelFailure::last().message;
    EXPECT_EQ(image->size, (CGSize{2, 1}));
}

} // namespace
} // namespace zel
