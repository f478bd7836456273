#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <array>

// The container of a PNG file: a signature, then chunks of a length, a type, data and a checksum (ISO/IEC 15948, clause
// 5). Everything that comes from the file passes here, so that no decoder library ever sees metadata.
namespace zel::png {

inline constexpr std::array<std::uint8_t, 8> signature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

/// A chunk's type as one number; chunks that must be understood have bit 5 of the first letter clear.
constexpr std::uint32_t chunkType(const char (&name)[5])
{
    std::uint32_t type = 0;
    for (int i = 0; i < 4; ++i)
        type = type << 8 | static_cast<std::uint8_t>(name[i]);
    return type;
}

enum class ColorType : std::uint8_t { gray = 0, rgb = 2, palette = 3, grayAlpha = 4, rgba = 6 };

/// Samples a pixel as the file stores them; a palette index is one.
int channelsOf(ColorType type);

/// What stands before the pixels.
struct Header {
    int width = 0, height = 0;
    int bits = 8; ///< a sample
    ColorType type = ColorType::rgba;
    bool interlaced = false;
    std::vector<std::uint8_t> palette; ///< red, green, blue of each entry; of palette pictures alone
    std::vector<std::uint8_t>
        transparency; ///< alpha of the first entries, or the transparent colour: 2 bytes a channel
    PictureFacts facts;
    std::uint64_t firstPixelChunk = 0; ///< where the first IDAT chunk begins

    /// Bytes of a row without its filter byte; not for interlaced pictures.
    [[nodiscard]] std::uint64_t rowBytes() const;
    /// From a pixel to the one on its left, for the filters; 1 for pixels of less than a byte.
    [[nodiscard]] int filterDistance() const;
};

/// Reads everything up to the pixels, and an orientation that stands behind them. Absent with the reason noted: damage,
/// no pixels, over a limit. Damaged metadata is left out with a warning.
std::optional<Header> readHeader(const ByteSource& source);

/// The compressed pixels: the data of consecutive IDAT chunks as one stream, in pieces.
class PixelStream {
public:
    /// `firstChunk`: where the first IDAT chunk begins.
    PixelStream(const ByteSource& source, std::uint64_t firstChunk);
    /// The next piece, valid until the next call; empty at the end.
    [[nodiscard]] std::span<const std::uint8_t> next();
    /// True when the file ended inside a chunk or before one that was to follow.
    [[nodiscard]] bool endedEarly() const { return endedEarly_; }
    /// True when a chunk that has been passed does not match its checksum.
    [[nodiscard]] bool damaged() const { return damaged_; }

private:
    [[nodiscard]] bool enterChunk();
    [[nodiscard]] std::size_t readData(std::span<std::uint8_t> into);
    void leaveChunk();

    const ByteSource& source_;
    std::uint64_t position_;
    std::uint32_t remaining_ = 0; ///< of the data of the chunk that is being read
    std::uint32_t checksum_ = 0;
    bool inChunk_ = false;
    bool ended_ = false;
    bool endedEarly_ = false;
    bool damaged_ = false;
    std::vector<std::uint8_t> buffer_;
};

/// Appends chunks to a file in memory.
class ChunkWriter {
public:
    explicit ChunkWriter(std::vector<std::uint8_t>& file) : file_(file) {}
    /// A whole chunk.
    void write(std::uint32_t type, std::span<const std::uint8_t> data);
    /// One in parts: its data are what is added between `begin` and `end`.
    void begin(std::uint32_t type);
    void add(std::span<const std::uint8_t> data);
    void end();

private:
    std::vector<std::uint8_t>& file_;
    std::size_t start_ = 0;
};

std::uint32_t readBig32(const std::uint8_t* bytes);
void writeBig32(std::uint8_t* bytes, std::uint32_t value);

} // namespace zel::png
