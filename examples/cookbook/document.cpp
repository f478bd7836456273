#include "recipes.h"

namespace cookbook {

using namespace zel;

// [document]
std::string makeDocument(const URL& ground, const URL& mark)
{
    const auto layer = [](const char* id, const URL& file) {
        return ZelCanvasLayer({.id = id, .source = {.url = file}});
    };
    ZelCanvas canvas(ZelCanvas::Size(600, 400));
    canvas.layerList = {layer("ground", ground), layer("mark", mark)}; // a layer fills the canvas unless told
    canvas.layerList[1].spatialConforming = ZelSpatialConforming::fit;
    canvas.layerList[1].transform = {.position = {0.8, 0.25}, .scale = 0.4, .opacity = 0.9};
    return encode(canvas);
}

Ref<ZelImage> drawDocument(const std::string& json)
{
    ZelCanvas canvas = decode<ZelCanvas>(json); // a broken text throws ZelDecodingError
    canvas.loadAllLayers().get();
    return canvas.getImage();
}
// [document]

} // namespace cookbook
