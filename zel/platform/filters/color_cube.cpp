#include <zel/platform/filters/color_cube.h>

#include <zel/platform/filters/expression.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

namespace zel {

Ref<const engine::ColorCube> makeColorCube(const Ref<const CGImage>& slices)
{
    if (!slices)
        return failAbsentInput("colour cube");
    const int width = slices->width(), height = slices->height();
    if (width < engine::ColorCube::smallest || width > engine::ColorCube::largest || height != width * width)
        return fail(ZelFailureCode::invalidArgument, "colour cube",
                    fmt::format("a picture of {} x {} pixels holds no cube: it takes n x n*n, n from {} to {}", width,
                                height, engine::ColorCube::smallest, engine::ColorCube::largest));
    engine::PixelBuffer deep(width, height, 8);
    if (deep.empty())
        return fail(ZelFailureCode::outOfMemory, "colour cube", "no memory for its pixels");
    const engine::PixelLayout layout = pixelLayout(slices->layout());
    constexpr engine::PixelLayout straight16{
        .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::straight, .bytesPerComponent = 2};
    const bool read = readRows(*slices, [&](int first, const engine::ConstPixels& rows) {
        return engine::convert(rows, layout, deep.pixels().rows(first, rows.height), straight16);
    });
    if (!read)
        return nullptr;
    auto cube = std::make_shared<const engine::ColorCube>(std::as_const(deep).pixels());
    if (!cube->valid())
        return fail(ZelFailureCode::outOfMemory, "colour cube", "no memory for its entries");
    return cube;
}

Ref<const CIImage> cubed(const Ref<const CIImage>& image, const Ref<const engine::ColorCube>& cube)
{
    if (!image || !cube)
        return failAbsentInput("colour cube");
    return CIImageAccess::make(CIImageAccess::expression(*image).filtered(cube));
}

} // namespace zel
