#pragma once
#include <zel/engine/pixels.h>

#include <vector>

namespace zel::engine {

/// How a source becomes the visible part of a layer. Every position takes `taps` neighbouring pixels of the source;
/// weights that are not needed are 0, and need not have a pixel.
struct LayerRows {
    int taps = 0;
    std::vector<int> first;             ///< row of the source, by row of the result
    std::vector<std::uint16_t> weights; ///< taps for each row of the result; their sum is 65535
};
struct LayerColumns {
    int taps = 0;
    std::vector<std::uint32_t> first;   ///< column of the source, by column of the result; grows by at most 2 a column
    std::vector<std::uint32_t> weights; ///< a row of the result's width for each tap; in the lower and upper 16 bits
};

/// Pixels that may be read behind the columns that count, in `LayerScratch`.
inline constexpr int layerPadding = 80;

/// One row of the source's columns between the two passes: two of 16 bits in each element.
struct LayerScratch {
    std::uint32_t* redBlue = nullptr;
    std::uint32_t* greenAlpha = nullptr;
};

/// Draws rows [first, last) of the layer into `to`. In unsigned 16-bit arithmetic, products cut off:
///   column = Σ taps p × 256 × weight ÷ 65536     for each column of the source
///   shown  = Σ taps column × weight ÷ 65536      the weights contain the opacity
/// and `shown` goes over the target as in `blendRows`. `from` has the columns that count and those alone; the scratch
/// holds from.width + layerPadding elements each.
void drawLayer(const ConstPixels& from, const LayerRows& rows, const LayerColumns& columns, const Pixels& to, int first,
               int last, const LayerScratch& scratch);
void drawLayerReference(const ConstPixels& from, const LayerRows& rows, const LayerColumns& columns, const Pixels& to,
                        int first, int last);

} // namespace zel::engine
