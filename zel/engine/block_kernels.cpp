#include <zel/engine/block_kernels.h>

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/block_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR // no lanes to work in
void rescale(const std::int16_t* from, const std::int16_t* factors, std::int16_t* to, std::size_t blocks)
{
    rescaleBlocksReference(from, factors, to, blocks);
}
#else
void rescale(const std::int16_t* from, const std::int16_t* factors, std::int16_t* to, std::size_t blocks)
{
    const hn::CappedTag<std::int16_t, blockCoefficients> d; // a power of two: a block is whole vectors
    const std::size_t lanes = hn::Lanes(d);
    const auto most = hn::Set(d, static_cast<std::int16_t>(mostCoefficient));
    const auto least = hn::Neg(most);
    for (std::size_t block = 0; block < blocks; ++block) {
        for (std::size_t i = 0; i < blockCoefficients; i += lanes) {
            const auto scaled = hn::MulFixedPoint15(hn::LoadU(d, from + i), hn::LoadU(d, factors + i));
            hn::StoreU(hn::Max(least, hn::Min(scaled, most)), d, to + i);
        }
        from += blockCoefficients;
        to += blockCoefficients;
    }
}
#endif

} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {

HWY_EXPORT(rescale);

void rescaleBlocks(const std::int16_t* from, const std::int16_t* factors, std::int16_t* to, std::size_t blocks)
{
    HWY_DYNAMIC_DISPATCH(rescale)(from, factors, to, blocks);
}

} // namespace zel::engine
#endif
