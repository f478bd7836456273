#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/ref.h>

#include <span>

namespace zel {

class CGColorSpace; ///< an ICC profile, or sRGB (= device RGB)
class PixelProvider;
struct PictureFacts;

enum class CGAlphaInfo : std::uint8_t {
    noneSkipLast,
    noneSkipFirst,
    last,
    first,
    premultipliedLast,
    premultipliedFirst
};

/// An immutable bitmap: four components of 8 or 16 bits, rows top to bottom, upright, its pixels in memory or decoded
/// when first needed. May be read from any number of threads.
class ZEL_API CGImage {
public:
    struct Layout {
        int width = 0, height = 0;
        int bitsPerComponent = 8; ///< 8, or 16 in the machine's byte order
        CGAlphaInfo alphaInfo = CGAlphaInfo::premultipliedLast;
        Ref<const CGColorSpace> colorSpace = {}; ///< null = sRGB
        bool isGray = false;                     ///< the source had one colour component
    };
    /// From packed rows; null when a side is below 1 or the bytes are fewer than the layout needs.
    static Ref<const CGImage> make(const Layout& layout, Data bytes, std::size_t bytesPerRow);
    /// From an encoded picture: nothing is decoded yet. Null when `provider` is.
    static Ref<const CGImage> make(const Ref<const PixelProvider>& provider);

    int width() const;
    int height() const;
    const Layout& layout() const; ///< upright
    /// At least width × bytes a pixel; more in a part that shares its picture's memory.
    std::size_t bytesPerRow() const;
    /// All pixels, decoding them first where that has not happened yet; empty when decoding fails.
    std::span<const std::uint8_t> bytes() const;

    /// What the encoded picture said of itself; null for pictures made from pixels.
    const PictureFacts* facts() const;
    /// The encoded picture's decoder, stored orientation; null for pictures made from pixels.
    const Ref<const PixelProvider>& provider() const;
    /// True once all pixels are in memory, so that reading them costs nothing.
    bool isDecoded() const;

private:
    friend struct CGImageAccess;
    CGImage();
    struct State;
    Ref<State> state_;
};

} // namespace zel
