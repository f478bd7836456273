#pragma once
#include <algorithm>
#include <cstdint>

// What the library and the programs zel-documents (PDF) and zel-drawings (SVG) say to each other: whole messages of
// these shapes over a socket that keeps them apart. All are built together, so the shapes are those of the compiler;
// `version` tells builds apart.
namespace zel::documents {

inline constexpr std::uint32_t version = 3;

/// The descriptors that the program is started with.
inline constexpr int bytesDescriptor = 3;  ///< the document, sealed
inline constexpr int socketDescriptor = 4; ///< requests in, replies out
inline constexpr int rowsDescriptor = 5;   ///< shared memory for two bands; grown by the library, never shrunk

/// A page's rows come in bands, those of even numbers in the first half of the memory, those of odd ones in the second:
/// one is written while the other is read. A page in whole would be fresh memory twice over, which costs more than its
/// copying: small memory is used again and again. One row at least, of whatever width.
constexpr int rowsOfBand(int width)
{
    constexpr int bytes = 256 << 10;
    return std::max(1, bytes / 4 / width);
}

/// Where a band begins in the memory, and how large the memory is.
constexpr std::uint64_t bandOffset(int width, int band)
{
    return static_cast<std::uint64_t>(band % 2) * 4 * static_cast<std::uint64_t>(width) *
           static_cast<std::uint64_t>(rowsOfBand(width));
}
constexpr std::uint64_t memoryFor(int width)
{
    return 2 * bandOffset(width, 1);
}

enum class Kind : std::uint32_t { pdf, svg };

/// Their arguments, in this order: the bytes of address space beyond what a program takes anyway, and the seconds of
/// processor time a request may take (0 = no end).
inline constexpr int argumentCount = 2;

/// What lies behind a page: 0xFFRRGGBB, or `noPaper`.
using Paper = std::uint32_t;
inline constexpr Paper noPaper = 0;

/// For a band of a page: RGBA, 8 bits, premultiplied (opaque on paper), sRGB, rows without gaps. The page is rendered
/// where it is not the last one that was. With no sides the page's size alone is asked for. Requests may be sent before
/// the first reply; they are answered in order.
struct Request {
    std::uint32_t version = documents::version;
    std::int32_t page = 0;
    std::int32_t width = 0, height = 0; ///< pixels
    Paper paper = noPaper;
    std::int32_t band = 0;

    friend bool operator==(const Request&, const Request&) = default;
};

enum class Status : std::uint32_t {
    done,
    notADocument,
    locked, ///< by a password
    noPage, ///< it is not there, or does not render
};

/// The first reply comes without a request and says whether the document opened.
struct Reply {
    std::uint32_t version = documents::version;
    Status status = Status::done;
    std::int32_t pages = 0;
    std::int32_t width = 0, height = 0;     ///< of the page whose band was written
    std::uint32_t reserved = 0;             ///< 0
    double pointWidth = 0, pointHeight = 0; ///< of the page as displayed
};

} // namespace zel::documents
