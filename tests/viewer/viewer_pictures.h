#pragma once
#include <common/pictures.h>
#include <foundation/temporary_folder.h>
#include <view/qt_application.h>

#include <random>

namespace zel::test {

/// All bytes of all pixels, row by row; empty for an absent picture.
inline std::vector<std::uint8_t> bytesOfPixels(const Ref<ZelImage>& picture)
{
    std::vector<std::uint8_t> bytes;
    const Ref<const CGImage> image = picture ? picture->cgImage : nullptr;
    for (int y = 0; image && y < image->height(); ++y) {
        const auto row = image->bytes().subspan(static_cast<std::size_t>(y) * image->bytesPerRow(),
                                                static_cast<std::size_t>(image->width()) * 4);
        bytes.insert(bytes.end(), row.begin(), row.end());
    }
    return bytes;
}

/// Which no encoder makes small.
inline Ref<ZelImage> noise(int width, int height)
{
    std::mt19937 random(7);
    return makeZelImage(painted(width, height, CGAlphaInfo::noneSkipLast, [&](int, int) {
        const auto bits = random();
        return Rgba{static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                    static_cast<std::uint8_t>(bits >> 16), 255};
    }));
}

inline Ref<ZelImage> gradient(int width, int height)
{
    return makeZelImage(painted(width, height, CGAlphaInfo::noneSkipLast, [&](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x * 255 / width), static_cast<std::uint8_t>(y * 255 / height),
                    static_cast<std::uint8_t>((x / 5 + y / 3) % 2 * 90), 255};
    }));
}

} // namespace zel::test
