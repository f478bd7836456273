#pragma once
#include <zel/core/image.h>
#include <zel/export.h>

namespace zel {

/// A kernel of 3 by 3 whole weights, and the colour that stands beyond the picture's edges.
struct ZEL_API ZelConvolution {
    std::vector<std::int16_t> kernel; ///< 9, row by row; not turned round: the first lies on the neighbour above left
    std::vector<std::uint8_t> bgColor = {0, 0, 0, 0}; ///< the four bytes of a pixel as pictures store it
    explicit ZelConvolution(std::vector<std::int16_t> kernel);
    /// The three rows one after another, first to last.
    ZelConvolution(const std::vector<std::int16_t>& top, const std::vector<std::int16_t>& middle,
                   const std::vector<std::int16_t>& bottom);
};

struct Convolution {
    const ZelConvolution& convolution;
};
struct ConvolutionKernel {
    std::vector<std::int16_t> kernel;
};

/// Each byte of the result is the sum of weight × byte over the pixel and its neighbours, divided by 3 whatever the
/// kernel sums up to, the fraction cut off, held to 0…255: all four stored bytes of a pixel alike. 16 bits are brought
/// to 8 first. The result is opaque and sRGB: the stored bytes are taken as red, green, blue and one that says nothing,
/// so premultiplied pictures lie on black, and those that store alpha first come out shifted by one.
/// Null, with the reason noted, without pixels, where the kernel has not 9 numbers or the colour not 4, or where memory
/// ran out.
ZEL_API Ref<ZelImage> convolve(const Ref<ZelImage>& image, Convolution what);
/// With 0, 0, 0, 0 beyond the edges.
ZEL_API Ref<ZelImage> convolve(const Ref<ZelImage>& image, ConvolutionKernel kernel);

} // namespace zel
