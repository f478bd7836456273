#include "edit_chain.h"

#include <zel/core/geometry.h>
#include <zel/operations/crop.h>
#include <zel/operations/filters.h>
#include <zel/operations/rotate.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace zel::viewer {
namespace {

/// The nearest whole pixels, at least one.
CGRect cropInPixels(CGRect part, CGSize size)
{
    const CGRect exact = ZelImageHelper::getDenormalizedRect({.boundsRect = {{}, size}, .normalizedTo1Rect = part});
    const auto side = [](CGFloat low, CGFloat high, CGFloat whole) {
        const CGFloat first = std::clamp(std::round(low), 0.0, whole - 1);
        return std::pair(first, std::clamp(std::round(high), first + 1, whole) - first);
    };
    const auto [x, width] = side(exact.minX(), exact.maxX(), size.width);
    const auto [y, height] = side(exact.minY(), exact.maxY(), size.height);
    return {{x, y}, {width, height}};
}

ZelImage::RotationDirection directionOf(int quarterTurns)
{
    switch (quarterTurns) {
    case 1:
        return ZelImage::RotationDirection::r90AntiClockWise; // whose right edge becomes the bottom one: clockwise
    case 2:
        return ZelImage::RotationDirection::r180;
    default:
        return ZelImage::RotationDirection::r90Clockwhise;
    }
}

} // namespace

std::vector<EditStep> stepsOf(const EditChain& chain, double scale)
{
    std::vector<EditStep> steps;
    if (chain.quarterTurns != 0)
        steps.push_back(
            [direction = directionOf(chain.quarterTurns)](const auto& picture) { return rotate(picture, direction); });
    if (chain.straightening != 0)
        steps.push_back(
            [degrees = -chain.straightening](const auto& picture) { // the library's angles count the other way
                return rotateAndZoom(picture, {.byDegrees = degrees});
            });
    if (chain.crop)
        steps.push_back([part = *chain.crop](const auto& picture) {
            return crop(picture, {.toTargetRect = cropInPixels(part, picture->size)});
        });
    if (chain.exposure != 0)
        steps.push_back([stops = chain.exposure](const auto& picture) {
            const Ref<ZelImage> exposed = exposure(picture, stops);
            return exposed == picture ? nullptr : exposed; // which it is where that failed
        });
    if (chain.sharpness != 0)
        // Sharpening works within a fixed number of pixels. What it does there to the full picture is mostly finer than
        // a reduced one shows: about in the middle of what is left to see, its strength falls with the scale.
        steps.push_back([amount = static_cast<float>(chain.sharpness * std::min(scale, 1.0))](const auto& picture) {
            return sharpen(picture, {.sharpness = amount});
        });
    return steps;
}

Ref<ZelImage> edited(const Ref<ZelImage>& picture, const EditChain& chain, double scale)
{
    Ref<ZelImage> result = picture;
    for (const EditStep& step : stepsOf(chain, scale))
        if (result)
            result = step(result);
    return result;
}

EditChain turned(EditChain chain, int quarterTurnsClockwise)
{
    const int turns = ((quarterTurnsClockwise % 4) + 4) % 4;
    chain.quarterTurns = (chain.quarterTurns + turns) % 4;
    for (int turn = 0; turn < turns && chain.crop; ++turn) {
        const auto [origin, size] = *chain.crop;
        chain.crop = CGRect{{1 - origin.y - size.height, origin.x}, {size.height, size.width}};
    }
    return chain;
}

CGSize sizeBeforeCrop(const EditChain& chain, CGSize picture)
{
    return chain.quarterTurns % 2 == 0 ? picture : CGSize{picture.height, picture.width};
}

CGSize editedSize(const EditChain& chain, CGSize picture)
{
    const CGSize whole = sizeBeforeCrop(chain, picture);
    return chain.crop ? cropInPixels(*chain.crop, whole).size : whole;
}

} // namespace zel::viewer
