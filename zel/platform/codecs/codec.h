#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <array>
#include <optional>

namespace zel {

/// A format that can be read. Content decides which one, never a name.
struct Codec {
    std::string_view name;                                  ///< "jpeg"
    std::string_view extensions;                            ///< "jpg jpeg"
    bool (*recognises)(std::span<const std::uint8_t> head); ///< of the first `headBytes` (fewer in short files)
    /// Reads the header, checks it against the limits and proves that the first rows decode. Null with the reason
    /// noted.
    Ref<const PixelProvider> (*open)(const Ref<const ByteSource>& source);
    /// Of a format whose decoder stands in a module: whether it can be opened; `missingPart` is noted where it cannot.
    bool (*isInstalled)() = nullptr;
    /// The facts from the header alone, without that proof; null for formats that have no shorter way than `open`.
    std::optional<PictureFacts> (*readFacts)(const Ref<const ByteSource>& source) = nullptr;
};

inline constexpr std::size_t headBytes = 64;

ZEL_API std::span<const Codec> codecs();

/// The one way in: recognises the format and opens the picture. Null with the reason noted (notAnImage for what no
/// codec recognises, truncated for an empty file).
Ref<const PixelProvider> openPicture(const Ref<const ByteSource>& source);
/// What the picture says of itself, by the shortest way: of a JPEG no more is read than its header. Absent with the
/// reason noted.
ZEL_API std::optional<PictureFacts> pictureFacts(const Ref<const ByteSource>& source);

/// What a format's file defines, one a file (jpeg.cpp, png.cpp, tiff.cpp) or a container (heif.cpp).
extern const Codec jpegCodec;
extern const Codec pngCodec;
extern const Codec tiffCodec;
extern const Codec webpCodec;
extern const Codec gifCodec;
extern const Codec jxlCodec;
extern const Codec jpeg2000Codec;
extern const Codec bmpCodec;
extern const Codec icoCodec;
extern const Codec pnmCodec;
extern const Codec heifCodec;
extern const Codec avifCodec;

} // namespace zel
