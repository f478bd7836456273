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
    const Value* const* rows; ///< one more than `count` where that is odd: the last one again
    const std::int32_t* weights;
    const std::int32_t* pairs; ///< for 8 bits: two weights of 16 bits each, the earlier one in the lower half
    int count;
    std::size_t first = 0; ///< component of the rows where a kernel begins

    [[nodiscard]] int pairCount() const { return (count + 1) / 2; }
};

/// Gathers the rows of a position; made once for many positions of at most `most` taps.
template <class Value>
class TapRows {
public:
    explicit TapRows(int most) : rows_(static_cast<std::size_t>(most) + 1), pairs_(rows_.size() / 2 + 1) {}

    /// The `count` rows with these weights; `rowAt(i)` gives each.
    template <class RowAt>
    WeightedRows<Value> gather(const std::int32_t* weights, int count, const RowAt& rowAt)
    {
        for (int i = 0; i < count; ++i)
            rows_[static_cast<std::size_t>(i)] = rowAt(i);
        rows_[static_cast<std::size_t>(count)] = rows_[static_cast<std::size_t>(count - 1)];
        for (int i = 0; i < count; i += 2) {
            const std::int32_t second = i + 1 < count ? weights[i + 1] : 0;
            pairs_[static_cast<std::size_t>(i / 2)] =
                (weights[i] & 0xFFFF) | static_cast<std::int32_t>(static_cast<std::uint32_t>(second) << 16);
        }
        return {rows_.data(), weights, pairs_.data(), count};
    }

private:
    std::vector<const Value*> rows_;
    std::vector<std::int32_t> pairs_;
};

/// Taps along a row are taken in steps of this many.
inline constexpr int tapsPerStep = 8;

/// The positions along a row with their weights, also in the arrangement that the kernels like best.
struct RowTaps {
    /// 8 or 16 bits a component.
    RowTaps(Axis positions, int bits);

    Axis axis;
    int padded = 0; ///< taps that are read of every position: 2, or the most rounded up to whole `tapsPerStep`
    /// Position → where its weights begin in `pairs` or `fours`; one behind another where `padded` is 2.
    std::vector<std::size_t> arrangedAt;
    std::vector<std::int16_t> pairs; ///< for 8 bits: for every two taps both weights, four times over; zeros behind
    std::vector<std::int32_t> fours; ///< for 16 bits: for every tap its weight, four times over; zeros behind
};

/// A row that comes out of a pass: only held to the range of its components, or colours also to the alpha beside them.
enum class Hold { range, alpha };

/// Where finished rows go. Streamed ones pass by the caches, for results that are larger than those; they need aligned
/// rows (others are stored as usual) and `hwy::FlushStream` before another thread reads them.
enum class Store { cached, streamed };

/// The definition of the kernels; `Kernels` gives the same through SIMD. `half` is 1 << (shift - 1): results are
/// rounded to nearest. `count` is of components. Nothing is read or written outside what the formulas say, but that
/// the horizontal ones read `padded` pixels from where a position begins, whatever they hold.
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
    static void verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count,
                            Store store = Store::cached);
};

/// The same functions through SIMD, chosen for the machine that runs them. The order of `sums` is theirs.
template <class Depth>
struct Kernels;

template <>
struct Kernels<Depth8> {
    using Component = Depth8::Component;
    using Middle = Depth8::Middle;
    using Sum = Depth8::Sum;

    static void verticalIn(const WeightedRows<Component>& in, Middle* out, std::size_t count);
    static void verticalAdd(const WeightedRows<Component>& in, Sum* sums, std::size_t count);
    static void verticalRound(const Sum* sums, Middle* out, std::size_t count);
    static void horizontalOut(const Middle* in, const RowTaps& taps, Hold hold, Component* out);
    static void widen(const Component* in, Middle* out, std::size_t count);
    static void horizontalIn(const Middle* in, const RowTaps& taps, Middle* out);
    static void verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count,
                            Store store = Store::cached);
};

template <>
struct Kernels<Depth16> {
    using Component = Depth16::Component;
    using Middle = Depth16::Middle;
    using Sum = Depth16::Sum;

    static void verticalIn(const WeightedRows<Component>& in, Middle* out, std::size_t count);
    static void verticalAdd(const WeightedRows<Component>& in, Sum* sums, std::size_t count);
    static void verticalRound(const Sum* sums, Middle* out, std::size_t count);
    static void horizontalOut(const Middle* in, const RowTaps& taps, Hold hold, Component* out);
    static void widen(const Component* in, Middle* out, std::size_t count);
    static void horizontalIn(const Middle* in, const RowTaps& taps, Middle* out);
    static void verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count,
                            Store store = Store::cached);
};

} // namespace zel::engine
