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
    int bits = 8;       ///< of the deepest component
    int reductions = 0; ///< how often sides can be halved
    bool isBoxed = false;
    bool isCut = false;    ///< the file ends before the codestream does
    std::uint64_t end = 0; ///< of the file; of one that is cut, where its last complete part of a tile ends
    double dpiX = 0, dpiY = 0;
};

/// Absent with the reason noted: damage, an end before the codestream's header has ended, over a limit.
std::optional<Header> readHeader(const ByteSource& source);

} // namespace zel::jpeg2000
