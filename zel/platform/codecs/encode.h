#pragma once
#include <zel/platform/codecs/modules/heif_coding.h>
#include <zel/platform/graphics/cg_image.h>

// Pictures to bytes. Rows flow from the picture's decoder into the encoder where they can; results are the same for any
// number of threads. Absent with the reason noted where the picture cannot be decoded or the format cannot hold it.
namespace zel {

struct PngOptions {
    double dpiX = 0, dpiY = 0; ///< recorded where above 0
    bool smallest = false;     ///< the smallest file that we can make, whatever the time
};
/// 8 or 16 bits, grey or colour, straight alpha; the profile is embedded where it is not sRGB.
ZEL_API std::optional<Data> encodePng(const Ref<const CGImage>& image, const PngOptions& options);

struct TiffOptions {
    double dpiX = 0, dpiY = 0;
};
/// LZW with predictor. `missingPart` where the TIFF module is not installed.
ZEL_API std::optional<Data> encodeTiff(const Ref<const CGImage>& image, const TiffOptions& options);

/// PPM (P6), 8 or 16 bits, sRGB, laid over white.
ZEL_API std::optional<Data> encodePnm(const Ref<const CGImage>& image);

/// A picture made ready to be encoded as JPEG at any number of qualities: laid over white, colours converted to planes
/// once. 4:2:0 below quality 0.97, 4:4:4 from there; grey pictures get one component. JFIF header first. A picture that
/// is a whole JPEG, upright and sampled like that, is not decoded: its coefficients go to the new quantisers straight,
/// coded with tables made to measure, whether its pixels happen to be decoded or not.
/// Quality 0...1 is libjpeg's 100 q, not rounded to whole numbers: tables are scaled by a real factor.
/// The same quality gives the same bytes, whatever the call and the number of threads. Safe on several threads.
class JpegEncoder {
public:
    /// Null with the reason noted.
    static Ref<JpegEncoder> make(const Ref<const CGImage>& image);
    std::optional<Data> encode(double quality) const;
    /// The size of what `encode` gives. Where it passes `limit` (0 = none) counting may stop early with any figure
    /// above it.
    std::optional<std::uint64_t> countBytes(double quality, std::uint64_t limit = 0) const;

private:
    JpegEncoder() = default;
    struct State;
    Ref<State> state_;
};

/// The picture at one quality: the bytes of `JpegEncoder::make(image)->encode(quality)`, sooner and without keeping
/// planes.
std::optional<Data> encodeJpeg(const Ref<const CGImage>& image, double quality);

struct HeifOptions {
    int bits = 8; ///< a component in the file: 8, or of HEVC 10, then without alpha
    heif::Coding coding = heif::Coding::hevc;
};

/// A picture made ready to be written as HEIC or AVIF at any number of qualities: straight alpha, colours converted to
/// planes once, 4:2:0. The profile is embedded where it is not sRGB. Quality 0...1 is of HEVC the encoder's rate factor
/// from 50 to 0, not rounded to whole numbers; of AV1 its quantiser from 63 to 0, in whole numbers. Sides of at most
/// 16,384.
class HeifEncoder {
public:
    /// Null with the reason noted; `missingPart` where the module for writing HEIF, or the encoder, is not installed.
    ZEL_API static Ref<HeifEncoder> make(const Ref<const CGImage>& image, const HeifOptions& options = {});
    ZEL_API std::optional<Data> encode(double quality) const;

private:
    HeifEncoder() = default;
    struct State;
    Ref<State> state_;
};

} // namespace zel
