// Through the shared library, as hosts link it: every call takes an absent picture, gives none, and leaves the cause of
// a nested chain standing. A function that the library forgot to show does not link here.
#include <zel/zel.h>

#include <gtest/gtest.h>

#include <functional>

namespace zel {
namespace {

const Ref<ZelImage> none;

struct Case {
    const char* name;
    std::function<bool()> isAbsent;
};

template <class T>
bool isAbsent(const T& result)
{
    return !result;
}

const Case operations[] = {
    {"resize to a size",
     [] {
         return isAbsent(resize(none, {.to = {10, 10}}));
     }},
    {"resize to a longest side", [] { return isAbsent(resize(none, {.withMaxSide = 10})); }},
    {"resize to a shortest side", [] { return isAbsent(resize(none, {.withMinSideBoundedTo = 10})); }},
    {"resize to a width", [] { return isAbsent(resize(none, {.toWidth = 10})); }},
    {"resize to a height", [] { return isAbsent(resize(none, {.toHeight = 10})); }},
    {"thumb", [] { return isAbsent(thumb(none, {.maxSide = 10})); }},
    {"resizeWithFit",
     [] {
         return isAbsent(resizeWithFit(none, {.to = {10, 10}}));
     }},
    {"resizeWithFill",
     [] {
         return isAbsent(resizeWithFill(none, {.to = {10, 10}}));
     }},
    {"resized",
     [] {
         return isAbsent(resized(Ref<const CIImage>(), {.to = {10, 10}}));
     }},
    {"resizeImage_v3",
     [] {
         return isAbsent(ZelImageHelper::resizeImage_v3(none, {.size = {10, 10}}));
     }},
    {"reduceImageToSize",
     [] {
         return isAbsent(ZelImageHelper::reduceImageToSize(none, {.targetSize = {10, 10}}));
     }},
    {"reduceImageTo1x1Pixels", [] { return isAbsent(ZelImageHelper::reduceImageTo1x1Pixels(none)); }},
    {"watermark", [] { return isAbsent(watermark(none, {.with = none, .using_ = {}})); }},
    {"crop",
     [] {
         return isAbsent(crop(none, {.toTargetRect = {{0, 0}, {1, 1}}}));
     }},
    {"crop, the other label",
     [] {
         return isAbsent(crop(none, {.to = {{0, 0}, {1, 1}}}));
     }},
    {"crop to a bitmap",
     [] {
         return isAbsent(cropToCGImnage(none, {.rect = {{0, 0}, {1, 1}}}));
     }},
    {"helper's crop",
     [] {
         return isAbsent(ZelImageHelper::crop(none, {.to = {{0, 0}, {1, 1}}}));
     }},
    {"crop around a point",
     [] {
         return isAbsent(ZelImageHelper::cropToPoint(none, {.to = {1, 1}, .size = {1, 1}}));
     }},
    {"split to a size",
     [] {
         return split(none, {.to = {9, 9}, .tileBorder = 1}).empty();
     }},
    {"split to a width", [] { return split(none, {.toWidth = 9}).empty(); }},
    {"split by counts", [] { return split(none, {.rows = 2, .columns = 2}).empty(); }},
    {"split within bounds",
     [] { return boundedSplit(none, {.toWidth = 9, .max = true, .height = 9, .maxHeight = true}).empty(); }},
    {"join",
     [] {
         return isAbsent(join(none, {.with = none,
                                     .orientation = ZelImage::JoinOrientation::vertical,
                                     .scaleMode = ZelImage::ScaleMode::min}));
     }},
    {"rotate by a quarter", [] { return isAbsent(rotate(none, ZelImage::RotationDirection::r180)); }},
    {"rotate a bitmap", [] { return isAbsent(rotate(Ref<const CGImage>(), ZelImage::RotationDirection::none)); }},
    {"rotate by degrees", [] { return isAbsent(rotate(none, {.degrees = 7})); }},
    {"helper's rotate", [] { return isAbsent(ZelImageHelper::rotate(none, {.by = 7})); }},
    {"convolve",
     [] {
         const ZelConvolution kernel({0, 0, 0}, {0, 3, 0}, {0, 0, 0});
         return isAbsent(convolve(none, {.convolution = kernel}));
     }},
    {"convolve with a kernel",
     [] {
         return isAbsent(convolve(none, {.kernel = {0, 0, 0, 0, 3, 0, 0, 0, 0}}));
     }},
    {"rotateAndZoom", [] { return isAbsent(rotateAndZoom(none, {.byDegrees = 7})); }},
    {"exposure", [] { return isAbsent(exposure(none, 1)); }},
    {"sharpen", [] { return isAbsent(sharpen(none, {.sharpness = 1})); }},
    {"sharpen a bitmap", [] { return isAbsent(sharpen(Ref<const CGImage>(), {.sharpness = 1})); }},
    {"apply a table",
     [] {
         const ZelLut lut(ZelLut::Undecoded{});
         return isAbsent(apply(none, {.lut = lut}));
     }},
    {"apply a table's file", [] { return isAbsent(apply(none, {.lutAtUrl = URL::file("absent.png")})); }},
    {"key", [] { return isAbsent(key(none, {.with = {}})); }},
    {"fill", [] { return isAbsent(fill(none, {.with = {}})); }},
    {"fillHoles", [] { return isAbsent(fillHoles(none, {.with = {}})); }},
    {"fillHoles of a bitmap", [] { return isAbsent(fillHoles(Ref<const CGImage>(), {.fillColor = {}})); }},
    {"subjects", [] { return isAbsent(zelFindSeparateSubjects(none, {.padding = 1})); }},
    {"subjects of a bitmap",
     [] { return zelFindSeparateSubjects(Ref<const CGImage>(), {.alphaThreshold = 1}).empty(); }},
    {"colour grid", [] { return colorList(none, {.side = 4}).empty(); }},
    {"platform colour grid",
     [] {
         return ZelImageHelper::getColorList({.ofImage = none, .reduceToSize = {4, 4}}).empty();
     }},
    {"average",
     [] {
         return ZelImageHelper::getAverageColorOfImage(none) == NSColor{0, 0, 0, 0};
     }},
    {"pixel",
     [] {
         return ZelImageHelper::getColor({.ofImage = none, .x = 0, .y = 0}) == NSColor{0, 0, 0, 0};
     }},
    {"mask by a bitmap", [] { return isAbsent(apply(none, {.mask = Ref<const CGImage>()})); }},
    {"mask by an image", [] { return isAbsent(apply(none, {.mask = none})); }},
    {"pngData", [] { return isAbsent(pngData(none)); }},
    {"jpegData", [] { return isAbsent(jpegData(none, {.quality = 0.5})); }},
    {"saveToPNG", [] { return isAbsent(saveToPNG(none, {.url = URL::file("absent.png")})); }},
    {"saveToJpeg", [] { return isAbsent(saveToJpeg(none, {.quality = 0.5, .url = URL::file("absent.jpg")})); }},
    {"saveToJpeg within bytes",
     [] { return isAbsent(saveToJpeg(none, {.toUrl = URL::file("absent.jpg"), .maxSize = 9})); }},
    {"helper's saveToPNG",
     [] { return isAbsent(ZelImageHelper::saveToPNG(none, {.toUrl = URL::file("absent.png")})); }},
    {"helper's saveToTIFF",
     [] { return isAbsent(ZelImageHelper::saveToTIFF(none, {.toUrl = URL::file("absent.tif")})); }},
    {"helper's saveToJpeg within bytes",
     [] { return isAbsent(ZelImageHelper::saveToJpeg(none, {.desiredSize = 9, .toUrl = URL::file("absent.jpg")})); }},
    {"image of no platform image", [] { return isAbsent(makeZelImage(Ref<NSImage>())); }},
    {"image of no bitmap", [] { return isAbsent(makeZelImage(Ref<const CGImage>())); }},
    {"image of no expression", [] { return isAbsent(makeZelImage(Ref<const CIImage>())); }},
    {"bitmap of no expression", [] { return isAbsent(getCGImage(Ref<const CIImage>())); }},
    {"expression of no bitmap", [] { return isAbsent(CIImage::make(Ref<const CGImage>())); }},
    {"representation of no bitmap", [] { return isAbsent(NSBitmapImageRep::make(Ref<const CGImage>())); }},
    {"platform image of no bitmap",
     [] {
         return isAbsent(NSImage::make(Ref<const CGImage>(), {1, 1}));
     }},
    {"fit of no picture", [] { return isAbsent(ZelCanvas::fit({.image = none, .inRatio = 1})); }},
};

class Absent : public testing::Test {
protected:
    Absent() { Console::setSink({}); }
    ~Absent() override { ZelFailure::clear(); }
};

TEST_F(Absent, InGivesAbsentOutAndAReason)
{
    for (const Case& row : operations) {
        SCOPED_TRACE(row.name);
        ZelFailure::clear();
        EXPECT_TRUE(row.isAbsent());
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    }
}

TEST_F(Absent, InKeepsTheCauseOfTheChain)
{
    for (const Case& row : operations) {
        SCOPED_TRACE(row.name);
        ZelFailure::clear();
        EXPECT_FALSE(makeZelImage(URL::file("no-such-folder/picture.jpg")));
        const ZelNote cause = ZelFailure::last();
        EXPECT_EQ(cause.code, ZelFailureCode::notFound);
        EXPECT_TRUE(row.isAbsent());
        EXPECT_EQ(ZelFailure::last(), cause);
    }
}

TEST_F(Absent, MeasuresAreThoseOfNothing)
{
    EXPECT_EQ(ZelImageHelper::getSize(nullptr), CGSize());
    EXPECT_EQ(ZelImageHelper::getRepresentedSize(none), CGSize());
    EXPECT_EQ(ZelImageHelper::getRect(none), CGRect());
    EXPECT_NE(aspectRatio(none), aspectRatio(none)) << "not a number";
    const ZelImageBitmapRGBA bitmap(none);
    EXPECT_EQ(bitmap.width() * bitmap.height(), 0);
    EXPECT_EQ(bitmap.getPixelZelColor255({.x = 0, .y = 0}), ZelColor255());
    const ZelContextImage context(none);
    EXPECT_EQ(context.getPixelAlpha({.x = 5, .y = -5}), 0);
}

TEST_F(Absent, EnumerationsAndRecordsAreShownToHosts)
{
    for (const ZelWatermark::Position position : allCases<ZelWatermark::Position>())
        EXPECT_EQ(fromRawValue<ZelWatermark::Position>(rawValue(position)), position) << displayName(position);
    EXPECT_EQ(encode(decode<ZelColor255>(R"({"a":4,"b":3,"g":2,"r":1})")), R"({"r":1,"g":2,"b":3,"a":4})");
    const ZelComposer composer;
    EXPECT_EQ(decode<ZelComposer>(encode(composer)).id, composer.id);
    EXPECT_EQ(nearestVerticalGuide(composer, {.for_ = {}, .at = 0.001, .in = {1000, 1000}}), 0.0);
    EXPECT_THROW((void)decode<ZelCanvas>("[]"), ZelDecodingError); // caught across the border of the library
}

} // namespace
} // namespace zel
