#pragma once
#include <cstddef>
#include <cstdint>

namespace zel::engine {

/// Rows of pixels in memory that somebody else owns: four components a pixel, `Byte` of 8 bits each or (`bytesPerPixel`
/// 8) 16 bits in the machine's byte order. Origin top left. The stride is in bytes and may be negative.
template <class Byte>
struct BasicPixels {
    Byte* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;
    int bytesPerPixel = 4;

    [[nodiscard]] Byte* row(int y) const { return data + stride * y; }
    [[nodiscard]] Byte* at(int x, int y) const { return row(y) + static_cast<std::ptrdiff_t>(x) * bytesPerPixel; }
    [[nodiscard]] bool empty() const { return width < 1 || height < 1; }
    [[nodiscard]] std::size_t rowBytes() const
    {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(bytesPerPixel);
    }
    /// The rectangle of these pixels; it must lie inside.
    [[nodiscard]] BasicPixels part(int x, int y, int partWidth, int partHeight) const
    {
        return {at(x, y), stride, partWidth, partHeight, bytesPerPixel};
    }
    [[nodiscard]] BasicPixels rows(int first, int count) const { return part(0, first, width, count); }

    operator BasicPixels<const Byte>() const // NOLINT(google-explicit-constructor): a writable view is a readable one
    {
        return {data, stride, width, height, bytesPerPixel};
    }
};

using Pixels = BasicPixels<std::uint8_t>;
using ConstPixels = BasicPixels<const std::uint8_t>;

} // namespace zel::engine
