#pragma once
#include <zel/platform/foundation/console.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Pictures that tests make in code.
namespace zel::test {

using Rgba = std::array<std::uint8_t, 4>;

/// 8 bits, each pixel as the function says, in the layout's own byte order.
inline Ref<const CGImage> painted(int width, int height, CGAlphaInfo info,
                                  const std::function<Rgba(int x, int y)>& pixel)
{
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (const std::uint8_t component : pixel(x, y))
                bytes.push_back(component);
    CGImage::Layout layout;
    layout.width = width;
    layout.height = height;
    layout.alphaInfo = info;
    return CGImage::make(layout, Data(std::move(bytes)), static_cast<std::size_t>(width) * 4);
}

inline Ref<const CGImage> flat(int width, int height, Rgba color, CGAlphaInfo info = CGAlphaInfo::premultipliedLast)
{
    return painted(width, height, info, [&](int, int) { return color; });
}

/// Red grows to the right, green downward: every pixel tells where it was.
inline Ref<const CGImage> positions(int width, int height)
{
    return painted(width, height, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 0, 255};
    });
}

inline Rgba pixelAt(const CGImage& image, int x, int y)
{
    const auto bytes = image.bytes();
    const std::size_t offset = static_cast<std::size_t>(y) * image.bytesPerRow() + static_cast<std::size_t>(x) * 4;
    return {bytes[offset], bytes[offset + 1], bytes[offset + 2], bytes[offset + 3]};
}

/// The lines that the library prints while it is alive.
class PrintedLines {
public:
    PrintedLines() : before_(Console::setSink([this](std::string_view line) { lines_.emplace_back(line); })) {}
    ~PrintedLines() { Console::setSink(std::move(before_)); }
    PrintedLines(const PrintedLines&) = delete;
    PrintedLines& operator=(const PrintedLines&) = delete;
    const std::vector<std::string>& lines() const { return lines_; }

private:
    std::vector<std::string> lines_;
    Console::Sink before_;
};

} // namespace zel::test
