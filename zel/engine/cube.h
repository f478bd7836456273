#pragma once
#include <zel/engine/pixels.h>

#include <memory>

namespace zel::engine {

/// A colour for each of side × side × side colours that stand in a lattice from black to white; what lies between is
/// mixed from the eight around it. Immutable.
class ColorCube {
public:
    static constexpr int smallest = 2;
    static constexpr int largest = 129;

    /// From a picture `side` wide and side × side high, 8 bytes a pixel (straight RGBA of 16 bits), its slices below
    /// one another: red grows along a row, green down a slice, blue from slice to slice. Alpha says nothing.
    explicit ColorCube(const ConstPixels& slices);

    /// False: the picture has another shape, or memory ran out.
    [[nodiscard]] bool valid() const { return entries_ != nullptr; }
    [[nodiscard]] int side() const { return side_; }
    /// Of each colour, in the picture's order, eight values: red of this entry and of the next, then green, blue, and
    /// twice 0; 128 steps make one of a byte. Behind the last there are as many more as a step in all three directions
    /// can reach.
    [[nodiscard]] const std::int16_t* entries() const { return entries_.get(); }

private:
    int side_ = 0;
    std::unique_ptr<std::int16_t[]> entries_;
};

/// Sends all pixels through the cube, trilinearly, rounded to nearest, and copies alpha. RGBA, 8 bits; colours are
/// straight, or the picture is opaque. `to` may be `from`; otherwise the two must not overlap. False, and nothing
/// written: the sizes differ or are empty, pixels are not 4 bytes, or the cube is not valid.
[[nodiscard]] bool applyCube(const ConstPixels& from, const ColorCube& cube, const Pixels& to);

} // namespace zel::engine
