#include <zel/engine/ycc_kernels.h>

namespace zel::engine {
namespace {

constexpr int half = 1 << 15;
constexpr int centre = (128 << 16) + half - 1;

std::uint8_t cutOff(int sum)
{
    return static_cast<std::uint8_t>(sum >> 16);
}

} // namespace

void toYccReference(const std::uint8_t* rgbx, const YccRow& to, std::size_t pixels)
{
    for (std::size_t x = 0; x < pixels; ++x) {
        const int red = rgbx[4 * x];
        const int green = rgbx[4 * x + 1];
        const int blue = rgbx[4 * x + 2];
        to.luma[x] = cutOff(19595 * red + 38470 * green + 7471 * blue + half);
        to.blue[x] = cutOff(-11059 * red - 21709 * green + 32768 * blue + centre);
        to.red[x] = cutOff(32768 * red - 27439 * green - 5329 * blue + centre);
    }
}

void halveRowsReference(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* to, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned sum = upper[2 * i] + 0U + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
        to[i] = static_cast<std::uint8_t>((sum + 1 + i % 2) / 4);
    }
}

} // namespace zel::engine
