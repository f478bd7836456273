#pragma once
#include <zel/engine/pixels.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ostream>
#include <random>
#include <vector>

// Pictures for tests of the engine: made in code, compared whole.
namespace zel::engine {

struct Size {
    int width, height;
};

inline std::ostream& operator<<(std::ostream& out, Size size)
{
    return out << size.width << " x " << size.height;
}

/// Components in the picture's own range; those of `fill` and `set` are 0 to 255 and widened for 16 bits.
using Color = std::array<int, 4>;

class SamplePicture {
public:
    SamplePicture(int width, int height, int bytesPerPixel)
        : width_(width),
          height_(height),
          bytesPerPixel_(bytesPerPixel),
          bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                 static_cast<std::size_t>(bytesPerPixel))
    {
    }

    /// Every component of every pixel at random, the same in each run.
    static SamplePicture noise(int width, int height, int bytesPerPixel)
    {
        SamplePicture picture(width, height, bytesPerPixel);
        std::mt19937 random(static_cast<std::uint32_t>(width * 7919 + height));
        for (std::uint8_t& byte : picture.bytes_)
            byte = static_cast<std::uint8_t>(random() >> 13);
        return picture;
    }

    [[nodiscard]] Pixels pixels() { return {bytes_.data(), stride(), width_, height_, bytesPerPixel_}; }
    [[nodiscard]] ConstPixels pixels() const { return {bytes_.data(), stride(), width_, height_, bytesPerPixel_}; }
    [[nodiscard]] double maximum() const { return bytesPerPixel_ == 4 ? 255 : 65535; }

    [[nodiscard]] Color get(int x, int y) const
    {
        Color color{};
        for (int c = 0; c < 4; ++c) {
            const std::uint8_t* at = pixels().at(x, y);
            std::uint16_t wide = 0;
            std::memcpy(&wide, at + 2 * c * (bytesPerPixel_ / 8), sizeof wide);
            color[static_cast<std::size_t>(c)] = bytesPerPixel_ == 4 ? at[c] : wide;
        }
        return color;
    }

    void set(int x, int y, const Color& color)
    {
        std::uint8_t* at = pixels().at(x, y);
        for (int c = 0; c < 4; ++c) {
            const int value = color[static_cast<std::size_t>(c)];
            const auto wide = static_cast<std::uint16_t>(value * 257);
            if (bytesPerPixel_ == 4)
                at[c] = static_cast<std::uint8_t>(value);
            else
                std::memcpy(at + 2 * c, &wide, sizeof wide);
        }
    }

    void fill(const Color& color)
    {
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                set(x, y, color);
    }

    [[nodiscard]] SamplePicture part(int x, int y, int width, int height) const
    {
        SamplePicture picture(width, height, bytesPerPixel_);
        for (int row = 0; row < height; ++row)
            std::copy_n(pixels().at(x, y + row), picture.stride(), picture.pixels().row(row));
        return picture;
    }

    /// Top to bottom.
    [[nodiscard]] SamplePicture flipped() const
    {
        SamplePicture picture(width_, height_, bytesPerPixel_);
        for (int row = 0; row < height_; ++row)
            std::copy_n(pixels().row(row), stride(), picture.pixels().row(height_ - 1 - row));
        return picture;
    }

    friend bool operator==(const SamplePicture&, const SamplePicture&) = default;
    friend std::ostream& operator<<(std::ostream& out, const SamplePicture& picture)
    {
        return out << picture.width_ << " x " << picture.height_ << " x " << picture.bytesPerPixel_;
    }

private:
    [[nodiscard]] std::ptrdiff_t stride() const { return static_cast<std::ptrdiff_t>(width_) * bytesPerPixel_; }

    int width_, height_, bytesPerPixel_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace zel::engine
