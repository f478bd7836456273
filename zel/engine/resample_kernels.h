#pragma once
#include <zel/engine/resample_axis.h>

// The inner loops of `resample`. A picture goes through two passes, and between them values have `middleBits` more bits
// below the point than components have. All sums are of integers: no order of the terms changes a result.
namespace zel::engine {

/// What passes over components of 8 bits compute with. With weights below twice their sum in magnitude, sums stay below
/// 2 × 255 << 14, middle values below 2 × 255 << 6, and sums of those below 4 × 255 << 20.
struct Depth8 {
    using Component = std::uint8_t;
    using Middle = std::int16_t;
    using Sum = std::int32_t;
    static constexpr int weightBits = 14;
    static constexpr int middleBits = 6;
};

/// The same for components of 16 bits.
struct Depth16 {
    using Component = std::uint16_t;
    using Middle = std::int32_t;
    using Sum = std::int64_t;
    static constexpr int weightBits = 24;
    static constexpr int middleBits = 8;
};

/// Rows, from their first component that counts, and what each weighs.
template <class Value>
struct WeightedRows {
    const Value* const* rows;
    const std::int32_t* weights;
    int count;
};

/// Kernels along a row may read this many pixels behind its last one, whatever they hold.
inline constexpr int pixelsBehindRow = 8;

/// The positions along a row with their weights, also in the arrangement that the kernels like best.
struct RowTaps {
    explicit RowTaps(Axis positions);

    Axis axis;
    std::vector<std::int16_t> pairs;    ///< for 8 bits: two weights, four times over, for every two taps; zeros behind
    std::vector<std::uint32_t> pairsOf; ///< position → where its pairs begin
    int steps = 0;                      ///< of `pixelsBehindRow` taps, of every position
};

/// A row that comes out of a pass: only held to the range of its components, or colours also to the alpha beside them.
enum class Hold { range, alpha };

/// The definition of the kernels; `Kernels` gives the same through SIMD. `half` is 1 << (shift - 1): results are
/// rounded to nearest. `count` is of components. Nothing is read or written outside what the formulas say, but for
/// `pixelsBehindRow`.
template <class Depth>
struct ReferenceKernels {
    using Component = typename Depth::Component;
    using Middle = typename Depth::Middle;
    using Sum = typename Depth::Sum;
    static constexpr int shiftIn = Depth::weightBits - Depth::middleBits;
    static constexpr int shiftOut = Depth::weightBits + Depth::middleBits;

    /// out[i] = (Σ weights[k] rows[k][i] + half) >> shiftIn
    static void verticalIn(const WeightedRows<Component>& in, Middle* out, std::size_t count);
    /// sums[i] += Σ weights[k] rows[k][i]
    static void verticalAdd(const WeightedRows<Component>& in, Sum* sums, std::size_t count);
    /// out[i] = (sums[i] + half) >> shiftIn
    static void verticalRound(const Sum* sums, Middle* out, std::size_t count);
    /// out[4 p + c] = (Σ weight(p, k) in[4 (first(p) + k) + c] + half) >> shiftOut, held
    static void horizontalOut(const Middle* in, const RowTaps& taps, Hold hold, Component* out);

    /// out[i] = in[i]
    static void widen(const Component* in, Middle* out, std::size_t count);
    /// out[4 p + c] = (Σ weight(p, k) in[4 (first(p) + k) + c] + half) >> shiftIn, of widened components
    static void horizontalIn(const Middle* in, const RowTaps& taps, Middle* out);
    /// out[i] = (Σ weights[k] rows[k][i] + half) >> shiftOut, held
    static void verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count);
};

template <class Depth>
using Kernels = ReferenceKernels<Depth>;

} // namespace zel::engine
