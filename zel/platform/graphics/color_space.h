#pragma once
#include <zel/engine/pixels.h>
#include <zel/platform/foundation/ref.h>

#include <functional>

namespace zel {

/// An ICC profile for RGB, grey or CMYK samples. Null pointers to it mean sRGB everywhere.
class CGColorSpace {
public:
    /// Null (= sRGB) when the bytes are no usable profile, are over 4 MiB, or describe samples other than `channels`
    /// (1, 3 or 4), with an `unreadable` warning noted. The same bytes give the same object while it is among the last
    /// few.
    static Ref<const CGColorSpace> fromProfile(Data profile, int channels, std::string_view operation);

    [[nodiscard]] const Data& profile() const { return profile_; }
    [[nodiscard]] const std::string& name() const { return name_; } ///< the profile's description, UTF-8
    [[nodiscard]] int channels() const { return channels_; }
    /// True when converting to sRGB would change no 8-bit value by more than 1: drawing then leaves samples alone.
    [[nodiscard]] bool isNearSrgb() const;

private:
    friend class ColorTransform;
    CGColorSpace() = default;
    struct State;
    Ref<State> state_;
    Data profile_;
    std::string name_;
    int channels_ = 3;
};

/// A conversion to sRGB: relative colorimetric, no black point compensation. Kept for reuse; safe on several threads.
class ColorTransform {
public:
    /// Of RGB pictures (four components, the fourth copied) in `from`; null when nothing is to be done (sRGB, near
    /// sRGB, or a profile that yields no transform).
    static Ref<const ColorTransform> toSrgb(const Ref<const CGColorSpace>& from);
    /// Of CMYK samples, 0 = no ink, to RGBX; where `from` is null the usual formula r = (255 - c)(255 - k) / 255.
    static Ref<const ColorTransform> cmykToSrgb(const Ref<const CGColorSpace>& from);
    /// Of CIE L*a*b* samples (relative to D50) to RGB, the fourth component copied: L 0...100 fills the range; of 8
    /// bits, a and b have 128 added; of 16 bits they are (a + 128) * 257.
    static Ref<const ColorTransform> labToSrgb();

    /// Straight (not premultiplied) pixels, 8 or 16 bits; `from` and `to` may be the same rows.
    void apply(const engine::ConstPixels& from, const engine::Pixels& to) const;

private:
    friend class CGColorSpace;
    static Ref<const ColorTransform> of(std::function<void(const engine::ConstPixels&, const engine::Pixels&)> apply);
    struct State;
    Ref<State> state_;
};

} // namespace zel
