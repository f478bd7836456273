#pragma once
#include <zel/engine/pixels.h>

#include <utility>

namespace zel::engine {

/// Owned pixels with uninitialised storage: rows without gaps, aligned to 64 bytes. Buffers of 4 MiB and more come from
/// the system directly and ask for huge pages, so that touching them for the first time costs little.
class PixelBuffer {
public:
    PixelBuffer() = default;
    /// Empty when a side is below 1 or the memory cannot be had. Contents are undefined.
    PixelBuffer(int width, int height, int bytesPerPixel = 4);
    ~PixelBuffer();
    PixelBuffer(PixelBuffer&& other) noexcept
        : pixels_(std::exchange(other.pixels_, {})), bytes_(std::exchange(other.bytes_, 0))
    {
    }
    PixelBuffer& operator=(PixelBuffer&& other) noexcept;
    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;

    [[nodiscard]] bool empty() const { return pixels_.data == nullptr; }
    [[nodiscard]] const Pixels& pixels() { return pixels_; }
    [[nodiscard]] ConstPixels pixels() const { return pixels_; }
    [[nodiscard]] std::size_t sizeInBytes() const { return bytes_; }

private:
    Pixels pixels_;
    std::size_t bytes_ = 0; ///< of the picture; the mapping may be longer
};

} // namespace zel::engine
