#pragma once
#include "foundation/temporary_folder.h"

#include <array>
#include <cstdint>
#include <functional>

namespace zel::testing {

using Pixel = std::array<std::uint8_t, 4>; ///< red, green, blue, alpha
using Painter = std::function<Pixel(int x, int y)>;

/// Red grows to the right, green downward: every part of a picture can be told from every other.
Pixel ramp(int x, int y);

/// An RGBA file without compression, put together here and not by the library. `dotsPerMetre` 0: none stated.
std::string pngFile(int width, int height, const Painter& painter = ramp, int dotsPerMetre = 0);
/// An RGBA file of 16 bits.
std::string png16File(int width, int height, const std::function<std::array<std::uint16_t, 4>(int x, int y)>& painter);
/// A JPEG of the library's encoder, at quality 0.9, without a resolution.
std::string jpegFile(int width, int height, const Painter& painter = ramp);

/// The size that a file's own header states, read here; {0, 0} for what is neither PNG, JPEG nor TIFF.
struct Sides {
    int width = 0, height = 0;
    friend bool operator==(const Sides&, const Sides&) = default;
};
Sides sidesOf(const std::string& file);
/// "png", "jpeg", "tiff", told from the first bytes; else "".
std::string formatOf(const std::string& file);

/// The pixels of a file, red, green, blue, alpha, 8 bits straight; empty where it does not decode.
std::vector<Pixel> pixelsOfFile(const std::string& file);

} // namespace zel::testing
