#pragma once
#include <zel/engine/convert.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/graphics/pixel_provider.h>

// How the library reads and makes pictures; hosts see CGImage alone.
namespace zel {

/// A picture that takes over a buffer of `layout`'s size. Null when the buffer is empty or of another size.
Ref<const CGImage> makeImage(const CGImage::Layout& layout, engine::PixelBuffer pixels);

/// A picture of pixels in somebody else's memory, which `owner` keeps alive and nobody writes to any more. Null where
/// they are not of `layout`'s size or lie bottom up.
Ref<const CGImage> makeImage(const CGImage::Layout& layout, const engine::ConstPixels& pixels, Ref<const void> owner);

/// All upright pixels, decoded first where that has not happened yet; empty when that fails (noted). They live as long
/// as the picture.
engine::ConstPixels pixelsOf(const CGImage& image);

/// Hands the upright rows of a picture to the sink, in order, each once, in bands of any height, in the picture's own
/// layout: from memory where they are there, else straight from the decoder (which then runs beside the sink where a
/// second core may be used), without keeping them. False: the sink said so, or decoding failed (noted).
bool readRows(const CGImage& image, const RowSink& sink);

/// The same for stored rows, a reduced size and a row range: what the provider's `decode` does, overlapped with the
/// sink.
bool decodeBeside(const PixelProvider& provider, const PixelProvider::Request& request, const RowSink& sink);

/// The layout in the engine's words.
engine::PixelLayout pixelLayout(const CGImage::Layout& layout);
inline bool hasAlpha(CGAlphaInfo info)
{
    return info != CGAlphaInfo::noneSkipLast && info != CGAlphaInfo::noneSkipFirst;
}
inline int bytesPerPixel(const CGImage::Layout& layout)
{
    return layout.bitsPerComponent == 16 ? 8 : 4;
}

} // namespace zel
