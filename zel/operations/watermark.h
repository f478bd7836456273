#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/foundation/coding.h>

namespace zel {

/// How a second picture is laid over a first. JSON: {"position":"Bottom Right","scale":{…},"opacity":1.0}, all
/// required.
struct ZEL_API ZelWatermark {
    /// Flush against the edges, without a margin. Raw values and display names: "Top Left" … "Bottom Right".
    enum class Position {
        topLeft,
        topCenter,
        topRight,
        centerLeft,
        center,
        centerRight,
        bottomLeft,
        bottomCenter,
        bottomRight
    };

    /// JSON: {"policy":"Original Size","scale":1.0,"maxScale":1.0,"minScale":0.0}, all required.
    struct ZEL_API Scale {
        /// "Original Size": its own size, or reduced to `maxScale` of the target's sides where it is larger.
        /// "Largest Side Scale": fitted inside the target, then times `scale`.
        enum class Policy { originalSize, largestSideScale };
        struct Of {
            Ref<ZelImage> watermarkImage;
            Ref<ZelImage> whenAppliedTo;
        };
        /// The drawn size in pixels of the target, not rounded; (0, 0) where an image is absent.
        CGSize scaleOf(Of images) const;

        Policy policy = Policy::originalSize;
        double scale = 1;
        double maxScale = 1;
        double minScale = 0; ///< stored, without effect
    };

    Position position = Position::bottomRight;
    Scale scale = {};
    double opacity = 1; ///< 0...1
};

struct WatermarkWith {
    Ref<ZelImage> with;
    ZelWatermark using_;
};
/// A picture of `image`'s pixel size with the mark drawn over it; null where the mark cannot be resized. A centred mark
/// whose offset has a fraction is moved to the nearest whole pixel.
ZEL_API Ref<ZelImage> watermark(const Ref<ZelImage>& image, WatermarkWith mark);

template <>
inline constexpr auto enumCases<ZelWatermark::Position> = std::to_array<EnumCase<ZelWatermark::Position>>({
    {ZelWatermark::Position::topLeft, "Top Left"},
    {ZelWatermark::Position::topCenter, "Top Center"},
    {ZelWatermark::Position::topRight, "Top Right"},
    {ZelWatermark::Position::centerLeft, "Center Left"},
    {ZelWatermark::Position::center, "Center"},
    {ZelWatermark::Position::centerRight, "Center Right"},
    {ZelWatermark::Position::bottomLeft, "Bottom Left"},
    {ZelWatermark::Position::bottomCenter, "Bottom Center"},
    {ZelWatermark::Position::bottomRight, "Bottom Right"},
});
template <>
inline constexpr auto enumCases<ZelWatermark::Scale::Policy> = std::to_array<EnumCase<ZelWatermark::Scale::Policy>>({
    {ZelWatermark::Scale::Policy::originalSize, "Original Size"},
    {ZelWatermark::Scale::Policy::largestSideScale, "Largest Side Scale"},
});

template <>
ZEL_API std::string encode(const ZelWatermark& value);
template <>
ZEL_API ZelWatermark decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelWatermark::Scale& value);
template <>
ZEL_API ZelWatermark::Scale decode(std::string_view text);

} // namespace zel
