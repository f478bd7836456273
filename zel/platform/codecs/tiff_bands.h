#pragma once
#include <zel/platform/codecs/tiff_file.h>
#include <zel/platform/codecs/tiff_samples.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/graphics/pixel_provider.h>

namespace zel::tiff {

/// Everything that a decoding needs to know of a picture, read once.
struct Picture {
    Ref<const ByteSource> source;
    PictureFacts facts;
    Samples samples;
    Ref<const ColorTransform> toRgb; ///< of CMYK
    Header header;                   ///< its figures; what it points to is gone
};

/// Decodes rows [first, end) in bands for the sink. Rows that the file does not hold are zeros, with one warning; where
/// nothing at all could be decoded: false, noted.
bool decodeRows(const Picture& picture, int first, int end, const RowSink& sink);

} // namespace zel::tiff
