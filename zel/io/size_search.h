#pragma once
#include <zel/core/image.h>
#include <zel/platform/codecs/modules/heif_coding.h>

#include <functional>

namespace zel {

/// Counts the bytes that a picture has at a quality. A count that passes `limit` (0 = none) may stop at any figure
/// above it.
using ByteCount = std::function<std::optional<std::uint64_t>(double quality, std::uint64_t limit)>;

enum class SizeRule {
    nearest,   ///< what comes closest to 97.5 % of the wanted size, also where that is a little more
    neverMore, ///< the same, or the next smaller size that was measured
};

/// What to do with a picture that should have `wanted` bytes.
struct SizeDecision {
    bool shrink = false; ///< even quality 0 is larger
    double quality = 1;
};
/// Absent when the picture cannot be counted at all.
std::optional<SizeDecision> decideQuality(const ByteCount& count, std::int64_t wanted, SizeRule rule);

/// The JPEG that `saveToJpeg` to a size writes, without a resolution; reduced in size as often as it takes. Absent with
/// the reason noted.
ZEL_API std::optional<Data> jpegWithin(const Ref<ZelImage>& image, std::int64_t wanted, SizeRule rule);

/// The HEIC that `saveAsHEIF` to a size writes, or the same as AVIF; where even quality 0 is larger, resized to 90 % of
/// its points.
ZEL_API std::optional<Data> heifWithin(const Ref<ZelImage>& image, std::int64_t wanted, SizeRule rule, bool useAlpha,
                                       heif::Coding coding);

class HeifEncoder;
/// The image ready to be encoded as `heifData` and `avifData` do. Null with the reason noted.
Ref<HeifEncoder> heifEncoderOf(const Ref<ZelImage>& image, bool useAlpha, heif::Coding coding);

} // namespace zel
