#include <zel/engine/resample_kernels.h>

namespace zel::engine {

RowTaps::RowTaps(Axis positions, int bits) : axis(std::move(positions))
{
    const int most = axis.mostTaps();
    padded = most <= 2 ? 2 : (most + tapsPerStep - 1) / tapsPerStep * tapsPerStep;
    constexpr auto unknown = static_cast<std::size_t>(-1);
    std::vector<std::size_t> known(axis.weights.size(),
                                   unknown); // positions that share weights share what is arranged
    std::size_t next = 0;
    arrangedAt.reserve(axis.taps.size());
    for (const Taps& taps : axis.taps) {
        std::size_t& at = known[taps.offset];
        if (at == unknown || padded == 2) {
            at = next;
            next += static_cast<std::size_t>(padded) * 4;
        }
        arrangedAt.push_back(at);
    }
    (bits == 8 ? pairs.resize(next) : fours.resize(next));
    for (std::size_t p = 0; p < axis.taps.size(); ++p) {
        const Taps& taps = axis.taps[p];
        for (int k = 0; k < taps.count; ++k) {
            const std::int32_t weight = axis.weightsOf(taps)[k];
            for (int copy = 0; copy < 4; ++copy) {
                if (bits == 8)
                    pairs[arrangedAt[p] + static_cast<std::size_t>(k / 2 * 8 + copy * 2 + k % 2)] =
                        static_cast<std::int16_t>(weight);
                else
                    fours[arrangedAt[p] + static_cast<std::size_t>(k * 4 + copy)] = weight;
            }
        }
    }
}

} // namespace zel::engine
