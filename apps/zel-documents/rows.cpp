#include "rows.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace zel::documents {
namespace {

constexpr std::uint32_t componentOf(std::uint32_t word, unsigned shift)
{
    return word >> shift & 255U;
}

/// 0xAARRGGBB with its bytes in the protocol's order.
constexpr std::uint32_t inOrder(std::uint32_t word)
{
    if constexpr (std::endian::native == std::endian::big)
        return std::rotl(word, 8);
    else
        return (word & 0xFF00FF00U) | (word >> 16 & 0xFFU) | (word & 0xFFU) << 16;
}

void storeOrdered(std::uint8_t* to, std::uint32_t word)
{
    std::memcpy(to, &word, sizeof word);
}

void store(std::uint8_t* to, std::uint32_t red, std::uint32_t green, std::uint32_t blue, std::uint32_t alpha)
{
    to[0] = static_cast<std::uint8_t>(red);
    to[1] = static_cast<std::uint8_t>(green);
    to[2] = static_cast<std::uint8_t>(blue);
    to[3] = static_cast<std::uint8_t>(alpha);
}

/// Two sums of up to 255 * 255, in the halves of a word, each divided by 255 and rounded to nearest: exact there.
constexpr std::uint32_t halvesBy255(std::uint32_t sums)
{
    sums += 0x00800080U;
    return (sums + (sums >> 8 & 0x00FF00FFU)) >> 8 & 0x00FF00FFU;
}

/// One straight pixel, premultiplied or on paper. A clear one shows the paper: 255 * p / 255.
void storeLaid(std::uint8_t* to, std::uint32_t word, Paper paper)
{
    const std::uint32_t alpha = word >> 24, behind = paper == noPaper ? 0 : 255 - alpha;
    const auto laid = [&](unsigned shift) {
        return halvesBy255((word >> shift & 0x00FF00FFU) * alpha + (paper >> shift & 0x00FF00FFU) * behind);
    };
    storeOrdered(to, inOrder((alpha + behind) << 24 | laid(0) | (laid(8) & 0xFFU) << 8));
}

} // namespace

void takeStraightRow(const std::uint32_t* from, int width, Paper paper, std::uint8_t* to)
{
    constexpr int block = 16;
    const std::uint32_t clear = inOrder(paper);
    for (; width >= block; width -= block, from += block, to += 4 * block) {
        // Most of a page is either covered or clear: blocks that are take no look at each pixel.
        std::uint32_t every = ~0U, any = 0;
        for (int i = 0; i < block; ++i) {
            every &= from[i];
            any |= from[i];
        }
        if (every >> 24 == 255)
            for (int i = 0; i < block; ++i)
                storeOrdered(to + 4 * i, inOrder(from[i]));
        else if (any >> 24 == 0)
            for (int i = 0; i < block; ++i)
                storeOrdered(to + 4 * i, clear);
        else
            for (int i = 0; i < block; ++i)
                storeLaid(to + 4 * i, from[i], paper);
    }
    for (int i = 0; i < width; ++i)
        storeLaid(to + 4 * i, from[i], paper);
}

void layRow(std::uint8_t* row, int width, Paper paper)
{
    if (paper == noPaper)
        return;
    for (std::uint8_t *pixel = row, *end = row + 4 * static_cast<std::size_t>(width); pixel != end; pixel += 4) {
        const std::uint32_t behind = 255U - pixel[3];
        const auto laid = [&](std::uint32_t component, unsigned shift) {
            return component + (componentOf(paper, shift) * behind + 127) / 255;
        };
        store(pixel, laid(pixel[0], 16), laid(pixel[1], 8), laid(pixel[2], 0), 255);
    }
}

} // namespace zel::documents
