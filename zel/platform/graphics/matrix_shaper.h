#pragma once
#include <zel/engine/pixels.h>
#include <zel/platform/graphics/srgb_light.h>

#include <functional>
#include <memory>
#include <mutex>

namespace zel {

/// RGB to sRGB by three curves and a matrix: what a display's or a camera's profile amounts to. Sums and look-ups of
/// whole numbers: within 0.1 of the exact 8-bit value before it is rounded, so seldom off by one. Pixels never depend
/// on one another. Safe on several threads.
class MatrixShaper {
public:
    /// Samples 0...1 of one component to linear light; what is not finite counts as 0, and light is held to -2...2.
    using Curve = std::function<double(double)>;

    /// `toXyz` brings linear light to CIE XYZ relative to D50.
    MatrixShaper(std::array<Curve, 3> curves, const ColorMatrix& toXyz);

    /// Straight pixels, red, green, blue and a fourth component that is copied; 8 or 16 bits; `from` and `to` may be
    /// the same rows.
    void apply(const engine::ConstPixels& from, const engine::Pixels& to) const;

private:
    using Light = std::array<std::int32_t, 4>; ///< of sRGB's primaries, in fractions of a step of the byte table

    void apply8(const std::uint8_t* from, std::uint8_t* to, int width) const;
    void apply16(const std::uint8_t* from, std::uint8_t* to, int width) const;

    std::array<Curve, 3> curves_;
    ColorMatrix toLinearSrgb_;
    std::array<std::array<Light, 256>, 3> light8_; ///< what each sample contributes, matrix included

    // Pictures of 16 bits are rare; their tables take longer, and are made when first needed.
    mutable std::once_flag made16_;
    mutable std::unique_ptr<std::array<std::array<float, 65536>, 3>> linear16_;
};

} // namespace zel
