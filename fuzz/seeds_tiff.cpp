#include "seeds.h"

#include <algorithm>
#include <cstring>
#include <tiffio.h>

namespace zel::seeds {
namespace {

struct Kind {
    const char* name;
    int width, height; // stored
    int bits = 8;
    int samples = 3;
    int photometric = PHOTOMETRIC_RGB;
    int compression = COMPRESSION_NONE;
    int predictor = 0;
    int tile = 0; // side; 0 = strips of 5 rows
    bool planes = false;
    int extra = -1; // EXTRASAMPLE_… of the last sample
    int orientation = ORIENTATION_TOPLEFT;
    bool bigEndian = false;
    int pages = 1;
};

/// A file in memory, as libtiff wants it.
struct Memory {
    Bytes bytes;
    std::size_t at = 0;
};

Memory& memoryOf(thandle_t handle)
{
    return *static_cast<Memory*>(handle);
}

tmsize_t readMemory(thandle_t handle, void* to, tmsize_t size)
{
    Memory& memory = memoryOf(handle);
    const std::size_t count =
        std::min(static_cast<std::size_t>(size), memory.bytes.size() - std::min(memory.at, memory.bytes.size()));
    std::memcpy(to, memory.bytes.data() + memory.at, count);
    memory.at += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t writeMemory(thandle_t handle, void* from, tmsize_t size)
{
    Memory& memory = memoryOf(handle);
    const auto count = static_cast<std::size_t>(size);
    memory.bytes.resize(std::max(memory.bytes.size(), memory.at + count));
    std::memcpy(memory.bytes.data() + memory.at, from, count);
    memory.at += count;
    return size;
}

toff_t seekMemory(thandle_t handle, toff_t offset, int from)
{
    Memory& memory = memoryOf(handle);
    memory.at = offset + (from == SEEK_END ? memory.bytes.size() : from == SEEK_CUR ? memory.at : 0);
    return memory.at;
}

int closeMemory(thandle_t)
{
    return 0;
}

toff_t sizeOfMemory(thandle_t handle)
{
    return memoryOf(handle).bytes.size();
}

/// Samples of one row from x on: `count` pixels, of the plane (or all of them, one after the other: -1).
Bytes packedSamples(const Kind& kind, int x, int y, int count, int plane)
{
    const int samples = plane < 0 ? kind.samples : 1;
    Bytes row((static_cast<std::size_t>(count * samples * kind.bits) + 7) / 8);
    for (int i = 0; i < count * samples; ++i) {
        const auto value = static_cast<unsigned>(sample(x + i / samples, y, plane < 0 ? i % samples : plane));
        const auto index = static_cast<std::size_t>(i);
        if (kind.bits == 16) {
            const auto wide = static_cast<std::uint16_t>(value * 257);
            std::memcpy(row.data() + index * 2, &wide, 2);
        } else {
            const unsigned bits = static_cast<unsigned>(kind.bits), position = static_cast<unsigned>(i) * bits;
            row[position / 8] |= static_cast<std::uint8_t>((value >> (8 - bits)) << (8 - bits - position % 8));
        }
    }
    return row;
}

void writeTiles(TIFF* tiff, const Kind& kind)
{
    for (int top = 0; top < kind.height; top += kind.tile) {
        for (int left = 0; left < kind.width; left += kind.tile) {
            Bytes tile;
            for (int y = top; y < top + kind.tile; ++y) {
                const Bytes row = packedSamples(kind, left, y, kind.tile, -1);
                tile.insert(tile.end(), row.begin(), row.end());
            }
            TIFFWriteTile(tiff, tile.data(), static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top), 0, 0);
        }
    }
}

void writePage(TIFF* tiff, const Kind& kind)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kind.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kind.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, kind.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, kind.samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, kind.photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, kind.compression);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, kind.orientation);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, kind.planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    if (kind.predictor != 0)
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, kind.predictor);
    if (kind.extra >= 0) {
        const auto extra = static_cast<std::uint16_t>(kind.extra);
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra);
    }
    if (kind.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<std::uint16_t> table(std::size_t{1} << kind.bits);
        for (std::size_t i = 0; i < table.size(); ++i)
            table[i] = static_cast<std::uint16_t>(i * 65535 / (table.size() - 1));
        TIFFSetField(tiff, TIFFTAG_COLORMAP, table.data(), table.data(), table.data());
    }
    if (kind.tile > 0) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, kind.tile);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, kind.tile);
        writeTiles(tiff, kind);
        return;
    }
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kind.compression == COMPRESSION_JPEG ? 16 : 5);
    for (int plane = 0; plane < (kind.planes ? kind.samples : 1); ++plane) {
        for (int y = 0; y < kind.height; ++y) {
            Bytes row = packedSamples(kind, 0, y, kind.width, kind.planes ? plane : -1);
            TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), static_cast<std::uint16_t>(plane));
        }
    }
}

Seed make(const Kind& kind)
{
    Memory memory;
    TIFF* tiff = TIFFClientOpen(kind.name, kind.bigEndian ? "wb" : "wl", &memory, readMemory, writeMemory, seekMemory,
                                closeMemory, sizeOfMemory, nullptr, nullptr);
    for (int page = 0; page < kind.pages; ++page) {
        writePage(tiff, kind);
        TIFFWriteDirectory(tiff);
    }
    TIFFClose(tiff);
    Seed seed{kind.name, std::move(memory.bytes), kind.width, kind.height};
    if (kind.orientation >= ORIENTATION_LEFTTOP)
        std::swap(seed.width, seed.height);
    return seed;
}

} // namespace

std::vector<Seed> tiffSeeds()
{
    const Kind kinds[] = {
        {.name = "tiff-colour", .width = 13, .height = 11},
        {.name = "tiff-big-endian-16", .width = 9, .height = 6, .bits = 16, .bigEndian = true},
        {.name = "tiff-lzw", .width = 24, .height = 12, .compression = COMPRESSION_LZW, .predictor = 2},
        {.name = "tiff-deflate-16",
         .width = 10,
         .height = 12,
         .bits = 16,
         .compression = COMPRESSION_ADOBE_DEFLATE,
         .predictor = 2},
        {.name = "tiff-packbits-grey",
         .width = 20,
         .height = 8,
         .samples = 1,
         .photometric = PHOTOMETRIC_MINISBLACK,
         .compression = COMPRESSION_PACKBITS},
        {.name = "tiff-white-is-zero",
         .width = 21,
         .height = 9,
         .bits = 4,
         .samples = 1,
         .photometric = PHOTOMETRIC_MINISWHITE},
        {.name = "tiff-fax4",
         .width = 40,
         .height = 16,
         .bits = 1,
         .samples = 1,
         .photometric = PHOTOMETRIC_MINISWHITE,
         .compression = COMPRESSION_CCITTFAX4},
        {.name = "tiff-palette",
         .width = 14,
         .height = 14,
         .samples = 1,
         .photometric = PHOTOMETRIC_PALETTE,
         .compression = COMPRESSION_LZW},
        {.name = "tiff-jpeg", .width = 32, .height = 32, .compression = COMPRESSION_JPEG},
        {.name = "tiff-cmyk", .width = 11, .height = 7, .samples = 4, .photometric = PHOTOMETRIC_SEPARATED},
        {.name = "tiff-planes", .width = 15, .height = 13, .compression = COMPRESSION_LZW, .planes = true},
        {.name = "tiff-tiles", .width = 40, .height = 20, .compression = COMPRESSION_ADOBE_DEFLATE, .tile = 16},
        {.name = "tiff-alpha", .width = 12, .height = 12, .samples = 4, .extra = EXTRASAMPLE_UNASSALPHA},
        {.name = "tiff-premultiplied", .width = 12, .height = 12, .samples = 4, .extra = EXTRASAMPLE_ASSOCALPHA},
        {.name = "tiff-turned", .width = 16, .height = 5, .orientation = ORIENTATION_RIGHTTOP},
        {.name = "tiff-two-pages", .width = 8, .height = 8, .pages = 2},
    };
    std::vector<Seed> seeds;
    for (const Kind& kind : kinds)
        seeds.push_back(make(kind));
    return seeds;
}

} // namespace zel::seeds
