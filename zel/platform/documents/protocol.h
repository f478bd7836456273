#pragma once
#include <cstdint>

// What the library and the programs zel-documents (PDF) and zel-drawings (SVG) say to each other: whole messages of
// these shapes over a socket that keeps them apart. All are built together, so the shapes are those of the compiler;
// `version` tells builds apart.
namespace zel::documents {

inline constexpr std::uint32_t version = 2;

/// The descriptors that the program is started with.
inline constexpr int bytesDescriptor = 3;  ///< the document, sealed
inline constexpr int socketDescriptor = 4; ///< requests in, replies out
inline constexpr int rowsDescriptor = 5;   ///< shared memory for a page; grown by the library, never shrunk

enum class Kind : std::uint32_t { pdf, svg };

/// Their arguments, in this order: the bytes of address space beyond what a program takes anyway, and the seconds of
/// processor time a request may take (0 = no end).
inline constexpr int argumentCount = 2;

/// What lies behind a page: 0xFFRRGGBB, or `noPaper`.
using Paper = std::uint32_t;
inline constexpr Paper noPaper = 0;

/// RGBA, 8 bits, premultiplied (opaque on paper), sRGB, rows without gaps, written to the shared memory. With no sides
/// the page's size alone is asked for. Requests may be sent before the first reply; they are answered in order.
struct Request {
    std::uint32_t version = documents::version;
    std::int32_t page = 0;
    std::int32_t width = 0, height = 0; ///< pixels
    Paper paper = noPaper;

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
    std::int32_t width = 0, height = 0;     ///< of the rows that were written
    std::uint32_t reserved = 0;             ///< 0
    double pointWidth = 0, pointHeight = 0; ///< of the page as displayed
};

} // namespace zel::documents
