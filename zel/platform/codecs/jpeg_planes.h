#pragma once
#include <zel/engine/pixel_buffer.h>
#include <zel/engine/pixels.h>

#include <array>
#include <cstdint>
#include <vector>

namespace zel {

/// How a picture is coded: one component, or three with the colour at half or at full size.
enum class JpegSampling { grey, half, full };

inline int componentsOf(JpegSampling sampling)
{
    return sampling == JpegSampling::grey ? 1 : 3;
}
/// Pixels that one coding unit covers in each direction.
inline int unitSide(JpegSampling sampling)
{
    return sampling == JpegSampling::half ? 16 : 8;
}

/// Luma and colour differences of a picture, or of some of its rows, padded to whole coding units as libjpeg pads them:
/// the last sample of a row, then the last row, repeated.
class JpegPlanes {
public:
    struct Plane {
        std::uint8_t* data = nullptr;
        std::size_t stride = 0;
        int height = 0; ///< rows, padding included
        [[nodiscard]] std::uint8_t* row(int y) const { return data + stride * static_cast<std::size_t>(y); }
    };

    JpegPlanes() = default;
    /// Empty where the memory cannot be had.
    JpegPlanes(int width, int height, JpegSampling sampling);

    [[nodiscard]] bool empty() const { return memory_.empty(); }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] JpegSampling sampling() const { return sampling_; }
    [[nodiscard]] const Plane& plane(int component) const { return planes_[static_cast<std::size_t>(component)]; }

private:
    int width_ = 0, height_ = 0;
    JpegSampling sampling_ = JpegSampling::grey;
    std::array<Plane, 3> planes_;
    engine::PixelBuffer memory_;
};

/// Fills planes from rows of RGBX, top to bottom, from a row that begins a coding unit.
class JpegPlaneWriter {
public:
    JpegPlaneWriter(const JpegPlanes& planes, int firstRow);
    /// The next rows. What follows the last row of the planes is padding, which comes with it.
    void put(const engine::ConstPixels& rows);

private:
    void putRow(const std::uint8_t* rgbx);
    void padBottom();

    const JpegPlanes& planes_;
    int next_;
    std::vector<std::uint8_t> colour_; // two rows of each colour difference, at full size
};

} // namespace zel
