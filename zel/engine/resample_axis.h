#pragma once
#include <zel/engine/resample.h>

#include <optional>

namespace zel::engine {

/// How much of the source one position of the result takes: weights[i] of the source at first + i.
struct Taps {
    int first;
    int count;
    std::size_t offset; ///< of the weights in `Axis::weights`

    [[nodiscard]] int end() const { return first + count; }
};

/// One direction of a resampling. The weights of each position add up to 1 << `weightBits` exactly, and their
/// magnitudes to less than twice that: sums over them cannot overflow what the kernels provide.
struct Axis {
    std::vector<Taps> taps; ///< one a position of the result; first and end never decrease
    std::vector<std::int32_t> weights;
    int first = 0; ///< of the source, over all positions
    int end = 0;
    bool copies = false; ///< each position is one whole source pixel, and they follow one another

    [[nodiscard]] const std::int32_t* weightsOf(const Taps& t) const { return weights.data() + t.offset; }
    [[nodiscard]] int mostTaps() const;
};

/// `to` positions over [start, start + length) of a source of `from` pixels; an infinite length reaches to its end.
/// Absent: a count below 1, or a stretch that has no length or is not finite.
std::optional<Axis> makeAxis(int from, int to, double start, double length, Kernel kernel, int weightBits);

} // namespace zel::engine
