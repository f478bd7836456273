#include "seeds.h"

#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace zel::seeds {
namespace {

struct Kind {
    const char* name;
    int width, height; // stored
    J_COLOR_SPACE pixels;
    J_COLOR_SPACE stored;
    bool halved = false; // chroma at half the width and height
    bool progressive = false;
    unsigned restartRows = 0;
    int orientation = 1;
    int dpi = 0;
};

int channelsOf(J_COLOR_SPACE space)
{
    return space == JCS_GRAYSCALE ? 1 : space == JCS_CMYK ? 4 : 3;
}

/// An EXIF block whose only entry is the orientation.
Bytes exifBlock(int orientation)
{
    return {'E', 'x', 'i',  'f',  0, 0,       // the marker's own header
            'M', 'M', 0,    42,   0, 0, 0, 8, // byte order, 42, where the entries stand
            0,   1,   0x01, 0x12, 0, 3, 0, 0, 0, 1, 0, static_cast<std::uint8_t>(orientation), 0, 0, 0, 0, 0, 0};
}

Seed make(const Kind& kind)
{
    jpeg_error_mgr errors{};
    jpeg_compress_struct jpeg{};
    jpeg.err = jpeg_std_error(&errors); // ends the process: what is written here is right
    jpeg_create_compress(&jpeg);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &memory, &size);

    jpeg.image_width = static_cast<JDIMENSION>(kind.width);
    jpeg.image_height = static_cast<JDIMENSION>(kind.height);
    jpeg.input_components = channelsOf(kind.pixels);
    jpeg.in_color_space = kind.pixels;
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, kind.stored);
    jpeg_set_quality(&jpeg, 85, TRUE);
    if (!kind.halved) {
        jpeg.comp_info[0].h_samp_factor = 1;
        jpeg.comp_info[0].v_samp_factor = 1;
    }
    if (kind.progressive)
        jpeg_simple_progression(&jpeg);
    jpeg.restart_in_rows = static_cast<int>(kind.restartRows);
    if (kind.dpi > 0) {
        jpeg.density_unit = 1;
        jpeg.X_density = static_cast<UINT16>(kind.dpi);
        jpeg.Y_density = static_cast<UINT16>(kind.dpi);
    }
    jpeg_start_compress(&jpeg, TRUE);
    if (kind.orientation != 1) {
        const Bytes block = exifBlock(kind.orientation);
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, block.data(), static_cast<unsigned>(block.size()));
    }
    Bytes row(static_cast<std::size_t>(kind.width * jpeg.input_components));
    for (int y = 0; y < kind.height; ++y) {
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = static_cast<std::uint8_t>(
                sample(static_cast<int>(i) / jpeg.input_components, y, static_cast<int>(i) % jpeg.input_components));
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&jpeg, rows, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);

    Seed seed{kind.name, Bytes(memory, memory + size), kind.width, kind.height};
    std::free(memory);
    if (kind.orientation >= 5)
        std::swap(seed.width, seed.height);
    return seed;
}

} // namespace

std::vector<Seed> jpegSeeds()
{
    const Kind kinds[] = {
        {.name = "jpeg-colour", .width = 24, .height = 17, .pixels = JCS_RGB, .stored = JCS_YCbCr},
        {.name = "jpeg-halved",
         .width = 35,
         .height = 21,
         .pixels = JCS_RGB,
         .stored = JCS_YCbCr,
         .halved = true,
         .dpi = 300},
        {.name = "jpeg-grey", .width = 16, .height = 16, .pixels = JCS_GRAYSCALE, .stored = JCS_GRAYSCALE},
        {.name = "jpeg-one-pixel", .width = 1, .height = 1, .pixels = JCS_RGB, .stored = JCS_YCbCr, .halved = true},
        {.name = "jpeg-rgb", .width = 9, .height = 9, .pixels = JCS_RGB, .stored = JCS_RGB},
        {.name = "jpeg-cmyk", .width = 20, .height = 12, .pixels = JCS_CMYK, .stored = JCS_CMYK},
        {.name = "jpeg-ycck", .width = 20, .height = 12, .pixels = JCS_CMYK, .stored = JCS_YCCK},
        {.name = "jpeg-progressive",
         .width = 33,
         .height = 18,
         .pixels = JCS_RGB,
         .stored = JCS_YCbCr,
         .halved = true,
         .progressive = true},
        {.name = "jpeg-progressive-grey",
         .width = 17,
         .height = 40,
         .pixels = JCS_GRAYSCALE,
         .stored = JCS_GRAYSCALE,
         .progressive = true},
        {.name = "jpeg-restarts",
         .width = 40,
         .height = 40,
         .pixels = JCS_RGB,
         .stored = JCS_YCbCr,
         .halved = true,
         .restartRows = 1},
        {.name = "jpeg-upside-down",
         .width = 18,
         .height = 10,
         .pixels = JCS_RGB,
         .stored = JCS_YCbCr,
         .orientation = 3},
        {.name = "jpeg-turned",
         .width = 30,
         .height = 11,
         .pixels = JCS_RGB,
         .stored = JCS_YCbCr,
         .halved = true,
         .orientation = 6},
    };
    std::vector<Seed> seeds;
    for (const Kind& kind : kinds)
        seeds.push_back(make(kind));
    return seeds;
}

} // namespace zel::seeds
