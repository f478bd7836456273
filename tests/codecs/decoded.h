#pragma once
#include <zel/platform/codecs/codec.h>

#include <array>
#include <cstring>

namespace zel::test {

/// A picture's pixels as decoded: four components each, 8 or 16 bits.
struct Decoded {
    int width = 0, height = 0, bitsPerComponent = 8;
    std::vector<std::uint8_t> bytes;
    bool complete = false; ///< what `decode` said

    [[nodiscard]] std::size_t rowBytes() const
    {
        return static_cast<std::size_t>(width) * 4 * static_cast<std::size_t>(bitsPerComponent / 8);
    }
    [[nodiscard]] std::array<int, 4> at(int x, int y) const
    {
        std::array<int, 4> pixel{};
        const std::uint8_t* const place =
            bytes.data() + static_cast<std::size_t>(y) * rowBytes() +
            static_cast<std::size_t>(x) * 4 * static_cast<std::size_t>(bitsPerComponent / 8);
        for (std::size_t i = 0; i < 4; ++i) {
            std::uint16_t wide = place[i];
            if (bitsPerComponent == 16)
                std::memcpy(&wide, place + 2 * i, 2);
            pixel[i] = wide;
        }
        return pixel;
    }
    [[nodiscard]] std::vector<std::uint8_t> row(int y) const
    {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * rowBytes());
        return {first, first + static_cast<std::ptrdiff_t>(rowBytes())};
    }
};

/// Decodes what is asked for into memory that holds `fill` before; checks that rows come in order, each once.
inline Decoded decode(const PixelProvider& picture, const PixelProvider::Request& request = {},
                      std::uint8_t fill = 0xA5)
{
    const CGImage::Layout& layout = picture.facts().layout;
    Decoded result{layout.width,
                   request.rowCount < 0 ? layout.height - request.firstRow : request.rowCount,
                   layout.bitsPerComponent,
                   {},
                   false};
    result.bytes.assign(result.rowBytes() * static_cast<std::size_t>(result.height), fill);
    int next = request.firstRow;
    bool inOrder = true;
    result.complete = picture.decode(request, [&](int first, const engine::ConstPixels& rows) {
        inOrder = inOrder && first == next && rows.width == result.width &&
                  first + rows.height <= request.firstRow + result.height;
        for (int y = 0; y < rows.height && inOrder; ++y)
            std::memcpy(result.bytes.data() +
                            static_cast<std::size_t>(first - request.firstRow + y) * result.rowBytes(),
                        rows.row(y), result.rowBytes());
        next = first + rows.height;
        return true;
    });
    if (result.complete)
        result.complete = inOrder && next == request.firstRow + result.height;
    return result;
}

inline Ref<const PixelProvider> open(std::vector<std::uint8_t> bytes)
{
    return openPicture(ByteSource::of(Data(std::move(bytes)), "picture"));
}

} // namespace zel::test
