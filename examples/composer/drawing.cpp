#include "drawing.h"
#include "layer_pictures.h"

#include <cmath>

using namespace zel;

namespace {

constexpr double jpegQuality = 0.92;

/// A canvas counts in its own widths and heights from the lower left corner, a composer in widths from its middle.
CGPoint onCanvas(CGPoint location, ZelCanvas::Size size)
{
    const CGSize pixels = size.cg();
    return {0.5 + location.x, 0.5 - location.y * pixels.width / pixels.height};
}

} // namespace

ZelCanvas::Size pixelSizeOf(const ZelComposer& composer, double pixelsAcross)
{
    return ZelCanvas::Size(CGSize{std::round(pixelsAcross), std::round(pixelsAcross / composer.ratio)});
}

Ref<ZelImage> drawGround(const ZelComposer& composer, ZelCanvas::Size size)
{
    return ZelImageHelper::getFillColorImage({.color = composer.bgColor.getColor(), .size = size.cg()});
}

Ref<ZelImage> drawOver(const Ref<ZelImage>& ground, ZelCanvas::Size size, const std::vector<Placed>& pictures)
{
    ZelCanvas canvas(size);
    if (ground)
        canvas.image = ground;
    for (const Placed& placed : pictures)
        canvas.layerList.emplace_back(ZelCanvasLayer::Fields{
            .id = {},
            .source = {.identification = ZelCanvasLayer::Source::Identification::image, .image = placed.picture},
            .spatialConforming = ZelSpatialConforming::none,
            .transform = {
                .position = onCanvas(placed.location, size), .scale = placed.scale, .opacity = placed.opacity}});
    return canvas.getImage();
}

Ref<ZelImage> drawComposition(const ZelComposer& composer, const ZelShareApp& store, double pixelsAcross)
{
    const ZelCanvas::Size size = pixelSizeOf(composer, pixelsAcross);
    std::vector<Placed> pictures;
    for (const ZelComposer::Layer& layer : composer.layerList)
        pictures.push_back({.picture = drawLayer(layer, composer, store, pixelsAcross),
                            .location = layer.transform.location,
                            .opacity = layer.transform.opacity});
    return drawOver(drawGround(composer, size), size, pictures);
}

bool exportComposition(const ZelComposer& composer, const ZelShareApp& store, double pixelsAcross, const URL& file)
{
    const Ref<ZelImage> picture = drawComposition(composer, store, pixelsAcross);
    const std::string ending = file.filePath().extension().string();
    if (ending == ".jpg" || ending == ".jpeg")
        return saveToJpeg(picture, SaveJpeg{.quality = jpegQuality, .dpi = {}, .url = file});
    return saveToPNG(picture, SaveUrl{.url = file});
}
