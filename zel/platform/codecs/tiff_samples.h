#pragma once
#include <zel/platform/codecs/modules/tiff_module.h>
#include <zel/platform/graphics/cg_image.h>
#include <zel/platform/graphics/color_space.h>

#include <array>

namespace zel::tiff {

enum class Colors {
    gray,
    rgb,
    palette,
    cmyk,
    lab,
    byLibtiff, ///< YCbCr outside JPEG, logarithmic kinds: delivered as RGBA of 8 bits, premultiplied
};

/// What the samples of a picture are. Files have them contiguous (all of a pixel together) or in a plane each.
struct Samples {
    Colors colors = Colors::gray;
    bool inverted = false;                                 ///< grey: 0 is white
    bool signedAxes = false;                               ///< L*a*b*: a and b are two's complement
    bool floating = false;                                 ///< 32-bit floating, 0...1
    int bits = 8;                                          ///< 1...16, or 32
    int perPixel = 1;                                      ///< in the file; those that mean nothing to us included
    int alpha = -1;                                        ///< which one it is; -1 for none
    bool associated = false;                               ///< colours are premultiplied by it
    bool separate = false;                                 ///< in a plane each
    std::array<std::vector<std::uint8_t>, 3> palette = {}; ///< 2^bits entries each

    /// Of our pixels: 16 where the file has more than 8.
    [[nodiscard]] int bitsPerComponent() const { return colors != Colors::palette && bits > 8 ? 16 : 8; }
    [[nodiscard]] int colorants() const
    {
        return colors == Colors::cmyk ? 4 : colors == Colors::rgb || colors == Colors::lab ? 3 : 1;
    }
    [[nodiscard]] CGAlphaInfo alphaInfo() const
    {
        return alpha < 0 ? CGAlphaInfo::noneSkipLast : associated ? CGAlphaInfo::premultipliedLast : CGAlphaInfo::last;
    }
};

/// Absent, `unsupported` noted, for kinds that have no sensible colours. Warns of what is left out.
std::optional<Samples> samplesOf(const Header& header);

/// Turns rows of samples into rows of pixels: RGBA, 8 or 16 bits, `Samples::alphaInfo`, sRGB where the file has CMYK or
/// L*a*b*. For one thread: it keeps room for a row.
class Unpacker {
public:
    /// `toRgb` converts CMYK; null for everything else.
    Unpacker(const Samples& samples, Ref<const ColorTransform> toRgb);

    /// The row's samples: one place where they are contiguous, else one for each sample of a pixel (null where it is
    /// not needed). Rows of one plane begin at whole bytes; bits stand high to low.
    using Planes = std::array<const std::uint8_t*, 5>;
    void unpack(const Planes& planes, int pixels, std::uint8_t* to);

    /// Which planes of a separate file are needed, in the order of `Planes`: colours first, then alpha.
    [[nodiscard]] const std::vector<int>& neededPlanes() const { return needed_; }

private:
    const std::uint8_t* plain(const std::uint8_t* from, std::size_t count, std::vector<std::uint8_t>& room);
    template <class Sample>
    void assemble(const Planes& planes, std::size_t stride, int pixels, std::uint8_t* to) const;

    Samples samples_;
    Ref<const ColorTransform> toRgb_;
    std::vector<int> needed_;
    std::vector<std::array<std::uint8_t, 8>> ofByte_; ///< the samples of 1, 2 or 4 bits in each byte
    std::array<std::vector<std::uint8_t>, 5> rooms_;  ///< samples brought to 8 or 16 bits
};

} // namespace zel::tiff
