#include <zel/platform/codecs/heif_planes.h>

#include <zel/engine/ycc_kernels.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zel::heif {

PlaneWriter::PlaneWriter(const NewPicture& picture, const WritablePlanes& planes)
    : picture_(picture), planes_(planes), padded_((static_cast<std::size_t>(picture.width) + 1) / 2 * 2)
{
    if (picture.bits == 8)
        bytes_.resize(5 * padded_); // and one of luma
    else
        sums_.resize(2 * padded_);
}

void PlaneWriter::put(const engine::ConstPixels& rows)
{
    for (int y = 0; y < rows.height; ++y, ++next_) {
        if (picture_.bits == 8)
            putBytes(rows.row(y));
        else
            putWords(rows.row(y));
    }
}

void PlaneWriter::putBytes(const std::uint8_t* rgba)
{
    const auto width = static_cast<std::size_t>(picture_.width);
    const std::size_t parity = static_cast<std::size_t>(next_ % 2);
    std::uint8_t* const blue = bytes_.data() + parity * padded_;
    std::uint8_t* const red = bytes_.data() + (2 + parity) * padded_;
    engine::toYcc(rgba, {row(0, next_), blue, red}, width);
    blue[padded_ - 1] = blue[width - 1];
    red[padded_ - 1] = red[width - 1];
    if (picture_.hasAlpha) {
        std::uint8_t* const alpha = row(3, next_);
        for (std::size_t x = 0; x < width; ++x)
            alpha[x] = rgba[4 * x + 3];
    }
    const bool isLast = next_ == picture_.height - 1;
    if (parity == 0 && !isLast)
        return;
    // A last row without a second one is halved with itself.
    engine::halveRows(bytes_.data(), blue, row(1, next_ / 2), padded_ / 2);
    engine::halveRows(bytes_.data() + 2 * padded_, red, row(2, next_ / 2), padded_ / 2);
}

void PlaneWriter::putWords(const std::uint8_t* rgba)
{
    constexpr double most = 1023, full = 65535;
    const bool isFirst = next_ % 2 == 0, isLast = next_ == picture_.height - 1;
    const auto width = static_cast<std::size_t>(picture_.width);
    std::uint32_t* const blue = sums_.data();
    std::uint32_t* const red = sums_.data() + padded_;
    // Differences are summed as values of 16 bits, four of them to a sample.
    const unsigned weight = isFirst && isLast ? 2 : 1;
    for (std::size_t x = 0; x < padded_; ++x) {
        std::uint16_t pixel[4];
        std::memcpy(pixel, rgba + 8 * std::min(x, width - 1), sizeof pixel);
        const double y = 0.299 * pixel[0] + 0.587 * pixel[1] + 0.114 * pixel[2];
        const double cb = (pixel[2] - y) / 1.772, cr = (pixel[0] - y) / 1.402; // -32767.5 to 32767.5
        if (x < width) {
            const auto luma = static_cast<std::uint16_t>(std::lround(y * most / full));
            std::memcpy(row(0, next_) + 2 * x, &luma, 2);
        }
        blue[x] = (isFirst ? 0 : blue[x]) + weight * static_cast<std::uint32_t>(std::lround(cb + 32768));
        red[x] = (isFirst ? 0 : red[x]) + weight * static_cast<std::uint32_t>(std::lround(cr + 32768));
    }
    if (isFirst && !isLast)
        return;
    for (int plane = 1; plane < 3; ++plane) {
        const std::uint32_t* const sums = plane == 1 ? blue : red;
        for (std::size_t x = 0; x < padded_ / 2; ++x) {
            const double mean = (sums[2 * x] + sums[2 * x + 1]) / 4.0 - 32768;
            const auto sample =
                static_cast<std::uint16_t>(std::clamp(std::lround(512 + mean * most / full), 0L, 1023L));
            std::memcpy(row(plane, next_ / 2) + 2 * x, &sample, 2);
        }
    }
}

} // namespace zel::heif
