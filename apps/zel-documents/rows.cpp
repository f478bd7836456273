#include "rows.h"

#include <cstddef>

namespace zel::documents {
namespace {

constexpr std::uint32_t componentOf(std::uint32_t word, unsigned shift)
{
    return word >> shift & 255U;
}

void store(std::uint8_t* to, std::uint32_t red, std::uint32_t green, std::uint32_t blue, std::uint32_t alpha)
{
    to[0] = static_cast<std::uint8_t>(red);
    to[1] = static_cast<std::uint8_t>(green);
    to[2] = static_cast<std::uint8_t>(blue);
    to[3] = static_cast<std::uint8_t>(alpha);
}

} // namespace

void takeStraightRow(const std::uint32_t* from, int width, Paper paper, std::uint8_t* to)
{
    for (const std::uint32_t* const end = from + width; from != end; ++from, to += 4) {
        const std::uint32_t word = *from, alpha = word >> 24;
        // Most of a page is either clear or covered.
        if (alpha == 0) {
            store(to, componentOf(paper, 16), componentOf(paper, 8), componentOf(paper, 0), paper >> 24);
            continue;
        }
        if (alpha == 255) {
            store(to, componentOf(word, 16), componentOf(word, 8), componentOf(word, 0), 255);
            continue;
        }
        const std::uint32_t behind = paper == noPaper ? 0 : 255 - alpha;
        const auto laid = [&](unsigned shift) {
            return (componentOf(word, shift) * alpha + componentOf(paper, shift) * behind + 127) / 255;
        };
        store(to, laid(16), laid(8), laid(0), alpha + behind);
    }
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
