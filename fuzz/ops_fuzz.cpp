// Chains of operations on a small picture, with arguments of every kind: results have the size that is promised, pixels
// that can be read, and no operation changes what it was handed.
#include "decode_checks.h"
#include "target.h"

#include <zel/operations/found_subjects.h>
#include <zel/zel.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace zel;
using fuzz::Choices;
using fuzz::require;

constexpr double nowhere = std::numeric_limits<double>::quiet_NaN();
constexpr double endless = std::numeric_limits<double>::infinity();

/// Mostly sides that make sense, now and then one that does not.
double side(Choices& choices)
{
    constexpr std::array<double, 12> traps = {0,        -1,  -1e300, 1e300, nowhere,      endless,
                                              -endless, 0.5, 1e-9,   1e9,   2147483648.0, -0.0};
    const std::uint8_t kind = choices.byte();
    return kind < 24   ? traps[kind % traps.size()]
           : kind < 60 ? choices.number(1, 90) + choices.fraction()
                       : choices.number(1, 90);
}

Ref<ZelImage> makePicture(Choices& choices)
{
    ZelImageBitmapRGBA bitmap({.width = choices.number(1, 40), .height = choices.number(1, 40)});
    std::uint8_t value = choices.byte();
    for (std::uint8_t& byte : bitmap.bytes())
        byte = value = static_cast<std::uint8_t>(value * 5 + 3);
    if (choices.byte() % 2 == 0)
        bitmap.fillAlpha();
    return bitmap.zelImage();
}

std::vector<std::uint8_t> pixelsOf(const Ref<ZelImage>& image)
{
    if (!image || !image->cgImage)
        return {};
    const CGImage& picture = *image->cgImage;
    const std::span<const std::uint8_t> bytes = picture.bytes();
    const auto rowBytes = static_cast<std::size_t>(picture.width() * picture.layout().bitsPerComponent / 2);
    std::vector<std::uint8_t> pixels;
    for (std::size_t row = 0; row < bytes.size(); row += picture.bytesPerRow()) // without what lies between rows
        pixels.insert(pixels.end(), bytes.data() + row, bytes.data() + row + rowBytes);
    return pixels;
}

/// A whole number of pixels that a side may become: cut off, or rounded up.
void requireSide(double wanted, int got)
{
    require(got == static_cast<int>(wanted) || got == static_cast<int>(std::ceil(wanted - 1e-6)),
            "the side that is promised");
}

void requireSize(const Ref<ZelImage>& result, CGSize wanted)
{
    if (!result || !result->cgImage)
        return;
    requireSide(wanted.width, result->cgImage->width());
    requireSide(wanted.height, result->cgImage->height());
}

/// A colour taken out or put in, holes filled, a subject picked out.
Ref<ZelImage> cutOut(Choices& choices, const Ref<ZelImage>& image)
{
    const ZelColor color(choices.fraction(), choices.fraction(), choices.fraction());
    Ref<ZelImage> result;
    switch (choices.byte() % 4) {
    case 0:
        result = key(image, {.with = {.color = color, .tolerance = side(choices) * 5}});
        break;
    case 1:
        result = fill(image, {.with = color});
        require(image == nullptr || result != nullptr, "the picture itself where it cannot be filled");
        if (result != image) {
            const auto cleared = pixelsOf(key(result, {.with = {.color = color, .tolerance = 0}}));
            for (std::size_t i = 0; i < cleared.size(); i += 4)
                require(cleared[i] == 0, "nothing left of one colour once that is keyed out");
        }
        break;
    case 2:
        result = fillHoles(image, {.with = color});
        break;
    default: {
        const SeparateSubjects how{.alphaThreshold = choices.byte(),
                                   .padding = choices.number(-3, 20),
                                   .minPixelCount = choices.number(0, 9),
                                   .fillHoles = choices.byte() % 2 == 0,
                                   .fillHolesPercentage = side(choices) / 40};
        const auto subjects = zelFindSeparateSubjects(image, how);
        if (!subjects || subjects->empty())
            return image;
        for (const Ref<ZelImage>& subject : *subjects)
            require(subject->size.width <= image->cgImage->width() &&
                        subject->size.height <= image->cgImage->height() && !pixelsOf(subject).empty(),
                    "parts of the picture");
        const auto all = findSubjects(image->cgImage, {.alphaThreshold = how.alphaThreshold});
        std::int64_t pixels = 0;
        for (const FoundSubject& subject : all.value_or(std::vector<FoundSubject>()))
            pixels += subject.pixels;
        require(!all || subjects->size() <= all->size(), "no more subjects than without conditions");
        require(pixels <= std::int64_t{image->cgImage->width()} * image->cgImage->height(),
                "every pixel in one subject at most");
        return subjects->at(choices.byte() % subjects->size());
    }
    }
    if (image && result)
        requireSize(result, image->size);
    return result;
}

/// Turned by a quarter and back, by any angle, or convolved.
Ref<ZelImage> turned(Choices& choices, const Ref<ZelImage>& image)
{
    using Direction = ZelImage::RotationDirection;
    const double angle = side(choices) * 5;
    switch (choices.byte() % 4) {
    case 0: {
        const auto there = rotate(image, Direction::r90Clockwhise), back = rotate(there, Direction::r90AntiClockWise);
        require(pixelsOf(back) == pixelsOf(image), "two quarter turns that undo each other");
        return rotate(image, static_cast<Direction>(choices.byte() % 6));
    }
    case 1: {
        const auto result = rotate(image, {.degrees = angle});
        require(!result ||
                    result->cgImage->width() * result->cgImage->height() >= image->size.width * image->size.height,
                "a canvas that holds the picture");
        return result;
    }
    case 2: {
        const auto result = ZelImageHelper::rotate(image, {.by = angle});
        require(image == nullptr || result != nullptr, "the picture itself where it cannot be turned");
        return result;
    }
    default: {
        std::vector<std::int16_t> kernel(choices.byte() < 20 ? choices.byte() : 9);
        for (auto& weight : kernel)
            weight = static_cast<std::int16_t>(choices.number(-4, 9) * (choices.byte() < 20 ? 3000 : 1));
        const auto result = convolve(image, {.kernel = kernel});
        require((image != nullptr && kernel.size() == 9) || result == nullptr, "no result of other kernels");
        return result;
    }
    }
}

/// Where a rectangle may begin: around the picture, or nowhere near.
double offset(Choices& choices)
{
    return choices.byte() % 8 == 0 ? side(choices) : choices.number(-20, 60) + choices.fraction();
}

/// A part is inside its picture, and pixel for pixel what lies there.
Ref<ZelImage> cropped(const Ref<ZelImage>& image, CGRect rect)
{
    Ref<ZelImage> part = crop(image, {.to = rect});
    if (!part)
        return part;
    const CGImage &whole = *image->cgImage, &cut = *part->cgImage;
    require(cut.width() <= whole.width() && cut.height() <= whole.height(), "a part is no larger than its picture");
    const auto low = [](double edge) { return edge > 0 ? static_cast<std::size_t>(edge + 1e-6) : std::size_t{0}; };
    const std::size_t bytesPerPixel = whole.layout().bitsPerComponent == 16 ? 8 : 4;
    const auto all = whole.bytes(), some = cut.bytes();
    require(some[0] == all[low(rect.minY()) * whole.bytesPerRow() + low(rect.minX()) * bytesPerPixel],
            "the part's first pixel");
    return part;
}

/// One of the tiles; each row has as many.
Ref<ZelImage> oneOf(Choices& choices, const ZelTiles& rows)
{
    for (const auto& row : rows)
        require(!row.empty() && row.size() == rows.front().size(), "tiles in every row");
    if (rows.empty())
        return nullptr;
    const auto& row = rows[choices.byte() % rows.size()];
    return row[choices.byte() % row.size()];
}

/// Parts, tiles, two pictures in one.
Ref<ZelImage> cutApart(Choices& choices, const Ref<ZelImage>& image, const Ref<ZelImage>& other)
{
    const double a = side(choices), b = side(choices);
    Ref<ZelImage> result;
    switch (choices.byte() % 6) {
    case 0:
        return cropped(image, {{offset(choices), offset(choices)}, {a, b}});
    case 1:
        result = ZelImageHelper::crop(image, {.to = {{offset(choices), offset(choices)}, {a, b}}});
        requireSize(result, {std::fabs(a), std::fabs(b)});
        return result;
    case 2:
        return ZelImageHelper::cropToPoint(image, {.to = {offset(choices), offset(choices)}, .size = {a, b}});
    case 3:
        return oneOf(choices, split(image, SplitTo{.to = {a, b}, .tileBorder = choices.number(-3, 20)}));
    case 4:
        return oneOf(choices,
                     choices.byte() % 2 == 0
                         ? split(image, SplitRows{.rows = choices.number(-1, 9), .columns = choices.number(0, 60)})
                         : boundedSplit(image, {.toWidth = a, .max = true, .height = b, .maxHeight = true}));
    default:
        return join(image,
                    {.with = other,
                     .orientation = choices.byte() % 2 == 0 ? ZelImage::JoinOrientation::horizontal
                                                            : ZelImage::JoinOrientation::vertical,
                     .scaleMode = choices.byte() % 2 == 0 ? ZelImage::ScaleMode::max : ZelImage::ScaleMode::min});
    }
}

/// A table of noise in one of the forms of files, its shape right or nearly so.
std::optional<ZelLut> makeLut(Choices& choices)
{
    const int side = choices.number(2, 9), height = side * side + (choices.byte() < 8 ? 1 : 0);
    if (choices.byte() % 2 == 0) {
        std::string text = "LUT_3D_SIZE " + std::to_string(side) + "\n";
        for (int i = 0; i < side * height; ++i)
            text += std::to_string(choices.fraction()) + " " + std::to_string(choices.fraction()) + " 0.5\n";
        const auto picture = lutPicture(Data({text.begin(), text.end()}));
        return picture ? ZelLut::make(*picture) : std::nullopt;
    }
    ZelImageBitmapRGBA slices({.width = side, .height = height});
    for (std::uint8_t& byte : slices.bytes())
        byte = choices.byte();
    const auto picture = pngData(slices.zelImage());
    return picture ? ZelLut::make(*picture) : std::nullopt;
}

/// Straightened, exposed, sharpened, graded: the size and, but for straightening, alpha stay.
Ref<ZelImage> filtered(Choices& choices, const Ref<ZelImage>& image)
{
    Ref<ZelImage> result;
    bool keepsAlpha = true;
    switch (choices.byte() % 4) {
    case 0:
        result = rotateAndZoom(image, {.byDegrees = side(choices) * 5});
        keepsAlpha = false;
        break;
    case 1:
        result = exposure(image, side(choices) / 20 - 2);
        require(image == nullptr || result != nullptr, "the picture itself where it cannot be exposed");
        break;
    case 2:
        result = sharpen(image, {.sharpness = static_cast<float>(choices.fraction() * 300 - 100)});
        break;
    default: {
        const auto lut = makeLut(choices);
        if (!lut)
            return image;
        result = apply(image, {.lut = *lut});
    }
    }
    if (!image || !result || result == image)
        return result;
    const CGImage &before = *image->cgImage, &after = *result->cgImage;
    require(after.width() == before.width() && after.height() == before.height(), "the same size");
    constexpr auto drawn = CGAlphaInfo::premultipliedLast; // others hold their alpha elsewhere, or say nothing by it
    if (!keepsAlpha || after.layout().alphaInfo != drawn || before.layout().alphaInfo != drawn)
        return result;
    const auto alphaOf = [](const CGImage& picture, int x, int y) {
        return picture
            .bytes()[static_cast<std::size_t>(y) * picture.bytesPerRow() + static_cast<std::size_t>(x) * 4 + 3];
    };
    for (int y = 0; y < after.height(); ++y)
        for (int x = 0; x < after.width(); ++x)
            require(alphaOf(before, x, y) == alphaOf(after, x, y), "alpha as it was");
    return result;
}

/// Colours of the picture: as many as the grid has, and distances that are no more than that of black and white.
void measureColors(const Ref<ZelImage>& image, const Ref<ZelImage>& other, double a, double b)
{
    const auto grid = colorList(image, {.reduceToSize = {a, b}});
    require(grid.empty() || grid.size() == static_cast<std::size_t>(a) * static_cast<std::size_t>(b),
            "a colour a cell");
    require(ZelImageHelper::getColorList({.ofImage = image, .reduceToSize = {a, b}}).size() == grid.size(),
            "the same grid with alpha");
    const double delta = deltaColor(image, {.to = other, .colroGridSide = 3});
    require(std::isnan(delta) || (delta >= 0 && delta < 1.0001), "a difference within its bounds");
    (void)ZelImageHelper::getAverageColorOfImage(image);
    if (std::isfinite(a) && std::isfinite(b) && std::fabs(a) < 1e9 && std::fabs(b) < 1e9)
        (void)ZelImageHelper::getColor(
            {.ofImage = image, .x = static_cast<std::int64_t>(a), .y = static_cast<std::int64_t>(b)});
}

/// The picture with another one's brightness or alpha as its own.
Ref<ZelImage> maskedBy(const Ref<ZelImage>& other, Choices& choices, const Ref<ZelImage>& image)
{
    const bool byAlpha = choices.byte() % 2 == 0;
    const auto result = byAlpha ? apply(image, {.mask = other}) : apply(image, {.mask = other->cgImage});
    require(result != nullptr || image == nullptr, "the receiver where there is no mask");
    if (image)
        requireSize(result, image->size);
    return result;
}

Ref<ZelImage> step(Choices& choices, const Ref<ZelImage>& image, const Ref<ZelImage>& other)
{
    const CGSize size = image ? image->size : CGSize{};
    const double a = side(choices), b = side(choices);
    Ref<ZelImage> result;
    switch (choices.byte() % 23) {
    case 0:
        result = resize(image, {.to = {a, b}});
        requireSize(result, {a, b});
        return result;
    case 1:
        result = resize(image, {.withMaxSide = a});
        if (result && image)
            require(std::max(result->size.width, result->size.height) <= std::max({size.width, size.height}),
                    "no enlarging");
        return result;
    case 2:
        return resize(image, {.withMinSideBoundedTo = a});
    case 3:
        result = resize(image, {.toWidth = a});
        require(image == nullptr || result != nullptr, "the picture itself where the width cannot be had");
        return result;
    case 4:
        result = resize(image, {.toHeight = a});
        require(image == nullptr || result != nullptr, "the picture itself where the height cannot be had");
        return result;
    case 5:
        return thumb(image, {.maxSide = a});
    case 6:
        result = resizeWithFit(image, {.to = {a, b}});
        requireSize(result, {a, b});
        return result;
    case 7:
        result = resizeWithFill(image, {.to = {a, b}});
        requireSize(result, {a, b});
        return result;
    case 8:
        return ZelImageHelper::resizeImage_v3(image, {.size = {a, b}});
    case 9:
        return ZelImageHelper::reduceImageToSize(image, {.targetSize = {a, b}});
    case 10:
        return ZelImageHelper::reduceImageTo1x1Pixels(image);
    case 11:
        return turned(choices, image);
    case 12:
    case 13:
    case 14:
        return cutOut(choices, image);
    case 16:
    case 17:
        return cutApart(choices, image, other);
    case 18:
    case 19:
        return filtered(choices, image);
    case 21:
        measureColors(image, other, a, b);
        return image;
    case 22:
        return maskedBy(other, choices, image);
    default: {
        ZelWatermark how;
        how.position = allCases<ZelWatermark::Position>()[choices.byte() % 9];
        how.scale.policy = choices.byte() % 2 == 0 ? ZelWatermark::Scale::Policy::originalSize
                                                   : ZelWatermark::Scale::Policy::largestSideScale;
        how.scale.scale = a / 40;
        how.scale.maxScale = b / 40;
        how.opacity = choices.fraction() * 1.2 - 0.1;
        result = watermark(image, {.with = other, .using_ = how});
        requireSize(result, size);
        return result;
    }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ZelLimits limits = checks::tightLimits();
    limits.operationBytes = std::uint64_t{16} << 20;
    const ZelLimits::Scope scope(limits);
    Console::setSink({});

    Choices choices(data, size);
    const Ref<ZelImage> other = makePicture(choices);
    Ref<ZelImage> image = makePicture(choices);
    const std::vector<std::uint8_t> otherBefore = pixelsOf(other);
    for (int steps = 0; steps < 6 && choices.any(); ++steps) {
        const std::vector<std::uint8_t> before = pixelsOf(image);
        ZelFailure::clear();
        const Ref<ZelImage> result = step(choices, image, other);
        require(pixelsOf(image) == before && pixelsOf(other) == otherBefore,
                "the pictures that were handed over as they were");
        require(result != nullptr || ZelFailure::last().code != ZelFailureCode::none,
                "a reason where there is no result");
        if (result)
            pixelsOf(result);
        image = result;
    }
    return 0;
}
