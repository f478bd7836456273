#include <zel/operations/lut_files.h>

#include <zel/operations/cube_text.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <cstring>

namespace zel {
namespace {

constexpr int largestLevel = 11; // 11² = 121 a side

/// n where the picture is n³ square; 0 where it is none such.
int haldLevel(const CGImage& picture)
{
    for (int level = 2; level <= largestLevel; ++level)
        if (picture.width() == level * level * level && picture.height() == picture.width())
            return level;
    return 0;
}

/// Colours follow one another in the same order in both: rows of another length are all that changes.
Ref<const CGImage> unrolled(const CGImage& hald, int level)
{
    const engine::ConstPixels pixels = pixelsOf(hald);
    if (pixels.empty())
        return nullptr;
    std::vector<std::uint8_t> bytes(pixels.rowBytes() * static_cast<std::size_t>(pixels.height));
    for (int y = 0; y < pixels.height; ++y)
        std::memcpy(&bytes[static_cast<std::size_t>(y) * pixels.rowBytes()], pixels.row(y), pixels.rowBytes());
    CGImage::Layout layout = hald.layout();
    layout.width = level * level;
    layout.height = layout.width * layout.width;
    const auto rowBytes = static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(bytesPerPixel(layout));
    return CGImage::make(layout, Data(std::move(bytes)), rowBytes);
}

} // namespace

std::optional<Data> lutPicture(const Data& file)
{
    Ref<const CGImage> cube;
    if (isCubeText(file.span())) {
        cube = readCubeText({reinterpret_cast<const char*>(file.data()), file.size()});
    } else {
        const Ref<const CGImage> picture = CGImage::make(openPicture(ByteSource::of(file)));
        if (!picture)
            return std::nullopt;
        if (picture->height() == picture->width() * picture->width())
            return file;
        const int level = haldLevel(*picture);
        if (level == 0)
            return fail(ZelFailureCode::invalidArgument, "look-up table",
                        "the picture is neither n wide and n x n high nor a Hald picture, n x n x n square");
        cube = unrolled(*picture, level);
    }
    return cube ? encodePng(cube, {}) : std::nullopt;
}

} // namespace zel
