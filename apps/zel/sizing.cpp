#include "sizing.h"

#include "common_options.h"
#include "quantity.h"

#include <zel/operations/resize.h>

#include <algorithm>
#include <cmath>

namespace zel::program {
namespace {

/// How many times larger the picture would get in the direction in which it grows most.
double growth(CGSize before, const SizingOptions& to)
{
    const auto [width, height] = before;
    const auto side = [](std::int64_t pixels) { return static_cast<double>(pixels); };
    if (to.size) {
        const double across = to.size->width / width, down = to.size->height / height;
        return to.fit == Fit::fit ? std::min(across, down) : std::max(across, down);
    }
    if (to.maxSide)
        return side(*to.maxSide) / std::max(width, height);
    if (to.minSide)
        return side(*to.minSide) / std::min(width, height);
    return to.width ? side(*to.width) / width : side(*to.height) / height;
}

} // namespace

std::int64_t readSide(std::string_view text)
{
    constexpr std::int64_t longest = 1'000'000;
    return readWhole(text, 1, longest);
}

Fit readFit(std::string_view text)
{
    return readChoice<Fit>(text, {{"none", Fit::none}, {"fit", Fit::fit}, {"fill", Fit::fill}});
}

void SizingOptions::declare(Arguments& arguments, bool all)
{
    arguments.section("Size");
    arguments.value("--width", "W", width, readSide, "pixels; the height follows, unless given too");
    arguments.value("--height", "H", height, readSide, "pixels; the width follows, unless given too");
    if (all)
        arguments.value("--size", "WxH", size, readDimensions,
                        "both sides, each stretched on its own unless --fit says else");
    arguments.value("--max-side", "N", maxSide, readSide, "the longer side");
    if (!all)
        return;
    arguments.value("--min-side", "N", minSide, readSide, "the shorter side; smaller pictures stay as they are");
    arguments.value("--fit", "HOW", fit, readFit,
                    "with both sides: fit (all of it, the rest clear), fill (no gap, the rest cut), none (stretched)");
    arguments.flag("--no-enlarge", noEnlarge, "leave pictures alone that would grow");
}

void SizingOptions::check()
{
    if (size && (width || height))
        throw UsageError("--size says both sides; --width and --height cannot be given as well");
    if (width && height)
        size = CGSize{static_cast<double>(*width), static_cast<double>(*height)};
    if (size)
        width = height = std::nullopt;
    const int ways = (size ? 1 : 0) + (width || height ? 1 : 0) + (maxSide ? 1 : 0) + (minSide ? 1 : 0);
    if (ways > 1)
        throw UsageError("the size is given in two ways");
    if (fit && !size)
        throw UsageError("--fit needs both sides", "--size WxH");
}

CGSize sizeAfter(CGSize before, const SizingOptions& to, SmallPictures small)
{
    const bool bySide = to.maxSide || to.minSide;
    const double scale = to.isGiven() ? growth(before, to) : 1;
    if (!to.isGiven() || (to.noEnlarge && scale > 1) || (bySide && small == SmallPictures::stay && scale >= 1))
        return before;
    if (to.size)
        return *to.size;
    const CGSize exact{before.width * scale, before.height * scale};
    // By a longer or shorter side, parts of pixels are cut off; by a width or height they are filled up.
    if (bySide && small == SmallPictures::stay)
        return {std::max(1.0, std::floor(exact.width)), std::max(1.0, std::floor(exact.height))};
    constexpr double tolerance = 1e-6;
    return {std::ceil(exact.width - tolerance), std::ceil(exact.height - tolerance)};
}

Ref<ZelImage> resized(const Ref<ZelImage>& image, const SizingOptions& to, SmallPictures small)
{
    if (!image || !to.isGiven() || (to.noEnlarge && growth(image->size, to) > 1))
        return image;
    if (to.size) {
        switch (to.fit.value_or(Fit::none)) {
        case Fit::none:
            return resize(image, {.to = *to.size});
        case Fit::fit:
            return resizeWithFit(image, {.to = *to.size});
        case Fit::fill:
            return resizeWithFill(image, {.to = *to.size});
        }
    }
    if (to.maxSide) {
        const auto side = static_cast<CGFloat>(*to.maxSide);
        return small == SmallPictures::grow ? thumb(image, {.maxSide = side}) : resize(image, {.withMaxSide = side});
    }
    if (to.minSide)
        return resize(image, {.withMinSideBoundedTo = static_cast<CGFloat>(*to.minSide)});
    // These give the picture itself where the size cannot be had, which must not pass for a result.
    const auto result = to.width ? resize(image, {.toWidth = static_cast<CGFloat>(*to.width)})
                                 : resize(image, {.toHeight = static_cast<CGFloat>(*to.height)});
    return result == image ? nullptr : result;
}

} // namespace zel::program
