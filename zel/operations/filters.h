#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/operations/convolution.h>
#include <zel/platform/foundation/coding.h>

// All results are sRGB of 8 bits.
namespace zel {

/// A look-up table for colours: a picture n wide and n × n high (n from 2 to 129) that holds n slices of n × n below
/// one another; red grows along a row, green down a slice, blue from slice to slice. JSON: {"data":…}, the bytes alone.
class ZEL_API ZelLut {
public:
    /// Absent, with the reason noted, where the bytes are no picture. A picture of another shape makes a table without
    /// a filter, and a warning.
    static std::optional<ZelLut> make(const Data& encoded);
    static std::optional<ZelLut> make(const URL& file);
    struct Undecoded {
        Data data;
    };
    /// As JSON decoding leaves it: without a filter.
    explicit ZelLut(Undecoded data);
    /// The picture's colours, mixed trilinearly from the table's. Null, with the reason noted, without a filter.
    Ref<const CIImage> applyTo(const Ref<const CIImage>& image) const;
    const Data& data() const; ///< an encoded picture

private:
    Data data_;
    struct Filter;
    Ref<const Filter> filter_;
};

struct Sharpness {
    float sharpness;
};
struct ApplyLut {
    const ZelLut& lut;
};
struct ApplyLutAtUrl {
    URL lutAtUrl;
};

/// Light times 2^stops, clipped at white. `image` itself, the reason noted, where that gives nothing: stops that are
/// not finite, no pixels. Absent only when `image` is.
ZEL_API Ref<ZelImage> exposure(const Ref<ZelImage>& image, double stops);

/// The difference to the surroundings is added to luma `sharpness` times over; colours stay, so there are no coloured
/// fringes. 0 changes nothing, below 0 softens. Null where that gives nothing, with the reason noted and a line
/// printed: "Failed to get CGImage" without pixels, "Failed to create CISharpenLuminance filter" for an absent CGImage,
/// "Failed to get output image from filter" for an amount that is not finite, "Failed to create CGImage from CIImage"
/// for pixels that do not decode.
ZEL_API Ref<ZelImage> sharpen(const Ref<ZelImage>& image, Sharpness amount);
ZEL_API Ref<const CGImage> sharpen(const Ref<const CGImage>& image, Sharpness amount);

/// Null, with the reason noted, without pixels or where the table has no filter or cannot be read.
ZEL_API Ref<ZelImage> apply(const Ref<ZelImage>& image, ApplyLut lut);
ZEL_API Ref<ZelImage> apply(const Ref<ZelImage>& image, ApplyLutAtUrl lut);

template <>
ZEL_API std::string encode(const ZelLut& value);
template <>
ZEL_API ZelLut decode(std::string_view text);

} // namespace zel
