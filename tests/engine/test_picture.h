#pragma once
#include <zel/engine/pixels.h>

#include <cstring>
#include <random>
#include <vector>

namespace zel::engine {

/// Pixels of random bytes whose rows have gaps, inside guards: comparing `bytes` also shows what was written outside.
struct TestPicture {
    TestPicture(int width, int height, int bytesPerPixel = 4, std::size_t gap = 12, std::uint32_t seed = 1)
        : stride(static_cast<std::ptrdiff_t>(static_cast<std::size_t>(width * bytesPerPixel) + gap)),
          bytes(static_cast<std::size_t>(stride * height) + 2 * guard)
    {
        std::minstd_rand random(seed);
        for (auto& byte : bytes)
            byte = static_cast<std::uint8_t>(random() >> 8);
        shape = {nullptr, stride, width, height, bytesPerPixel};
    }

    [[nodiscard]] Pixels pixels()
    {
        Pixels result = shape;
        result.data = bytes.data() + guard;
        return result;
    }
    [[nodiscard]] ConstPixels pixels() const { return const_cast<TestPicture*>(this)->pixels(); }

    /// Calls `change` with the four bytes of every pixel of a picture of 8 bits.
    template <class Change>
    TestPicture& forEachPixel(const Change& change)
    {
        for (int y = 0; y < shape.height; ++y)
            for (int x = 0; x < shape.width; ++x)
                change(pixels().at(x, y));
        return *this;
    }

    /// Makes random pixels ones that a premultiplied picture can have: no component above alpha.
    TestPicture& premultiplied()
    {
        return forEachPixel([](std::uint8_t* pixel) {
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<std::uint8_t>(pixel[i] * pixel[3] / 255);
        });
    }

    static constexpr std::size_t guard = 64;
    std::ptrdiff_t stride;
    std::vector<std::uint8_t> bytes;
    Pixels shape;
};

/// A component of 8 or 16 bits.
inline unsigned component(const ConstPixels& pixels, int x, int y, int i)
{
    if (pixels.bytesPerPixel == 4)
        return pixels.at(x, y)[i];
    std::uint16_t value;
    std::memcpy(&value, pixels.at(x, y) + 2 * i, 2);
    return value;
}

inline void setComponent(const Pixels& pixels, int x, int y, int i, unsigned value)
{
    if (pixels.bytesPerPixel == 4) {
        pixels.at(x, y)[i] = static_cast<std::uint8_t>(value);
    } else {
        const auto stored = static_cast<std::uint16_t>(value);
        std::memcpy(pixels.at(x, y) + 2 * i, &stored, 2);
    }
}

} // namespace zel::engine
