#include <zel/platform/codecs/modules/heif_encoder_module.h>

#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

#include <libheif/heif.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <new>

// libheif behind the module's interface, for writing alone. Nothing of ours is linked; nothing is thrown, and whatever
// libheif calls back is noexcept.
namespace zel::heif {

struct Picture {
    heif_image* image = nullptr;
    bool hasAlpha = false;

    Picture() = default;
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { heif_image_release(image); }
};

namespace {

template <auto Release>
struct With {
    template <class Object>
    void operator()(Object* object) const
    {
        Release(object);
    }
};
using Context = std::unique_ptr<heif_context, With<heif_context_free>>;
using Encoder = std::unique_ptr<heif_encoder, With<heif_encoder_release>>;
using Options = std::unique_ptr<heif_encoding_options, With<heif_encoding_options_free>>;
using Colors = std::unique_ptr<heif_color_profile_nclx, With<heif_nclx_color_profile_free>>;

bool isGood(const heif_error& error)
{
    return error.code == heif_error_Ok;
}

Colors srgb()
{
    Colors colors(heif_nclx_color_profile_alloc());
    if (colors) {
        colors->color_primaries = heif_color_primaries_ITU_R_BT_709_5;
        colors->transfer_characteristics = heif_transfer_characteristic_IEC_61966_2_1;
        colors->matrix_coefficients = heif_matrix_coefficients_ITU_R_BT_601_6;
        colors->full_range_flag = 1;
    }
    return colors;
}

Picture* create(const NewPicture& wanted, WritablePlanes& planes)
{
    std::unique_ptr<Picture> picture(new (std::nothrow) Picture);
    const Colors colors = srgb();
    if (!picture || !colors ||
        !isGood(
            heif_image_create(wanted.width, wanted.height, heif_colorspace_YCbCr, heif_chroma_420, &picture->image)))
        return nullptr;
    picture->hasAlpha = wanted.hasAlpha;
    constexpr heif_channel channels[] = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr, heif_channel_Alpha};
    for (int i = 0; i < (wanted.hasAlpha ? 4 : 3); ++i) {
        const bool isHalf = i == 1 || i == 2;
        const int width = isHalf ? (wanted.width + 1) / 2 : wanted.width,
                  height = isHalf ? (wanted.height + 1) / 2 : wanted.height;
        if (!isGood(heif_image_add_plane(picture->image, channels[i], width, height, wanted.bits)))
            return nullptr;
        int stride = 0;
        planes.data[i] = heif_image_get_plane(picture->image, channels[i], &stride);
        planes.stride[i] = stride;
        if (planes.data[i] == nullptr)
            return nullptr;
    }
    heif_image_set_nclx_color_profile(picture->image, colors.get());
    if (wanted.profileSize > 0)
        heif_image_set_raw_color_profile(picture->image, "prof", wanted.profile, wanted.profileSize);
    return picture.release();
}

heif_error write(heif_context*, const void* from, std::size_t count, void* context) noexcept
{
    const NewFile& file = *static_cast<const NewFile*>(context);
    return file.write(file.context, from, count)
               ? heif_error{heif_error_Ok, heif_suberror_Unspecified, "written"}
               : heif_error{heif_error_Encoding_error, heif_suberror_Cannot_write_output_data, "no memory"};
}

heif_compression_format formatOf(Coding coding)
{
    return coding == Coding::av1 ? heif_compression_AV1 : heif_compression_HEVC;
}

/// What x265 is told. "ultrafast" is the one preset that gets 12 megapixels done in about a second on two cores.
/// Texture kept for the eye's sake costs bytes that the plain error does not repay, and of the ways of weighing bits
/// against errors the quickest is here also the best.
bool setUpHevc(heif_encoder* encoder, const NewFile& file)
{
    // Its quality is whole numbers, its rate factor is not: 0 is best, 50 what libheif gives the lowest quality.
    char factor[32], threads[16];
    const int thousandths = static_cast<int>(std::lround((1 - file.quality) * 50'000));
    std::snprintf(factor, sizeof factor, "%d.%03d", thousandths / 1000, thousandths % 1000);
    std::snprintf(threads, sizeof threads, "%d", std::clamp(file.threads, 1, 64));
    return isGood(heif_encoder_set_lossy_quality(encoder, static_cast<int>(std::lround(file.quality * 100)))) &&
           isGood(heif_encoder_set_parameter_string(encoder, "preset", "ultrafast")) &&
           isGood(heif_encoder_set_parameter(encoder, "x265:psy-rd", "0")) &&
           isGood(heif_encoder_set_parameter(encoder, "x265:rd", "1")) &&
           isGood(heif_encoder_set_parameter(encoder, "x265:crf", factor)) &&
           isGood(heif_encoder_set_parameter(encoder, "x265:pools", threads));
}

/// What libaom is told: the quickest of its ways for still pictures, and the plain error as the measure.
bool setUpAv1(heif_encoder* encoder, const NewFile& file)
{
    constexpr int mostLevel = 63; // of libaom's quantiser; 0 is best. It knows whole numbers alone.
    char level[16];
    std::snprintf(level, sizeof level, "%d", static_cast<int>(std::lround((1 - file.quality) * mostLevel)));
    return isGood(heif_encoder_set_lossy_quality(encoder, static_cast<int>(std::lround(file.quality * 100)))) &&
           isGood(heif_encoder_set_parameter_integer(encoder, "speed", 9)) &&
           isGood(heif_encoder_set_parameter_integer(encoder, "threads", std::clamp(file.threads, 1, 16))) &&
           isGood(heif_encoder_set_parameter_string(encoder, "tune", "psnr")) &&
           isGood(heif_encoder_set_parameter(encoder, "aom:cq-level", level));
}

bool canEncode(Coding coding)
{
    return heif_have_encoder_for_format(formatOf(coding)) != 0;
}

bool encode(const Picture* picture, NewFile& file)
{
    const auto failed = [&](const heif_error& error) {
        std::snprintf(file.trouble, sizeof file.trouble, "%s", error.message != nullptr ? error.message : "unknown");
        return false;
    };
    const Context context(heif_context_alloc());
    heif_encoder* found = nullptr;
    const heif_error known = heif_context_get_encoder_for_format(context.get(), formatOf(file.coding), &found);
    if (!isGood(known))
        return failed(known);
    const Encoder encoder(found);
    const Options options(heif_encoding_options_alloc());
    const auto setUp = file.coding == Coding::av1 ? setUpAv1 : setUpHevc;
    if (!options || !setUp(encoder.get(), file))
        return failed({heif_error_Usage_error, heif_suberror_Unspecified, "the encoder refuses its settings"});
    options->save_alpha_channel = picture->hasAlpha ? 1 : 0;
    options->macOS_compatibility_workaround_no_nclx_profile = 0;
    const heif_error encoded =
        heif_context_encode_image(context.get(), picture->image, encoder.get(), options.get(), nullptr);
    if (!isGood(encoded))
        return failed(encoded);
    heif_writer writer{1, write};
    const heif_error written = heif_context_write(context.get(), &writer, &file);
    return isGood(written) || failed(written);
}

void release(Picture* picture)
{
    delete picture;
}

constexpr EncoderApi api = {canEncode, create, encode, release};

} // namespace
} // namespace zel::heif

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::heif::EncoderApi::version, &zel::heif::api};
}
