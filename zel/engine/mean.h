#pragma once
#include <zel/engine/convert.h>
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// The mean colour of any number of pixels, in steps as rows arrive; exact, whatever the order and the division.
class MeanAccumulator {
public:
    /// Pixels whose bytes a pixel do not fit the layout count for nothing.
    void add(const ConstPixels& pixels, PixelLayout layout);
    void add(const MeanAccumulator& other);

    /// Red, green, blue, alpha, each 0…255. The colour is the straight one, every pixel weighted by its alpha; alpha is
    /// the plain mean. All zero where nothing was added, or nothing that is visible.
    [[nodiscard]] std::array<double, 4> mean() const;

private:
    std::array<std::uint64_t, 3> colours_{}; ///< premultiplied, in units of 1/(65535 × 65535)
    std::uint64_t alpha_ = 0;
    std::uint64_t pixels_ = 0;
};

/// The mean of a whole picture on all cores.
[[nodiscard]] std::array<double, 4> meanColor(const ConstPixels& pixels, PixelLayout layout);

} // namespace zel::engine
