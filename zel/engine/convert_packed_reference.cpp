#include <zel/engine/convert_packed.h>

#include <array>
#include <bit>
#include <cstring>

namespace zel::engine {
namespace {

/// Which packed component each of red, green, blue, alpha comes from; 4 = opaque.
constexpr std::array<std::array<std::size_t, 4>, 4> sources{{{0, 0, 0, 4}, {0, 0, 0, 1}, {0, 1, 2, 4}, {0, 1, 2, 3}}};
/// Which of red, green, blue, alpha each packed component comes from.
constexpr std::array<std::array<std::size_t, 4>, 4> places{{{0, 0, 0, 0}, {0, 3, 0, 0}, {0, 1, 2, 0}, {0, 1, 2, 3}}};

void moveComponent(const std::uint8_t* from, std::uint8_t* to, std::size_t bytes)
{
    if (bytes == 1) {
        *to = *from;
        return;
    }
    const std::uint8_t first = from[0];
    const std::uint8_t second = from[1];
    constexpr bool swap = std::endian::native == std::endian::little;
    to[0] = swap ? second : first;
    to[1] = swap ? first : second;
}

} // namespace

void expandRowReference(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
                        std::size_t pixels)
{
    const auto& source = sources[static_cast<std::size_t>(format)];
    const auto bytes = static_cast<std::size_t>(bytesPerComponent);
    const std::size_t packedBytes = bytes * static_cast<std::size_t>(componentsOf(format));
    for (std::size_t x = 0; x < pixels; ++x) {
        for (std::size_t i = 0; i < 4; ++i) {
            std::uint8_t* place = to + (4 * x + i) * bytes;
            if (source[i] < 4)
                moveComponent(from + x * packedBytes + source[i] * bytes, place, bytes);
            else
                std::memset(place, 0xFF, bytes);
        }
    }
}

void packRowReference(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent,
                      std::size_t pixels)
{
    const auto& place = places[static_cast<std::size_t>(format)];
    const auto bytes = static_cast<std::size_t>(bytesPerComponent);
    const auto components = static_cast<std::size_t>(componentsOf(format));
    for (std::size_t x = 0; x < pixels; ++x)
        for (std::size_t i = 0; i < components; ++i)
            moveComponent(from + (4 * x + place[i]) * bytes, to + (x * components + i) * bytes, bytes);
}

} // namespace zel::engine
