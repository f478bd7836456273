#include "recipes.h"

namespace cookbook {

using namespace zel;

// [green_screen]
Ref<ZelImage> placeBefore(const Ref<ZelImage>& greenScreen, const Ref<ZelImage>& ground)
{
    const ZelImage::KeyColor green{.color = {0.10, 0.74, 0.22, 1}, .tolerance = 110}; // of 442, black to white
    ZelImageBitmapRGBA pixels(key(greenScreen, {.with = green}));
    pixels.fillTransparentPixelWithColor({.color = {0, 0, 0, 0}}); // what is gone keeps its colour until somebody draws
    const Ref<ZelImage> figure = pixels.zelImage();
    const ZelWatermark middle{.position = ZelWatermark::Position::center,
                              .scale = {.policy = ZelWatermark::Scale::Policy::largestSideScale, .scale = 0.9}};
    return watermark(ground, {.with = figure, .using_ = middle});
}
// [green_screen]

} // namespace cookbook
