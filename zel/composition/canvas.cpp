#include <zel/composition/canvas.h>

#include <zel/platform/foundation/address_policy.h>
#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/images/draw.h>
#include <zel/platform/images/target_image.h>

#include <algorithm>
#include <utility>

namespace zel {
namespace {

std::string newLayerId()
{
    return ZelId::newId({.prefix = "", .infix = "zelcl", .useCounter = true});
}

/// The layer's size on a base of that size, both in pixels.
CGSize conformed(CGSize layer, CGSize base, ZelSpatialConforming conforming)
{
    const CGFloat across = base.width / layer.width, along = base.height / layer.height;
    switch (conforming) {
    case ZelSpatialConforming::none:
        return layer;
    case ZelSpatialConforming::fit:
        return layer * (along < across ? along : across);
    case ZelSpatialConforming::fill:
        break;
    }
    return layer * (across <= along ? along : across);
}

/// Where a layer's picture lies, null when it names none that can be found.
std::optional<URL> addressOf(const ZelCanvasLayer::Source& source, const Ref<ZelShareApp>& shareApp)
{
    switch (source.identification) {
    case ZelCanvasLayer::Source::Identification::url:
        // The canvas may have come from a stranger.
        return source.url && AddressPolicy::allows(*source.url, "loadAllLayers") ? source.url : std::nullopt;
    case ZelCanvasLayer::Source::Identification::shareAppId:
        if (source.shareAppId && shareApp)
            return shareApp->url({.forId = *source.shareAppId, .downloadRemote = false}).get();
        return std::nullopt;
    case ZelCanvasLayer::Source::Identification::image:
        break;
    }
    return std::nullopt;
}

} // namespace

ZelCanvasLayer::ZelCanvasLayer(Fields fields)
    : id(std::move(fields.id)),
      type(fields.type),
      source(std::move(fields.source)),
      spatialConforming(fields.spatialConforming),
      transform(fields.transform),
      image(source.image)
{
}

Ref<ZelImage> ZelCanvasLayer::draw(On base) const
{
    if (!base.on)
        return failAbsentInput("draw layer");
    if (!image)
        return base.on;
    const CGFloat scale = Screens::displayScale();
    const CGSize pixels = base.on->size;
    const CGSize drawn = conformed(image->size, pixels, spatialConforming) * transform.scale;
    const CGPoint centre{transform.position.x * pixels.width, transform.position.y * pixels.height};
    const CGRect place{CGPoint{centre.x - drawn.width / 2, centre.y - drawn.height / 2} / scale, drawn / scale};

    const Ref<NSImage> target = makeTargetImage(pixels / scale, pixels);
    Draw::start(target);
    Draw::copybits({.srcImage = base.on->image, .dstRect = CGRect{{0, 0}, pixels / scale}});
    Draw::copybits({.srcImage = image->image, .dstRect = place, .dstPoint = centre, .opacity = transform.opacity});
    Draw::end();
    return target->cgImage() ? makeZelImage(target) : base.on;
}

ZelCanvas::Size::Size(CGSize size) : width(truncated(size.width)), height(truncated(size.height)) {}
CGSize ZelCanvas::Size::cg() const
{
    return {static_cast<CGFloat>(width), static_cast<CGFloat>(height)};
}

ZelCanvas::ZelCanvas(Size sides, ShareApp store)
    : size(sides), shareApp(std::move(store.shareApp)), image(makeZelImage(BlankSize{.size = sides.cg()}))
{
}

ZelCanvas::ZelCanvas(WithImage what)
{
    if (!what.withImage)
        (void)failAbsentInput("canvas");
    const CGSize pixels = what.withImage ? what.withImage->size : CGSize{};
    const std::int64_t side = truncated(std::max(pixels.width, pixels.height));
    size = Size(side, side);
    image = makeZelImage(BlankSize{.size = size.cg()});
    layerList.emplace_back(ZelCanvasLayer::Fields{
        .id = newLayerId(),
        .type = ZelCanvasLayer::LayerType::image,
        .source = {.identification = ZelCanvasLayer::Source::Identification::image,
                   .url = {},
                   .shareAppId = {},
                   .image = what.withImage},
        .spatialConforming = ZelSpatialConforming::none,
        .transform = {},
    });
}

Ref<ZelImage> ZelCanvas::fit(FitImage what)
{
    if (!what.image)
        return failAbsentInput("fit");
    return ZelCanvas({.withImage = what.image, .fitInRatio = what.inRatio}).getImage();
}

std::future<void> ZelCanvas::loadAllLayers()
{
    return async([this, count = layerList.size()] {
        for (std::size_t index = 0; index < count && index < layerList.size(); ++index) {
            ZelCanvasLayer layer = layerList[index];
            if (layer.image)
                continue;
            const std::optional<URL> address = addressOf(layer.source, shareApp);
            if (!address)
                continue;
            layer.image = makeZelImage(*address);
            layerList[index] = std::move(layer);
        }
    });
}

void ZelCanvas::drawLayers()
{
    for (const ZelCanvasLayer& layer : layerList)
        if (layer.image)
            image = layer.draw({.on = image});
}

Ref<ZelImage> ZelCanvas::getImage()
{
    drawLayers();
    return image;
}

} // namespace zel
