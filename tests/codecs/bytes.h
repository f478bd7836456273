#pragma once
#include <codecs/decoded.h>

#include <initializer_list>
#include <string_view>

namespace zel::test {

/// A file put together by hand, numbers low byte first.
struct Bytes {
    std::vector<std::uint8_t> data = {};

    Bytes& text(std::string_view letters)
    {
        data.insert(data.end(), letters.begin(), letters.end());
        return *this;
    }
    Bytes& u8(std::initializer_list<int> values)
    {
        for (const int value : values)
            data.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }
    Bytes& u16(std::initializer_list<int> values)
    {
        for (const int value : values)
            u8({value & 0xFF, value >> 8 & 0xFF});
        return *this;
    }
    Bytes& u32(std::initializer_list<std::int64_t> values)
    {
        for (const std::int64_t value : values)
            u16({static_cast<int>(value & 0xFFFF), static_cast<int>(value >> 16 & 0xFFFF)});
        return *this;
    }
    Bytes& add(const Bytes& other)
    {
        data.insert(data.end(), other.data.begin(), other.data.end());
        return *this;
    }
    [[nodiscard]] Bytes cut(std::size_t fromEnd) const
    {
        return {{data.begin(), data.end() - static_cast<std::ptrdiff_t>(fromEnd)}};
    }
};

using Pixel = std::array<int, 4>;

/// A picture by its rows; "R" and the like stand for pixels, so that a table can be read.
inline std::vector<Pixel> pixels(std::string_view letters, int most = 255)
{
    std::vector<Pixel> all;
    for (const char letter : letters) {
        const auto lit = [&](std::string_view of) { return of.find(letter) == of.npos ? 0 : most; };
        if (letter == '.')
            all.push_back({0, 0, 0, 0});
        else if (letter != ' ')
            all.push_back({lit("RYMW"), lit("GYCW"), lit("BCMW"), most});
    }
    return all;
}

/// The pixels of a decoded picture, row by row; of an opaque one alpha as `most`, whatever stands there.
inline std::vector<Pixel> pixelsOf(const PixelProvider& picture, const Decoded& decoded)
{
    std::vector<Pixel> all;
    for (int y = 0; y < decoded.height; ++y)
        for (int x = 0; x < decoded.width; ++x) {
            all.push_back(decoded.at(x, y));
            if (!picture.facts().hasAlpha)
                all.back()[3] = decoded.bitsPerComponent == 16 ? 65535 : 255;
        }
    return all;
}

} // namespace zel::test
