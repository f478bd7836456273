#include "zel_lab.h"

#include <zel/engine/composite.h>
#include <zel/engine/convert.h>
#include <zel/engine/fill.h>

#include <fstream>
#include <vector>

namespace zel::lab {
namespace {

struct Layer {
    engine::PixelBuffer picture; ///< premultiplied
    engine::Placement place;
    double opacity = 1;
};

/// The layers that layers.txt in a folder lists: file, its width and height, then left, top, width, height, opacity.
std::vector<Layer> readLayers(const std::string& folder)
{
    std::vector<Layer> layers;
    std::ifstream list(folder + "/layers.txt");
    std::string name;
    int width = 0;
    int height = 0;
    Layer layer;
    while (list >> name >> width >> height >> layer.place.x >> layer.place.y >> layer.place.width >>
           layer.place.height >> layer.opacity) {
        layer.picture = engine::PixelBuffer(width, height);
        const std::string bytes = readFile(folder + "/" + name + ".rgba");
        if (layer.picture.empty() || bytes.size() != layer.picture.sizeInBytes())
            giveUp("not the size of a layer: " + name);
        const engine::ConstPixels stored{reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                         layer.picture.pixels().stride, width, height, 4};
        if (!engine::convert(stored, {false, engine::PixelLayout::Alpha::straight, 1}, layer.picture.pixels(),
                             {false, engine::PixelLayout::Alpha::premultiplied, 1}))
            giveUp("cannot premultiply " + name);
        layers.push_back(std::move(layer));
    }
    if (layers.empty())
        giveUp("no layers in " + folder);
    return layers;
}

/// All layers onto one white canvas, which is used again from run to run.
const Operation composite("m-composite", [](const Arguments& arguments) {
    const std::vector<Layer> layers = readLayers(arguments.text("in"));
    engine::PixelBuffer canvas(arguments.number("w", 4000), arguments.number("h", 3000));
    if (canvas.empty())
        giveUp("no such canvas");
    measure([&] {
        engine::fill(canvas.pixels(), {255, 255, 255, 255});
        for (const Layer& layer : layers)
            if (!engine::drawScaled(layer.picture.pixels(), canvas.pixels(), layer.place, engine::Kernel::triangle,
                                    layer.opacity))
                giveUp("cannot draw a layer");
    });
    writeResult(arguments, canvas.pixels());
});

} // namespace
} // namespace zel::lab
