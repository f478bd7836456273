#include <zel/platform/codecs/jpeg_planes.h>

#include <zel/engine/convert_packed.h>
#include <zel/engine/ycc_kernels.h>

#include <algorithm>
#include <cstring>

namespace zel {
namespace {

int roundedUp(int value, int step)
{
    return (value + step - 1) / step * step;
}

void padRight(std::uint8_t* row, std::size_t width, std::size_t padded)
{
    std::memset(row + width, row[width - 1], padded - width);
}

} // namespace

JpegPlanes::JpegPlanes(int width, int height, JpegSampling sampling)
    : width_(width), height_(height), sampling_(sampling)
{
    const int unit = unitSide(sampling);
    const int paddedWidth = roundedUp(width, unit);
    const int paddedHeight = roundedUp(height, unit);
    const int share = sampling == JpegSampling::half ? 2 : 1;
    const int colourRows =
        sampling == JpegSampling::grey ? 0 : 2 * paddedHeight / share / share; // of the luma's stride
    memory_ = engine::PixelBuffer(paddedWidth, paddedHeight + colourRows, 1);
    if (memory_.empty())
        return;
    const engine::Pixels all = memory_.pixels();
    const auto stride = static_cast<std::size_t>(all.stride);
    planes_[0] = {all.data, stride, paddedHeight};
    if (sampling == JpegSampling::grey)
        return;
    const std::size_t colourStride = stride / static_cast<std::size_t>(share);
    const int colourHeight = paddedHeight / share;
    std::uint8_t* const colour = all.data + stride * static_cast<std::size_t>(paddedHeight);
    planes_[1] = {colour, colourStride, colourHeight};
    planes_[2] = {colour + colourStride * static_cast<std::size_t>(colourHeight), colourStride, colourHeight};
}

JpegPlaneWriter::JpegPlaneWriter(const JpegPlanes& planes, int firstRow) : planes_(planes), next_(firstRow)
{
    if (planes.sampling() == JpegSampling::half)
        colour_.resize(4 * planes.plane(0).stride);
}

void JpegPlaneWriter::put(const engine::ConstPixels& rows)
{
    for (int y = 0; y < rows.height; ++y)
        putRow(rows.row(y));
    if (next_ == planes_.height())
        padBottom();
}

void JpegPlaneWriter::putRow(const std::uint8_t* rgbx)
{
    const auto width = static_cast<std::size_t>(planes_.width());
    const JpegPlanes::Plane& luma = planes_.plane(0);
    const std::size_t padded = luma.stride;
    std::uint8_t* const row = luma.row(next_);
    if (planes_.sampling() == JpegSampling::grey) {
        engine::packRow(rgbx, row, engine::PackedFormat::grey, 1, width);
        padRight(row, width, padded);
        ++next_;
        return;
    }
    const bool isHalf = planes_.sampling() == JpegSampling::half;
    const std::size_t parity = static_cast<std::size_t>(next_ % 2);
    std::uint8_t* const blue = isHalf ? colour_.data() + parity * padded : planes_.plane(1).row(next_);
    std::uint8_t* const red = isHalf ? colour_.data() + (2 + parity) * padded : planes_.plane(2).row(next_);
    engine::toYcc(rgbx, {row, blue, red}, width);
    for (std::uint8_t* const each : {row, blue, red})
        padRight(each, width, padded);
    ++next_;
    const bool isLast = next_ == planes_.height();
    if (!isHalf || (parity == 0 && !isLast))
        return;
    // A last row without a second one is halved with itself.
    const std::size_t count = planes_.plane(1).stride;
    const int half = (next_ - 1) / 2;
    const std::uint8_t* const upperBlue = colour_.data();
    const std::uint8_t* const upperRed = colour_.data() + 2 * padded;
    engine::halveRows(upperBlue, blue, planes_.plane(1).row(half), count);
    engine::halveRows(upperRed, red, planes_.plane(2).row(half), count);
}

void JpegPlaneWriter::padBottom()
{
    const int share = planes_.sampling() == JpegSampling::half ? 2 : 1;
    for (int component = 0; component < componentsOf(planes_.sampling()); ++component) {
        const JpegPlanes::Plane& plane = planes_.plane(component);
        const int written = component == 0 ? planes_.height() : (planes_.height() + share - 1) / share;
        for (int y = written; y < plane.height; ++y)
            std::memcpy(plane.row(y), plane.row(written - 1), plane.stride);
    }
}

} // namespace zel
