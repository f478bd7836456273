#pragma once
#include <zel/export.h>
#include <zel/platform/codecs/heif_contents.h>
#include <zel/platform/graphics/pixel_provider.h>

namespace zel::heif {

/// The module, opened when a HEIF or AVIF is first decoded; null with `missingPart` noted where it is not installed.
ZEL_API const Api* module();

/// Decodes rows [first, end) of the cropped picture, as stored, in bands for the sink. Grids are decoded a row of tiles
/// at a time, their tiles beside one another. Tiles that the file does not hold or that are damaged are zeros, with one
/// warning; where no tile could be decoded: false, noted.
bool decodeRows(const ByteSource& source, const Contents& contents, const CGImage::Layout& layout, int first, int end,
                const RowSink& sink);

/// Whether the first tile decodes to what its boxes state; false, noted.
bool firstTileDecodes(const ByteSource& source, const Contents& contents);

} // namespace zel::heif
