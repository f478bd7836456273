// The boxes of HEIF and AVIF: what is read from them stays within the file and the limits.
#include "target.h"

#include <zel/platform/codecs/heif_contents.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

namespace {

using namespace zel;
using fuzz::require;

void checkMosaic(const heif::Mosaic& mosaic, std::uint64_t fileSize)
{
    require(mosaic.tiles.size() == static_cast<std::size_t>(mosaic.columns) * static_cast<std::size_t>(mosaic.rows),
            "a tile for each place");
    require(mosaic.columns * mosaic.tileWidth() >= mosaic.width && mosaic.rows * mosaic.tileHeight() >= mosaic.height,
            "tiles that cover the picture");
    for (const auto& tile : mosaic.tiles) {
        std::uint64_t sum = 0;
        for (const heif::Extent& extent : tile->data) {
            require(extent.offset <= fileSize && extent.length <= fileSize - extent.offset, "data within the file");
            sum += extent.length;
        }
        require(sum <= fileSize, "no more data than the file has");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ZelLimits limits = ZelLimits::untrusted();
    limits.pixels = std::uint64_t{1} << 20;
    const ZelLimits::Scope scope(limits);
    ZelFailure::clear();
    const auto contents = heif::readContents(*ByteSource::view({data, size}));
    if (!contents) {
        require(ZelFailure::last().code != ZelFailureCode::none, "a note of why it is refused");
        return 0;
    }
    checkMosaic(contents->picture, size);
    if (contents->alpha)
        checkMosaic(*contents->alpha, size);
    const heif::Mosaic& picture = contents->picture;
    const heif::Crop& crop = contents->crop;
    require(static_cast<std::uint64_t>(picture.width) * static_cast<std::uint64_t>(picture.height) <= limits.pixels,
            "a size within the limits");
    require(crop.left >= 0 && crop.top >= 0 && crop.width >= 1 && crop.height >= 1 &&
                crop.left + crop.width <= picture.width && crop.top + crop.height <= picture.height,
            "a crop within the picture");
    return 0;
}
