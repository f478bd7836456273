#include "seeds.h"

#include <libheif/heif.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace zel::seeds {
namespace {

struct Kind {
    const char* name;
    int width, height; // upright
    heif_compression_format coding = heif_compression_HEVC;
    int bits = 8;
    bool isGray = false, hasAlpha = false;
    heif_orientation orientation = heif_orientation_normal; // what has to be done to the stored picture
    int pictures = 1;
};

template <auto Release>
struct With {
    template <class Object>
    void operator()(Object* object) const
    {
        Release(object);
    }
};

using Image = std::unique_ptr<heif_image, With<heif_image_release>>;

Image paint(const Kind& kind, int width, int height)
{
    const heif_chroma chroma = kind.isGray     ? heif_chroma_monochrome
                               : kind.bits > 8 ? heif_chroma_interleaved_RRGGBB_LE
                               : kind.hasAlpha ? heif_chroma_interleaved_RGBA
                                               : heif_chroma_interleaved_RGB;
    const heif_channel channel = kind.isGray ? heif_channel_Y : heif_channel_interleaved;
    heif_image* made = nullptr;
    heif_image_create(width, height, kind.isGray ? heif_colorspace_monochrome : heif_colorspace_RGB, chroma, &made);
    Image image(made);
    heif_image_add_plane(image.get(), channel, width, height, kind.bits);
    int stride = 0;
    std::uint8_t* const plane = heif_image_get_plane(image.get(), channel, &stride);
    const int channels = kind.isGray ? 1 : kind.hasAlpha ? 4 : 3;
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * channels; ++i) {
            const int value = sample(i / channels / 4, y / 4, i % channels); // patches that lossy coding keeps
            std::uint8_t* const at = plane + stride * y;
            if (kind.bits > 8) {
                const auto deep = static_cast<std::uint16_t>(value * ((1 << kind.bits) - 1) / 255);
                std::memcpy(at + 2 * i, &deep, 2);
            } else
                at[i] = static_cast<std::uint8_t>(value);
        }
    }
    return image;
}

heif_error append(heif_context*, const void* from, std::size_t count, void* to)
{
    const auto* const begin = static_cast<const std::uint8_t*>(from);
    static_cast<Bytes*>(to)->insert(static_cast<Bytes*>(to)->end(), begin, begin + count);
    return {heif_error_Ok, heif_suberror_Unspecified, "good"};
}

Seed make(const Kind& kind)
{
    const std::unique_ptr<heif_context, With<heif_context_free>> context(heif_context_alloc());
    heif_encoder* found = nullptr;
    heif_context_get_encoder_for_format(context.get(), kind.coding, &found);
    Seed seed{kind.name, {}, kind.width, kind.height};
    if (found == nullptr)
        return seed;
    const std::unique_ptr<heif_encoder, With<heif_encoder_release>> encoder(found);
    heif_encoder_set_lossy_quality(encoder.get(), 90);
    if (kind.coding == heif_compression_HEVC)
        heif_encoder_set_parameter_string(encoder.get(), "preset", "ultrafast");
    else
        heif_encoder_set_parameter_integer(encoder.get(), "speed", 9);
    const std::unique_ptr<heif_encoding_options, With<heif_encoding_options_free>> options(
        heif_encoding_options_alloc());
    options->image_orientation = kind.orientation;
    const bool isTurned = kind.orientation >= heif_orientation_rotate_90_cw_then_flip_horizontally;
    for (int i = 0; i < kind.pictures; ++i) {
        const Image image = paint(kind, isTurned ? kind.height : kind.width, isTurned ? kind.width : kind.height);
        heif_context_encode_image(context.get(), image.get(), encoder.get(), options.get(), nullptr);
    }
    heif_writer writer{1, append};
    heif_context_write(context.get(), &writer, &seed.bytes);
    return seed;
}

} // namespace

const std::vector<Seed>& heifSeeds()
{
    static const std::vector<Seed> all = [] {
        const Kind kinds[] = {
            {.name = "heif-colour", .width = 64, .height = 64},
            {.name = "heif-small", .width = 48, .height = 20},
            {.name = "heif-odd", .width = 33, .height = 21},
            {.name = "heif-alpha", .width = 32, .height = 32, .hasAlpha = true},
            {.name = "heif-ten-bits", .width = 40, .height = 24, .bits = 10},
            {.name = "heif-grey", .width = 32, .height = 48, .isGray = true},
            {.name = "heif-turned", .width = 64, .height = 32, .orientation = heif_orientation_rotate_90_cw},
            {.name = "heif-two", .width = 16, .height = 16, .pictures = 2},
            {.name = "avif-colour", .width = 48, .height = 32, .coding = heif_compression_AV1},
            {.name = "avif-alpha", .width = 24, .height = 24, .coding = heif_compression_AV1, .hasAlpha = true},
        };
        std::vector<Seed> seeds;
        for (const Kind& kind : kinds)
            seeds.push_back(make(kind));
        return seeds;
    }();
    return all;
}

} // namespace zel::seeds
