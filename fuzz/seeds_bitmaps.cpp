#include "seeds.h"

#include <algorithm>

// BMP, icons and the portable maps, by hand: there is no library that all of them agree with better than their texts.
namespace zel::seeds {
namespace {

void put(Bytes& to, std::size_t size, std::uint32_t value)
{
    for (; size > 0; --size, value >>= 8)
        to.push_back(static_cast<std::uint8_t>(value));
}

void put(Bytes& to, const std::string& text)
{
    to.insert(to.end(), text.begin(), text.end());
}

struct Bitmap {
    const char* name;
    int width, height;
    int bits;
    std::uint32_t headerSize = 40;
    std::uint32_t compression = 0; // 1 and 2 run lengths, 3 masks
    bool topDown = false;
};

/// Runs of three as long as they last, the rest as it stands.
Bytes runs(const Bitmap& bitmap, int y)
{
    Bytes row;
    for (int x = 0; x < bitmap.width; x += 3) {
        row.push_back(static_cast<std::uint8_t>(std::min(3, bitmap.width - x)));
        row.push_back(static_cast<std::uint8_t>(sample(x, y, 0)));
    }
    put(row, 2, y + 1 == bitmap.height ? 0x0100 : 0);
    return row;
}

Bytes packedRow(const Bitmap& bitmap, int y)
{
    if (bitmap.compression == 1 || bitmap.compression == 2)
        return runs(bitmap, y);
    Bytes row;
    if (bitmap.bits >= 16) {
        for (int x = 0; x < bitmap.width; ++x)
            for (int byte = 0; byte < bitmap.bits / 8; ++byte)
                row.push_back(static_cast<std::uint8_t>(sample(x, y, 2 - byte)));
    } else {
        const int perByte = 8 / bitmap.bits;
        for (int x = 0; x < bitmap.width; ++x) {
            if (x % perByte == 0)
                row.push_back(0);
            row.back() = static_cast<std::uint8_t>(row.back() << bitmap.bits | sample(x, y, 0) >> (8 - bitmap.bits));
        }
    }
    row.resize((row.size() + 3) / 4 * 4);
    return row;
}

/// Header, masks or palette, rows; in an icon the height counts a mask that stands behind.
Bytes bitmapBytes(const Bitmap& bitmap, bool inIcon)
{
    Bytes bytes;
    const std::uint32_t colors = bitmap.bits <= 8 ? 1U << static_cast<unsigned>(bitmap.bits) : 0;
    put(bytes, 4, bitmap.headerSize);
    const auto height = static_cast<std::uint32_t>(bitmap.topDown ? -bitmap.height : bitmap.height * (inIcon ? 2 : 1));
    const std::size_t sideBytes = bitmap.headerSize == 12 ? 2 : 4;
    put(bytes, sideBytes, static_cast<std::uint32_t>(bitmap.width));
    put(bytes, sideBytes, height);
    put(bytes, 2, 1);
    put(bytes, 2, static_cast<std::uint32_t>(bitmap.bits));
    if (bitmap.headerSize > 12) {
        put(bytes, 4, bitmap.compression);
        put(bytes, 4, 0);
        put(bytes, 4, 2835);
        put(bytes, 4, 2835);
        put(bytes, 4, colors);
        put(bytes, 4, 0);
        if (bitmap.compression == 3)
            for (const std::uint32_t mask : {0xFF0000U, 0xFF00U, 0xFFU, 0xFF000000U})
                put(bytes, 4,
                    bitmap.bits == 16 ? (mask == 0xFF0000U ? 0xF800U
                                         : mask == 0xFF00U ? 0x7E0U
                                                           : mask & 0x1FU)
                                      : mask);
        bytes.resize(std::max<std::size_t>(bytes.size(), bitmap.headerSize));
    }
    for (std::uint32_t i = 0; i < colors; ++i)
        put(bytes, bitmap.headerSize == 12 ? 3 : 4, i * 0x0B0D11 & 0xFFFFFF);
    for (int y = 0; y < bitmap.height; ++y) {
        const Bytes row = packedRow(bitmap, y);
        bytes.insert(bytes.end(), row.begin(), row.end());
    }
    if (inIcon)
        for (int y = 0; y < bitmap.height; ++y)
            for (int x = 0; x < bitmap.width; x += 32)
                put(bytes, 4, static_cast<std::uint32_t>(sample(x, y, 1)) * 0x01010101U);
    return bytes;
}

Seed bmp(const Bitmap& bitmap)
{
    const Bytes inner = bitmapBytes(bitmap, false);
    Seed seed{bitmap.name, {}, bitmap.width, bitmap.height};
    std::size_t rows = 0;
    for (int y = 0; y < bitmap.height; ++y)
        rows += packedRow(bitmap, y).size();
    put(seed.bytes, "BM");
    put(seed.bytes, 4, static_cast<std::uint32_t>(14 + inner.size()));
    put(seed.bytes, 4, 0);
    put(seed.bytes, 4, static_cast<std::uint32_t>(14 + inner.size() - rows));
    seed.bytes.insert(seed.bytes.end(), inner.begin(), inner.end());
    return seed;
}

Seed icon(const std::string& name, const std::vector<Bytes>& pictures, int width, int height)
{
    Seed seed{name, {}, width, height};
    put(seed.bytes, 4, 0x10000);
    put(seed.bytes, 2, static_cast<std::uint32_t>(pictures.size()));
    std::size_t at = 6 + 16 * pictures.size();
    for (const Bytes& picture : pictures) {
        put(seed.bytes, 4, 0x1010);
        put(seed.bytes, 4, 0x200001);
        put(seed.bytes, 4, static_cast<std::uint32_t>(picture.size()));
        put(seed.bytes, 4, static_cast<std::uint32_t>(at));
        at += picture.size();
    }
    for (const Bytes& picture : pictures)
        seed.bytes.insert(seed.bytes.end(), picture.begin(), picture.end());
    return seed;
}

Seed map(const std::string& name, char type, int width, int height, int most)
{
    Seed seed{name, {}, width, height};
    const int channels = type == '3' || type == '6' ? 3 : type == '7' ? 4 : 1;
    const std::string sizes = std::to_string(width) + " " + std::to_string(height);
    if (type == '7')
        put(seed.bytes, "P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
                            "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n");
    else
        put(seed.bytes, std::string("P") + type + "\n# made for trials\n" + sizes +
                            (type == '1' || type == '4' ? "\n" : "\n" + std::to_string(most) + "\n"));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < (type == '4' ? (width + 7) / 8 : width); ++x)
            for (int channel = 0; channel < channels; ++channel) {
                const int value = type == '4' ? sample(x, y, 0) : sample(x, y, channel) * most / 255;
                if (type <= '3')
                    put(seed.bytes, std::to_string(value) + (x % 8 == 7 ? "\n" : " "));
                else if (most > 255)
                    put(seed.bytes, 2, static_cast<std::uint32_t>(value >> 8 | (value & 0xFF) << 8));
                else
                    put(seed.bytes, 1, static_cast<std::uint32_t>(value));
            }
    return seed;
}

} // namespace

std::vector<Seed> bitmapSeeds()
{
    std::vector<Seed> seeds;
    for (const Bitmap& bitmap : {
             Bitmap{"bmp-1", 19, 7, 1},
             Bitmap{"bmp-4-runs", 21, 6, 4, 40, 2},
             Bitmap{"bmp-8-runs", 17, 9, 8, 40, 1},
             Bitmap{"bmp-8-core", 11, 5, 8, 12},
             Bitmap{"bmp-16-masks", 13, 8, 16, 40, 3},
             Bitmap{"bmp-24", 10, 12, 24},
             Bitmap{"bmp-32-alpha-top-down", 9, 9, 32, 124, 3, true},
         })
        seeds.push_back(bmp(bitmap));
    const Bytes small = bitmapBytes({"", 8, 8, 4}, true), large = bitmapBytes({"", 16, 11, 32}, true);
    seeds.push_back(icon("ico-masks", {small}, 8, 8));
    seeds.push_back(icon("ico-alpha", {small, large}, 16, 11));
    seeds.push_back(map("pnm-bits-text", '1', 9, 8, 1));
    seeds.push_back(map("pnm-grey-text", '2', 8, 5, 1000));
    seeds.push_back(map("pnm-bits", '4', 21, 6, 1));
    seeds.push_back(map("pnm-grey-16", '5', 7, 6, 65535));
    seeds.push_back(map("pnm-colour", '6', 9, 7, 200));
    seeds.push_back(map("pnm-alpha", '7', 6, 6, 255));
    return seeds;
}

} // namespace zel::seeds
