#pragma once
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/graphics/cg_image.h>

// The container of a WebP file: RIFF chunks, simple or extended, of a still picture or of an animation.
namespace zel::webp {

struct Picture {
    int canvasWidth = 0, canvasHeight = 0;
    int left = 0, top = 0, width = 0, height = 0; ///< of the (first) picture on the canvas, within it
    bool hasAlpha = false;                        ///< of the picture itself
    bool isLossless = false;
    std::uint64_t at = 0, size = 0; ///< the chunks with its pixels, alpha first where there is any; `size` may pass the
                                    ///< end of a file that was cut
    int frames = 1;
    ExifFacts exif;
    Ref<const CGColorSpace> profile = {};

    [[nodiscard]] bool isOpaque() const { return !hasAlpha && width == canvasWidth && height == canvasHeight; }
};

/// Absent with the reason noted: damage, no picture, over a limit.
std::optional<Picture> readChunks(const ByteSource& source);

} // namespace zel::webp
