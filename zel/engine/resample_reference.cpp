#include <zel/engine/resample_kernels.h>

#include <algorithm>

namespace zel::engine {
namespace {

template <int shift, class Sum>
Sum rounded(Sum sum)
{
    return (sum + (Sum{1} << (shift - 1))) >> shift;
}

template <class Component, class Sum>
Component inRange(Sum value)
{
    return static_cast<Component>(std::clamp<Sum>(value, 0, std::numeric_limits<Component>::max()));
}

template <class Sum, class Value>
Sum weightedSum(const WeightedRows<Value>& in, std::size_t i)
{
    Sum sum = 0;
    for (int k = 0; k < in.count; ++k)
        sum += static_cast<Sum>(in.weights[k]) * in.rows[k][in.first + i];
    return sum;
}

template <class Sum, class Value>
Sum weightedSum(const Value* in, const Axis& axis, const Taps& taps, int component)
{
    const std::int32_t* weights = axis.weightsOf(taps);
    Sum sum = 0;
    for (int k = 0; k < taps.count; ++k)
        sum += static_cast<Sum>(weights[k]) * in[4 * (taps.first + k) + component];
    return sum;
}

template <class Component>
void holdColours(Component* pixel, Hold hold)
{
    if (hold == Hold::alpha)
        for (int c = 0; c < 3; ++c)
            pixel[c] = std::min(pixel[c], pixel[3]);
}

} // namespace

template <class Depth>
void ReferenceKernels<Depth>::verticalIn(const WeightedRows<Component>& in, Middle* out, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<Middle>(rounded<shiftIn>(weightedSum<Sum>(in, i)));
}

template <class Depth>
void ReferenceKernels<Depth>::verticalAdd(const WeightedRows<Component>& in, Sum* sums, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        sums[i] += weightedSum<Sum>(in, i);
}

template <class Depth>
void ReferenceKernels<Depth>::verticalRound(const Sum* sums, Middle* out, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<Middle>(rounded<shiftIn>(sums[i]));
}

template <class Depth>
void ReferenceKernels<Depth>::horizontalOut(const Middle* in, const RowTaps& taps, Hold hold, Component* out)
{
    for (const Taps& position : taps.axis.taps) {
        for (int c = 0; c < 4; ++c)
            out[c] = inRange<Component>(rounded<shiftOut>(weightedSum<Sum>(in, taps.axis, position, c)));
        holdColours(out, hold);
        out += 4;
    }
}

template <class Depth>
void ReferenceKernels<Depth>::widen(const Component* in, Middle* out, std::size_t count)
{
    std::copy_n(in, count, out);
}

template <class Depth>
void ReferenceKernels<Depth>::horizontalIn(const Middle* in, const RowTaps& taps, Middle* out)
{
    for (const Taps& position : taps.axis.taps)
        for (int c = 0; c < 4; ++c)
            *out++ = static_cast<Middle>(rounded<shiftIn>(weightedSum<Sum>(in, taps.axis, position, c)));
}

template <class Depth>
void ReferenceKernels<Depth>::verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count,
                                          Store)
{
    for (std::size_t i = 0; i < count; ++i)
        out[i] = inRange<Component>(rounded<shiftOut>(weightedSum<Sum>(in, i)));
    for (std::size_t i = 0; i < count; i += 4)
        holdColours(out + i, hold);
}

template struct ReferenceKernels<Depth8>;
template struct ReferenceKernels<Depth16>;

} // namespace zel::engine
