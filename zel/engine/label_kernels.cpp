#include <zel/engine/label_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/label_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void markAll(const std::uint8_t* pixels, std::size_t count, std::uint8_t threshold, std::uint64_t* bits)
{
    markAlphaAboveReference(pixels, count, threshold, bits);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t wordBits = 64;

/// A whole word of bits.
std::uint64_t markWord(const std::uint8_t* pixels, std::uint8_t threshold)
{
    const hn::CappedTag<std::uint8_t, wordBits> d8;
    const auto limit = hn::Set(d8, threshold);
    std::uint8_t bytes[wordBits / 8] = {};
    for (std::size_t x = 0; x < wordBits; x += hn::Lanes(d8)) {
        hn::VFromD<decltype(d8)> red, green, blue, alpha;
        hn::LoadInterleaved4(d8, pixels + 4 * x, red, green, blue, alpha);
        // Lowest bit first, as the word has them on a machine that stores low bytes first.
        hn::StoreMaskBits(d8, hn::Gt(alpha, limit), bytes + x / 8);
    }
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

void markAll(const std::uint8_t* pixels, std::size_t count, std::uint8_t threshold, std::uint64_t* bits)
{
    const std::size_t words = count / wordBits;
    for (std::size_t i = 0; i < words; ++i)
        bits[i] = markWord(pixels + 4 * wordBits * i, threshold);
    if (const std::size_t left = count % wordBits; left > 0)
        markAlphaAboveReference(pixels + 4 * wordBits * words, left, threshold, bits + words);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(markAll);
} // namespace

void markAlphaAbove(const std::uint8_t* pixels, std::size_t count, std::uint8_t threshold, std::uint64_t* bits)
{
    HWY_DYNAMIC_DISPATCH(markAll)(pixels, count, threshold, bits);
}

} // namespace zel::engine
#endif // HWY_ONCE
