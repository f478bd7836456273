#include <zel/platform/graphics/picture_difference.h>

#include <zel/engine/difference.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace zel {
namespace {

engine::PixelBuffer room(const CGImage& like)
{
    if (!withinOperationLimits({static_cast<CGFloat>(like.width()), static_cast<CGFloat>(like.height())}, 4, "compare"))
        return {};
    engine::PixelBuffer pixels(like.width(), like.height());
    if (pixels.empty())
        (void)fail(ZelFailureCode::outOfMemory, "compare", "no memory for the picture's pixels");
    return pixels;
}

/// Empty, noted, where that cannot be done.
engine::PixelBuffer drawn(const CGImage& image)
{
    engine::PixelBuffer pixels = room(image);
    const engine::Window all{0, 0, static_cast<double>(image.width()), static_cast<double>(image.height())};
    if (!pixels.empty() && !renderScaled(image, all, pixels.pixels(), engine::Kernel::nearest))
        return {};
    return pixels;
}

} // namespace

std::optional<PictureDifference> pictureDifference(const CGImage& a, const CGImage& b, const DifferenceOptions& options)
{
    if (a.width() != b.width() || a.height() != b.height())
        return fail(ZelFailureCode::invalidArgument, "compare",
                    fmt::format("{} x {} pixels cannot be compared with {} x {}", b.width(), b.height(), a.width(),
                                a.height()));
    const engine::PixelBuffer one = drawn(a), other = one.empty() ? engine::PixelBuffer() : drawn(b);
    if (other.empty())
        return std::nullopt;
    const auto sums = engine::differenceSums(one.pixels(), other.pixels(), options.tolerance);

    PictureDifference result;
    const double pixels = static_cast<double>(a.width()) * a.height();
    const double components = pixels * (sums.opaque ? 3 : 4);
    result.mean = static_cast<double>(sums.absolute) / components;
    result.largest = sums.largest;
    result.share = static_cast<double>(sums.differing) / pixels;
    const double error = static_cast<double>(sums.squares) / components;
    result.psnr = error > 0 ? 10 * std::log10(255.0 * 255.0 / error) : std::numeric_limits<double>::infinity();
    if (!options.withMap)
        return result;

    engine::PixelBuffer map = room(a);
    if (map.empty() || !engine::differenceMap(one.pixels(), other.pixels(), std::max(1, sums.largest), map.pixels()))
        return std::nullopt;
    CGImage::Layout layout;
    layout.width = a.width();
    layout.height = a.height();
    layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    layout.isGray = true;
    result.map = makeImage(layout, std::move(map));
    return result;
}

} // namespace zel
