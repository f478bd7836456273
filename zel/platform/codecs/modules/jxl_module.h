#pragma once
#include <cstddef>
#include <cstdint>

// What the JPEG XL codec and the module that links libjxl say to one another: plain functions over plain data.
namespace zel::jxl {

struct Header {
    std::uint32_t width = 0, height = 0; ///< as stored
    std::uint8_t orientation = 1;        ///< EXIF's numbers
    std::uint32_t bitsPerSample = 8;
    bool isFloating = false, isGray = false, hasAlpha = false, isPremultiplied = false, hasBlack = false;
    bool isAnimation = false;
    std::uint32_t extraChannels = 0; ///< beside the colours; alpha is one of them
};

enum class Status {
    good,
    needsMore, ///< the bytes end before what was asked for
    partial,   ///< they do, but something can be shown
    damaged,
    stopped, ///< by the caller
    outOfMemory,
};

/// Asked while decoding, on the thread that called, with the fraction of the bytes that were taken; false stops.
using GoOn = bool (*)(void* context, double fraction);

struct Reader;

struct Api {
    static constexpr std::uint32_t version = 2;

    /// Reads the header and the profile, up to the first frame, of a picture whose bytes stay where they are until
    /// `close`. Null where the reader cannot be made.
    Reader* (*open)(const std::uint8_t* bytes, std::size_t size, Status& status, Header& header);
    void (*close)(Reader* reader);
    /// The ICC profile of the pixels that `decode` gives; null and 0 where they are sRGB or grey with its curve.
    const std::uint8_t* (*profile)(const Reader* reader, std::size_t& size);
    /// All pixels: RGBA of 8 or (deep) 16 bits in the machine's order, rows without gaps. `partial`: what is missing is
    /// as it was before, or a coarse form of itself.
    Status (*decode)(Reader* reader, bool deep, void* pixels, std::size_t size, int threads, GoOn goOn, void* context);
    /// Frames, counted up to `most`, without their pixels.
    int (*countFrames)(const std::uint8_t* bytes, std::size_t size, int most);
};

} // namespace zel::jxl
