#pragma once
#include <cstddef>
#include <cstdint>

// From luma and colour differences, as films and their still pictures store them (ITU-T H.273), to RGB.
namespace zel::engine {

/// With samples Y, Cb, Cr of up to 12 bits, colour c (red, green, blue) is
///   (luma × Y + blue[c] × Cb + red[c] × Cr + offset[c]) cut off by 2^yccFraction, held to [0, 255] or [0, 65535].
/// No sum may pass 32 bits.
struct YccToRgb {
    std::int32_t luma = 0;
    std::int32_t blue[3] = {}, red[3] = {}, offset[3] = {};
};
inline constexpr int yccFraction = 12;

/// What the samples of a picture mean.
struct YccCoding {
    double red = 0.299, blue = 0.114; ///< their shares in luma
    bool isYCgCo = false;             ///< in place of the shares: the differences are green and orange
    bool isFullRange = true;          ///< else luma fills 16...235, differences 16...240 (of 8 bits)
    int bits = 8;                     ///< a sample, 8 to 12
};
/// The formula of a coding; results have 8 bits where samples have, else 16.
YccToRgb yccToRgb(const YccCoding& coding);

/// One row of samples of full width to RGBX; the fourth component becomes opaque. Exactly `pixels` samples of each row
/// are read, as many pixels written.
void fromYcc(const std::uint8_t* luma, const std::uint8_t* blue, const std::uint8_t* red, const YccToRgb& formula,
             std::uint8_t* rgbx, std::size_t pixels);
void fromYcc(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, const YccToRgb& formula,
             std::uint16_t* rgbx, std::size_t pixels);
void fromYccReference(const std::uint8_t* luma, const std::uint8_t* blue, const std::uint8_t* red,
                      const YccToRgb& formula, std::uint8_t* rgbx, std::size_t pixels);
void fromYccReference(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red,
                      const YccToRgb& formula, std::uint16_t* rgbx, std::size_t pixels);

} // namespace zel::engine
