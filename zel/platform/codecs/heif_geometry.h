#pragma once
#include <zel/platform/codecs/heif_contents.h>

namespace zel::heif {

/// The properties that move pixels (clap, irot, imir; ISO/IEC 23008-12, 6.5), one after the other: a crop of the stored
/// picture, and then a turn.
class Geometry {
public:
    Geometry(int width, int height) : crop_{0, 0, width, height} {}
    /// What a property asks for; others, and crops that make no sense (noted), change nothing.
    void apply(const Box& property);
    [[nodiscard]] const Crop& crop() const { return crop_; }
    [[nodiscard]] Orientation orientation() const;

private:
    void clip(Fields fields);

    Crop crop_;
    // From stored to upright, both measured from their centres, y downward: x' = a x + b y, y' = c x + d y.
    int a_ = 1, b_ = 0, c_ = 0, d_ = 1;
};

} // namespace zel::heif
