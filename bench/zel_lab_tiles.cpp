#include "zel_lab.h"

#include <zel/operations/crop.h>
#include <zel/engine/fill.h>
#include <zel/platform/graphics/image_rows.h>

namespace zel::lab {
namespace {

/// Tiles of a picture in memory; how=share leaves them views of it, how=copy gives each pixels of its own.
const Operation tiles("m-tiles", [](const Arguments& arguments) {
    CGImage::Layout layout;
    layout.width = arguments.number("w");
    layout.height = arguments.number("h");
    layout.alphaInfo = CGAlphaInfo::last;
    const auto image = makeZelImage(makeImage(layout, readPicture(arguments)));
    const auto side = static_cast<CGFloat>(arguments.number("tile", 256));
    const auto border = arguments.number("border");
    const bool copies = arguments.text("how", "share") == "copy";
    ZelTiles rows;
    std::vector<engine::PixelBuffer> copied;
    measure([&] {
        copied.clear();
        rows = split(image, SplitTo{.to = {side, side}, .tileBorder = border});
        if (!copies)
            return;
        for (const auto& row : rows)
            for (const auto& tile : row) {
                const engine::ConstPixels from = pixelsOf(*tile->cgImage);
                auto& to = copied.emplace_back(from.width, from.height, from.bytesPerPixel);
                if (!engine::copy(from, to.pixels()))
                    giveUp("no memory");
            }
    });
    std::size_t count = 0;
    for (const auto& row : rows)
        count += row.size();
    const std::string said = std::to_string(count) + "\n";
    writeResult(arguments, said.data(), said.size());
});

} // namespace
} // namespace zel::lab
