#pragma once
#include <cstddef>
#include <cstdint>

// What the TIFF codec and the module that links libtiff say to one another: plain functions over plain data. The module
// knows strips, tiles and compression; what samples mean and everything about our pictures is the codec's.
namespace zel::tiff {

/// The file, and where complaints go. Called on the thread that uses the reader; nothing may be thrown.
struct Input {
    void* context = nullptr;
    std::uint64_t size = 0;
    std::size_t (*read)(void* context, std::uint64_t offset, void* into, std::size_t count) = nullptr;
    void (*complain)(void* context, const char* text) = nullptr; ///< of errors; warnings are of no use to anybody
};

struct Output {
    void* context = nullptr;
    bool (*write)(void* context, std::uint64_t offset, const void* from, std::size_t count) = nullptr;
    void (*complain)(void* context, const char* text) = nullptr;
};

/// Tags of the first directory under their own names and values (TIFF 6.0), defaults filled in.
struct Header {
    std::uint32_t width = 0, height = 0;
    std::uint32_t rowsPerStrip = 0;              ///< 1...height; 0 for tiles
    std::uint32_t tileWidth = 0, tileHeight = 0; ///< 0 for strips
    std::uint16_t bitsPerSample = 1, samplesPerPixel = 1, sampleFormat = 1;
    std::uint16_t photometric = 0, compression = 1, planarConfiguration = 1, inkSet = 1;
    std::uint16_t orientation = 1, resolutionUnit = 2;
    float xResolution = 0, yResolution = 0;
    std::uint16_t extraSampleCount = 0;
    const std::uint16_t* extraSamples = nullptr; ///< these and the following live as long as the reader
    const std::uint16_t* colorMap[3] = {};       ///< 2^bitsPerSample entries each; null where there is none
    const void* profile = nullptr;
    std::uint32_t profileSize = 0;
    std::uint64_t rowBytes = 0; ///< what `readRow` needs; for tiles, of a row of a tile; 0 where the figures are absurd
    std::uint64_t tileBytes = 0; ///< what `readTile` needs
    bool canDecompress = false;  ///< libtiff was built with this compression
    bool yCbCrAsRgb = false;     ///< the compression itself turns YCbCr into RGB
};

struct Reader;
struct Writer;

/// What `create` writes: rows of unsigned samples in the machine's byte order.
struct NewFile {
    std::uint32_t width = 0, height = 0;
    std::uint16_t bitsPerSample = 8;        ///< 8 or 16
    std::uint16_t samplesPerPixel = 3;      ///< grey or RGB, and alpha where `extraSample` is not 0
    std::uint16_t extraSample = 0;          ///< 1 = associated (premultiplied) alpha, 2 = unassociated
    float xResolution = 0, yResolution = 0; ///< an inch; 0 = none
    const void* profile = nullptr;
    std::uint32_t profileSize = 0;
    bool big = false; ///< 64-bit offsets, for files of 4 GB and more
};

struct Api {
    static constexpr std::uint32_t version = 1;

    /// Reads the first directory. Null when there is none that makes sense.
    Reader* (*open)(const Input& input, Header& header);
    void (*close)(Reader* reader);
    /// True when all strips or tiles lie within the file.
    bool (*isWhole)(Reader* reader);
    /// A row of a plane (0 where samples are contiguous), decompressed: `rowBytes`. The rows of a compressed strip are
    /// to be read in order from its first one on.
    bool (*readRow)(Reader* reader, std::uint32_t row, std::uint16_t plane, void* into);
    /// The tile that holds the pixel: `tileBytes`. Gives how many of them were decoded, 0 for none.
    std::size_t (*readTile)(Reader* reader, std::uint32_t x, std::uint32_t y, std::uint16_t plane, void* into);
    /// libtiff's own conversion to RGBA, 8 bits, premultiplied, for kinds that the codec leaves to it. False where
    /// it has none.
    bool (*beginRgba)(Reader* reader, bool& hasAlpha);
    /// `rows` times `width` pixels from row `first` on, a multiple of the rows of a strip or tile.
    bool (*readRgba)(Reader* reader, std::uint32_t first, std::uint32_t rows, void* into);

    /// LZW with the horizontal predictor, in strips of about 64 KiB. Null when it cannot be begun.
    Writer* (*create)(const Output& output, const NewFile& wanted);
    /// The next row; its bytes are used up.
    bool (*writeRow)(Writer* writer, void* samples);
    /// Completes the file where `complete`, and frees the writer.
    bool (*finish)(Writer* writer, bool complete);
};

} // namespace zel::tiff
