#pragma once
#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>

// The blocks of a GIF file (GIF87a, GIF89a) up to its first picture. Everything that comes from the file passes here,
// so that giflib sees nothing but the compressed pixels.
namespace zel::gif {

struct Picture {
    int canvasWidth = 0, canvasHeight = 0;        ///< widened where the first frame sticks out
    int left = 0, top = 0, width = 0, height = 0; ///< of the first frame on the canvas, within it
    bool interlaced = false;
    bool hasClearColor = false;                               ///< one of the colours is see-through
    std::array<std::array<std::uint8_t, 4>, 256> colors = {}; ///< RGBA; those that the file lacks are black
    std::uint64_t pixels = 0; ///< where the compressed pixels begin: a byte with the size of codes, then sub-blocks
    int frames = 1;
    Ref<const CGColorSpace> profile = {};

    [[nodiscard]] bool isOpaque() const { return !hasClearColor && width == canvasWidth && height == canvasHeight; }
};

/// Absent with the reason noted: damage, no picture, over a limit.
std::optional<Picture> readBlocks(const ByteSource& source);

/// The data of consecutive sub-blocks, as blocks again: those that the file cuts short end where it does, and behind
/// the last one there is always an empty one. So a decoder that stops at the end of its input meets a sound one.
class SubBlocks {
public:
    /// `position`: of the byte with the size of codes, which comes first.
    SubBlocks(const ByteSource& source, std::uint64_t position);
    void read(std::span<std::uint8_t> into);
    /// True once the file ended inside the sub-blocks, or before the empty one.
    [[nodiscard]] bool endedEarly() const { return endedEarly_; }

private:
    void compose();

    ByteReader reader_;
    std::array<std::uint8_t, 256> block_ = {}; ///< a length and as many bytes
    std::size_t at_ = 0, size_ = 0;            ///< in `block_`
    bool endedEarly_ = false;
};

} // namespace zel::gif
