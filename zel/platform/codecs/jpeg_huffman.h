#pragma once
#include <zel/platform/codecs/jpeg_coefficients.h>

#include <array>

namespace zel {

/// A Huffman table as files hold it (ITU-T T.81, B.2.4.2): how many codes of each length 1 to 16, then their symbols.
struct JpegHuffmanTable {
    std::array<std::uint8_t, 17> codes{}; ///< by length; the first is not used
    std::vector<std::uint8_t> symbols;
};
/// For luma and for colour.
struct JpegHuffmanTables {
    std::array<JpegHuffmanTable, 2> dc, ac;
};

/// How often each symbol comes.
using JpegSymbolCounts = std::array<std::uint32_t, 256>;

/// The shortest code for these counts in which no code is longer than 16 bits and none is all ones. Symbols that never
/// come have none.
JpegHuffmanTable makeHuffmanTable(const JpegSymbolCounts& counts);

/// Tables that suit the picture at these quantisers, made from a sample of its rows: they have a code for every symbol
/// that baseline JPEG knows. A function of the coefficients and the quantisers alone.
JpegHuffmanTables tablesFor(const JpegCoefficients& coefficients, const JpegRequantizer& requantizer);

} // namespace zel
