#include "zel_lab.h"

#include <zel/engine/fill.h>
#include <zel/engine/key.h>
#include <zel/operations/subjects.h>
#include <zel/platform/graphics/image_rows.h>

namespace zel::lab {
namespace {

/// Green taken out of a picture, into the same memory again and again.
const Operation keying("m-key", [](const Arguments& arguments) {
    const engine::PixelBuffer picture = readPicture(arguments);
    engine::PixelBuffer result(arguments.number("w"), arguments.number("h"));
    const engine::ColorKey key{.color = {32, 178, 64}, .mostSquare = engine::largestKeyedSquare(60)};
    measure([&] {
        if (!engine::keyOut(picture.pixels(), result.pixels(), {}, key))
            giveUp("cannot key");
    });
    writeResult(arguments, result.pixels());
});

/// The subjects of a sheet; copies=1 also copies the pixels of each.
const Operation subjects("m-subjects", [](const Arguments& arguments) {
    CGImage::Layout layout;
    layout.width = arguments.number("w");
    layout.height = arguments.number("h");
    const Ref<const CGImage> sheet = makeImage(layout, readPicture(arguments));
    const SeparateSubjects how{.alphaThreshold = 0, .fillHoles = arguments.number("holes") == 1};
    std::size_t found = 0;
    measure([&] {
        const auto pictures = zelFindSeparateSubjects(sheet, how);
        found = pictures.size();
        if (arguments.number("copies") == 1)
            for (const Ref<const CGImage>& picture : pictures) {
                engine::PixelBuffer copied(picture->width(), picture->height());
                if (!engine::copy(pixelsOf(*picture), copied.pixels()))
                    giveUp("cannot copy a subject");
            }
    });
    const std::string count = std::to_string(found) + "\n";
    writeResult(arguments, count.data(), count.size());
});

} // namespace
} // namespace zel::lab
