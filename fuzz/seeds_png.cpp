#include "seeds.h"

#include <png.h>

namespace zel::seeds {
namespace {

struct Kind {
    const char* name;
    int width, height;
    int bits;
    int type; // PNG_COLOR_TYPE_…
    bool interlaced = false;
    bool keyed = false;     // tRNS: one colour, or the first palette entries, see-through
    bool described = false; // resolution and a text
};

int channelsOf(int type)
{
    switch (type) {
    case PNG_COLOR_TYPE_GRAY:
    case PNG_COLOR_TYPE_PALETTE:
        return 1;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        return 2;
    case PNG_COLOR_TYPE_RGB:
        return 3;
    default:
        return 4;
    }
}

void appendBytes(png_structp png, png_bytep data, png_size_t size)
{
    auto& to = *static_cast<Bytes*>(png_get_io_ptr(png));
    to.insert(to.end(), data, data + size);
}

/// A row as the file stores it: samples of `bits` bits one after the other, the first in the high bits.
Bytes packedRow(const Kind& kind, int y)
{
    const int channels = channelsOf(kind.type);
    Bytes row((static_cast<std::size_t>(kind.width * channels * kind.bits) + 7) / 8);
    for (int i = 0; i < kind.width * channels; ++i) {
        const auto value = static_cast<unsigned>(sample(i / channels, y, i % channels));
        const auto index = static_cast<std::size_t>(i);
        if (kind.bits == 16) {
            row[index * 2] = static_cast<std::uint8_t>(value);
            row[index * 2 + 1] = static_cast<std::uint8_t>(value * 3);
        } else {
            const unsigned bits = static_cast<unsigned>(kind.bits), position = static_cast<unsigned>(i) * bits;
            row[position / 8] |= static_cast<std::uint8_t>((value >> (8 - bits)) << (8 - bits - position % 8));
        }
    }
    return row;
}

Seed make(const Kind& kind)
{
    Seed seed{kind.name, {}, kind.width, kind.height};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &seed.bytes, appendBytes, nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(kind.width), static_cast<png_uint_32>(kind.height), kind.bits,
                 kind.type, kind.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_color palette[256];
    png_byte alphas[3] = {0, 100, 200};
    if (kind.type == PNG_COLOR_TYPE_PALETTE) {
        for (int i = 0; i < 256; ++i)
            palette[i] = {static_cast<png_byte>(i), static_cast<png_byte>(255 - i), static_cast<png_byte>(i * 5)};
        png_set_PLTE(png, info, palette, 1 << kind.bits);
    }
    if (kind.keyed) {
        png_color_16 key{};
        key.gray = static_cast<png_uint_16>(sample(0, 0, 0) >> (8 - kind.bits));
        key.red = static_cast<png_uint_16>(sample(0, 0, 0));
        key.green = static_cast<png_uint_16>(sample(0, 0, 1));
        key.blue = static_cast<png_uint_16>(sample(0, 0, 2));
        const bool indexed = kind.type == PNG_COLOR_TYPE_PALETTE;
        png_set_tRNS(png, info, indexed ? alphas : nullptr, indexed ? 3 : 0, indexed ? nullptr : &key);
    }
    char key[] = "Title", text[] = "Seed";
    png_text title{};
    title.compression = PNG_TEXT_COMPRESSION_zTXt;
    title.key = key;
    title.text = text;
    title.text_length = 4;
    if (kind.described) {
        png_set_pHYs(png, info, 5669, 5669, PNG_RESOLUTION_METER); // 144 dots an inch
        png_set_text(png, info, &title, 1);
    }
    png_write_info(png, info);
    std::vector<Bytes> rows;
    std::vector<png_bytep> pointers;
    for (int y = 0; y < kind.height; ++y)
        rows.push_back(packedRow(kind, y));
    for (Bytes& row : rows)
        pointers.push_back(row.data());
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return seed;
}

} // namespace

std::vector<Seed> pngSeeds()
{
    const Kind kinds[] = {
        {.name = "png-grey-1", .width = 19, .height = 7, .bits = 1, .type = PNG_COLOR_TYPE_GRAY},
        {.name = "png-grey-2-keyed", .width = 9, .height = 9, .bits = 2, .type = PNG_COLOR_TYPE_GRAY, .keyed = true},
        {.name = "png-grey-4-interlaced",
         .width = 13,
         .height = 11,
         .bits = 4,
         .type = PNG_COLOR_TYPE_GRAY,
         .interlaced = true},
        {.name = "png-grey-8", .width = 16, .height = 8, .bits = 8, .type = PNG_COLOR_TYPE_GRAY, .described = true},
        {.name = "png-grey-16", .width = 7, .height = 9, .bits = 16, .type = PNG_COLOR_TYPE_GRAY},
        {.name = "png-grey-alpha-8", .width = 10, .height = 10, .bits = 8, .type = PNG_COLOR_TYPE_GRAY_ALPHA},
        {.name = "png-grey-alpha-16", .width = 8, .height = 5, .bits = 16, .type = PNG_COLOR_TYPE_GRAY_ALPHA},
        {.name = "png-palette-1", .width = 17, .height = 5, .bits = 1, .type = PNG_COLOR_TYPE_PALETTE},
        {.name = "png-palette-4-keyed",
         .width = 15,
         .height = 6,
         .bits = 4,
         .type = PNG_COLOR_TYPE_PALETTE,
         .keyed = true},
        {.name = "png-palette-8", .width = 20, .height = 20, .bits = 8, .type = PNG_COLOR_TYPE_PALETTE},
        {.name = "png-colour-8", .width = 31, .height = 14, .bits = 8, .type = PNG_COLOR_TYPE_RGB, .described = true},
        {.name = "png-colour-8-keyed", .width = 8, .height = 8, .bits = 8, .type = PNG_COLOR_TYPE_RGB, .keyed = true},
        {.name = "png-colour-16-interlaced",
         .width = 9,
         .height = 10,
         .bits = 16,
         .type = PNG_COLOR_TYPE_RGB,
         .interlaced = true},
        {.name = "png-alpha-8", .width = 22, .height = 13, .bits = 8, .type = PNG_COLOR_TYPE_RGBA},
        {.name = "png-alpha-16", .width = 6, .height = 7, .bits = 16, .type = PNG_COLOR_TYPE_RGBA},
        {.name = "png-one-pixel", .width = 1, .height = 1, .bits = 8, .type = PNG_COLOR_TYPE_RGBA, .interlaced = true},
    };
    std::vector<Seed> seeds;
    for (const Kind& kind : kinds)
        seeds.push_back(make(kind));
    return seeds;
}

} // namespace zel::seeds
