#pragma once
#include <zel/platform/foundation/ref.h>

#include <tiffio.h>

#include <array>
#include <cstring>
#include <functional>

// TIFF files for tests, made through libtiff.
namespace zel::test {

struct TiffSpec {
    unsigned width = 37, height = 29; // no multiples of a tile
    unsigned bits = 8, samples = 3;
    unsigned photometric = PHOTOMETRIC_RGB;
    unsigned compression = COMPRESSION_NONE;
    unsigned predictor = 1;
    unsigned planar = PLANARCONFIG_CONTIG;
    unsigned rowsPerStrip = 7;
    unsigned tileWidth = 0, tileHeight = 0; // strips where 0
    unsigned format = SAMPLEFORMAT_UINT;
    std::vector<std::uint16_t> extras = {};
    const char* mode = "wl"; // little endian; "wb" big, "wl8" with 64-bit offsets
    /// More tags, set before the pixels.
    std::function<void(TIFF*)> tags = {};
};

/// The sample of a pixel, as a number of the spec's bits.
using SampleAt = std::function<std::uint32_t(unsigned x, unsigned y, unsigned sample)>;

/// Where libtiff's in-memory file stands.
struct MemoryFile {
    std::vector<std::uint8_t> bytes;
    std::uint64_t position = 0;

    static tmsize_t read(thandle_t handle, void* into, tmsize_t count)
    {
        MemoryFile& file = *static_cast<MemoryFile*>(handle);
        const std::uint64_t left = file.position < file.bytes.size() ? file.bytes.size() - file.position : 0;
        const std::size_t got =
            static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(count), left));
        std::memcpy(into, file.bytes.data() + file.position, got);
        file.position += got;
        return static_cast<tmsize_t>(got);
    }
    static tmsize_t write(thandle_t handle, void* from, tmsize_t count)
    {
        MemoryFile& file = *static_cast<MemoryFile*>(handle);
        const std::uint64_t end = file.position + static_cast<std::uint64_t>(count);
        if (file.bytes.size() < end)
            file.bytes.resize(end);
        std::memcpy(file.bytes.data() + file.position, from, static_cast<std::size_t>(count));
        file.position = end;
        return count;
    }
    static toff_t seek(thandle_t handle, toff_t offset, int from)
    {
        MemoryFile& file = *static_cast<MemoryFile*>(handle);
        file.position = offset + (from == SEEK_CUR ? file.position : from == SEEK_END ? file.bytes.size() : 0);
        return file.position;
    }
    static int close(thandle_t) { return 0; }
    static toff_t size(thandle_t handle) { return static_cast<MemoryFile*>(handle)->bytes.size(); }

    TIFF* open(const char* mode)
    {
        return TIFFClientOpen("test", mode, this, read, write, seek, close, size, nullptr, nullptr);
    }
};

/// Rows of samples as libtiff takes them: 1 to 16 bits high bit first, but whole 16 and 32 bits in the machine's order.
inline std::vector<std::uint8_t> packedSamples(const TiffSpec& spec, unsigned left, unsigned top, unsigned columns,
                                               unsigned rows, int plane, const SampleAt& sampleAt)
{
    std::vector<std::uint8_t> bytes;
    for (unsigned y = top; y < top + rows; ++y) {
        std::uint64_t held = 0;
        unsigned width = 0;
        for (unsigned x = left; x < left + columns; ++x)
            for (unsigned s = 0; s < spec.samples; ++s) {
                if (plane >= 0 && s != static_cast<unsigned>(plane))
                    continue;
                // Tiles that reach past the picture repeat its edge.
                const std::uint32_t value = sampleAt(std::min(x, spec.width - 1), std::min(y, spec.height - 1), s);
                if (spec.bits >= 16) {
                    const auto* const place = reinterpret_cast<const std::uint8_t*>(&value);
                    bytes.insert(bytes.end(), place, place + spec.bits / 8); // tests run on little-endian machines
                    continue;
                }
                held = held << spec.bits | value;
                for (width += spec.bits; width >= 8; width -= 8)
                    bytes.push_back(static_cast<std::uint8_t>(held >> (width - 8)));
            }
        if (width > 0)
            bytes.push_back(static_cast<std::uint8_t>(held << (8 - width)));
    }
    return bytes;
}

inline void writePage(TIFF* file, const TiffSpec& spec, const SampleAt& sampleAt)
{
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, spec.width);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, spec.height);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, spec.bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, spec.samples);
    TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, spec.format);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, spec.photometric);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, spec.planar);
    TIFFSetField(file, TIFFTAG_COMPRESSION, spec.compression);
    if (spec.predictor != 1)
        TIFFSetField(file, TIFFTAG_PREDICTOR, spec.predictor);
    if (!spec.extras.empty())
        TIFFSetField(file, TIFFTAG_EXTRASAMPLES, static_cast<unsigned>(spec.extras.size()), spec.extras.data());
    if (spec.tileWidth > 0) {
        TIFFSetField(file, TIFFTAG_TILEWIDTH, spec.tileWidth);
        TIFFSetField(file, TIFFTAG_TILELENGTH, spec.tileHeight);
    } else {
        TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, spec.rowsPerStrip);
    }
    if (spec.tags)
        spec.tags(file);
    const int planes = spec.planar == PLANARCONFIG_SEPARATE ? static_cast<int>(spec.samples) : 1;
    for (int plane = 0; plane < planes; ++plane) {
        const int only = planes > 1 ? plane : -1;
        if (spec.tileWidth > 0) {
            for (unsigned y = 0; y < spec.height; y += spec.tileHeight)
                for (unsigned x = 0; x < spec.width; x += spec.tileWidth) {
                    std::vector<std::uint8_t> tile =
                        packedSamples(spec, x, y, spec.tileWidth, spec.tileHeight, only, sampleAt);
                    TIFFWriteTile(file, tile.data(), x, y, 0, static_cast<std::uint16_t>(plane));
                }
            continue;
        }
        for (unsigned y = 0; y < spec.height; y += spec.rowsPerStrip) {
            const unsigned rows = std::min(spec.rowsPerStrip, spec.height - y);
            std::vector<std::uint8_t> strip = packedSamples(spec, 0, y, spec.width, rows, only, sampleAt);
            TIFFWriteEncodedStrip(file, TIFFComputeStrip(file, y, static_cast<std::uint16_t>(plane)), strip.data(),
                                  static_cast<tmsize_t>(strip.size()));
        }
    }
}

inline std::vector<std::uint8_t> makeTiff(const TiffSpec& spec, const SampleAt& sampleAt, int pages = 1)
{
    MemoryFile memory;
    TIFF* const file = memory.open(spec.mode);
    for (int page = 0; page < pages; ++page) {
        writePage(file, spec, sampleAt);
        TIFFWriteDirectory(file);
    }
    TIFFClose(file);
    return memory.bytes;
}

// --- Files byte by byte (little endian, 32-bit offsets) ---

inline void put(std::vector<std::uint8_t>& bytes, std::uint32_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

inline std::uint32_t get(const std::vector<std::uint8_t>& bytes, std::size_t place, int count)
{
    std::uint32_t value = 0;
    for (int i = count; i-- > 0;)
        value = value << 8 | bytes.at(place + static_cast<std::size_t>(i));
    return value;
}

struct TiffEntry {
    std::uint32_t tag, type; ///< type 3: 16 bits, 4: 32 bits
    std::vector<std::uint32_t> values;
};

/// Header and directory, then `data` (whose place `atData` in a value stands for; offsets into it are added).
inline constexpr std::uint32_t atData = 0x40000000;
inline std::vector<std::uint8_t> handMadeTiff(const std::vector<TiffEntry>& entries,
                                              const std::vector<std::uint8_t>& data)
{
    std::size_t behind = 8 + 2 + entries.size() * 12 + 4, start = behind;
    for (const TiffEntry& entry : entries)
        if (const std::size_t size = entry.values.size() * (entry.type == 3 ? 2 : 4); size > 4)
            start += size;
    std::vector<std::uint8_t> bytes = {'I', 'I', 42, 0, 8, 0, 0, 0}, values;
    put(bytes, static_cast<std::uint32_t>(entries.size()), 2);
    for (const TiffEntry& entry : entries) {
        const int size = entry.type == 3 ? 2 : 4;
        std::vector<std::uint8_t> own;
        for (const std::uint32_t value : entry.values)
            put(own,
                entry.type == 4 && value >= atData && value < 2 * atData
                    ? value - atData + static_cast<std::uint32_t>(start)
                    : value,
                size);
        put(bytes, entry.tag, 2);
        put(bytes, entry.type, 2);
        put(bytes, static_cast<std::uint32_t>(entry.values.size()), 4);
        if (own.size() > 4) {
            put(bytes, static_cast<std::uint32_t>(behind + values.size()), 4);
            values.insert(values.end(), own.begin(), own.end());
        } else {
            own.resize(4);
            bytes.insert(bytes.end(), own.begin(), own.end());
        }
    }
    put(bytes, 0, 4);
    bytes.insert(bytes.end(), values.begin(), values.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

/// The same picture with its directory before its pixels, as files that are cut short have it.
inline std::vector<std::uint8_t> withDirectoryFirst(const std::vector<std::uint8_t>& file)
{
    const std::size_t directory = get(file, 4, 4);
    std::vector<TiffEntry> entries;
    for (std::size_t i = 0; i < get(file, directory, 2); ++i) {
        const std::size_t place = directory + 2 + i * 12;
        TiffEntry entry{get(file, place, 2), get(file, place + 2, 2), {}};
        const std::size_t count = get(file, place + 4, 4);
        if (entry.type != 3 && entry.type != 4)
            continue; // resolutions and texts: of no use here
        const std::size_t size = entry.type == 3 ? 2 : 4;
        const std::size_t from = count * size > 4 ? get(file, place + 8, 4) : place + 8;
        for (std::size_t k = 0; k < count; ++k)
            entry.values.push_back(get(file, from + k * size, static_cast<int>(size)));
        entries.push_back(std::move(entry));
    }
    const auto find = [&](std::uint32_t tag) {
        return std::find_if(entries.begin(), entries.end(), [&](const TiffEntry& e) { return e.tag == tag; });
    };
    const bool tiled = find(TIFFTAG_TILEOFFSETS) != entries.end();
    const auto offsets = find(tiled ? TIFFTAG_TILEOFFSETS : TIFFTAG_STRIPOFFSETS);
    const auto sizes = find(tiled ? TIFFTAG_TILEBYTECOUNTS : TIFFTAG_STRIPBYTECOUNTS);
    std::vector<std::uint8_t> data;
    for (std::size_t i = 0; i < offsets->values.size(); ++i) {
        const auto from = file.begin() + offsets->values[i];
        offsets->values[i] = atData + static_cast<std::uint32_t>(data.size());
        data.insert(data.end(), from, from + sizes->values[i]);
    }
    offsets->type = 4;
    return handMadeTiff(entries, data);
}

} // namespace zel::test
