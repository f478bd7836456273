#include <zel/operations/crop.h>

#include <zel/composition/canvas.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/notes.h>

namespace zel {
namespace {

using Orientation = ZelImage::JoinOrientation;

Ref<ZelImage> scaled(const Ref<ZelImage>& image, CGSize size)
{
    Ref<ZelImage> result = resize(image, {.to = size});
    return result ? result : image;
}

/// The picture with the matching side of `other`, ratio kept.
Ref<ZelImage> matched(const Ref<ZelImage>& image, const Ref<ZelImage>& other, Orientation orientation)
{
    const CGSize own = image->size, wanted = other->size;
    return orientation == Orientation::horizontal
               ? scaled(image, {own.width * wanted.height / own.height, wanted.height})
               : scaled(image, {wanted.width, wanted.width * own.height / own.width});
}

ZelCanvasLayer layerOf(const Ref<ZelImage>& image, CGPoint position)
{
    return ZelCanvasLayer({.id = ZelId::newId({.prefix = "", .infix = "zelcl", .useCounter = true}),
                           .type = ZelCanvasLayer::LayerType::image,
                           .source = {.identification = ZelCanvasLayer::Source::Identification::image,
                                      .url = {},
                                      .shareAppId = {},
                                      .image = image},
                           .spatialConforming = ZelSpatialConforming::none,
                           .transform = {.anchor = {0.5, 0.5}, .position = position, .scale = 1, .opacity = 1}});
}

} // namespace

Ref<ZelImage> join(const Ref<ZelImage>& first, JoinWith second)
{
    if (!first || !second.with)
        return failAbsentInput("join");
    Ref<ZelImage> a = first, b = second.with;
    const bool beside = second.orientation == Orientation::horizontal;
    const CGFloat sideA = beside ? a->size.height : a->size.width, sideB = beside ? b->size.height : b->size.width;
    const bool reduces = second.scaleMode == ZelImage::ScaleMode::min;
    if (reduces ? sideB < sideA : sideA < sideB)
        a = matched(a, b, second.orientation);
    else if (reduces ? sideA < sideB : sideB < sideA)
        b = matched(b, a, second.orientation);

    const CGSize sizeA = a->size, sizeB = b->size;
    const CGSize all =
        beside ? CGSize{sizeA.width + sizeB.width, sizeA.height} : CGSize{sizeA.width, sizeA.height + sizeB.height};
    ZelCanvas canvas{ZelCanvas::Size(all)};
    if (beside) {
        canvas.layerList.push_back(layerOf(a, {(sizeA.width / all.width) * 0.5, 0.5}));
        canvas.layerList.push_back(
            layerOf(b, {(sizeA.width + sizeB.width * 0.5) / all.width, (sizeB.height * 0.5) / all.height}));
    } else {
        canvas.layerList.push_back(layerOf(a, {0.5, 1.0 - (sizeA.height / all.height) * 0.5}));
        canvas.layerList.push_back(
            layerOf(b, {(sizeB.width * 0.5) / all.width, 1.0 - (sizeA.height + sizeB.height * 0.5) / all.height}));
    }
    return canvas.getImage();
}

} // namespace zel
