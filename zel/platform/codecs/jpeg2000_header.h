#pragma once
#include <zel/platform/codecs/byte_reader.h>

#include <array>

// What a JPEG 2000 file (ISO/IEC 15444-1) says of itself: the main header of the codestream, and the resolution in its
// boxes. It is read and checked before OpenJPEG sees the file.
namespace zel::jpeg2000 {

struct Header {
    std::int64_t width = 0, height = 0; ///< of the picture, in samples of the finest component
    std::uint32_t x0 = 0, y0 = 0;       ///< where the picture begins on the grid
    std::uint32_t unitX = 1, unitY = 1; ///< units of the grid for a sample of the finest component
    int components = 0;
    int bits = 8;                            ///< of the deepest component
    int reductions = 0;                      ///< how often sides can be halved
    std::uint64_t tiles = 1, tilePixels = 0; ///< how many; of the largest one, in samples of the finest component
    std::uint64_t begin = 0;                 ///< of the codestream
    bool isBoxed = false;
    bool isRearranged = false; ///< boxes give the components another order, or make them places in a palette
    bool isCut = false;        ///< the file ends before the codestream does
    std::uint64_t end = 0;     ///< of the file; of one that is cut, where its last complete part of a tile ends
    double dpiX = 0, dpiY = 0;
};

/// OpenJPEG cannot be stopped within a tile. Pictures of more pixels than this that are one tile are decoded in parts.
inline constexpr std::uint64_t mostPixelsAtOnce = std::uint64_t{1} << 24U;

/// Absent with the reason noted: damage, an end before the codestream's header has ended, over a limit.
std::optional<Header> readHeader(const ByteSource& source);

} // namespace zel::jpeg2000
