#include <zel/platform/codecs/modules/jpeg2000_module.h>

#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

// OpenJPEG behind the module's interface. Nothing of ours is linked; nothing is thrown, and what OpenJPEG calls back is
// noexcept.
namespace zel::jpeg2000 {

struct Reader {
    Input input;
    std::size_t position = 0;
    bool complained = false;
    std::unique_ptr<opj_codec_t, void (*)(opj_codec_t*)> codec{nullptr, opj_destroy_codec};
    std::unique_ptr<opj_stream_t, void (*)(opj_stream_t*)> stream{nullptr, opj_stream_destroy};
    std::unique_ptr<opj_image_t, void (*)(opj_image_t*)> image{nullptr, opj_image_destroy};
};

namespace {

constexpr std::size_t bufferBytes = std::size_t{64} << 10U;

constexpr std::uint8_t endOfStream[] = {0xFF, 0xD9};

std::size_t sizeOf(const Input& input)
{
    return input.size + (input.isCut ? sizeof endOfStream : 0);
}

OPJ_SIZE_T read(void* into, OPJ_SIZE_T count, void* context) noexcept
{
    constexpr OPJ_SIZE_T none = static_cast<OPJ_SIZE_T>(-1);
    Reader& reader = *static_cast<Reader*>(context);
    const Input& input = reader.input;
    const double fraction = static_cast<double>(reader.position) / static_cast<double>(sizeOf(input));
    const bool isPast = reader.position >= input.size;
    const std::size_t left = (isPast ? sizeOf(input) : input.size) - reader.position;
    const std::size_t got = std::min<std::size_t>(count, left);
    if (got == 0 || (input.goOn != nullptr && !input.goOn(input.context, fraction)))
        return none;
    std::memcpy(into, isPast ? endOfStream + (reader.position - input.size) : input.bytes + reader.position, got);
    reader.position += got;
    return got;
}

OPJ_BOOL seek(OPJ_OFF_T offset, void* context) noexcept
{
    Reader& reader = *static_cast<Reader*>(context);
    if (offset < 0 || static_cast<std::uint64_t>(offset) > sizeOf(reader.input))
        return OPJ_FALSE;
    reader.position = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

OPJ_OFF_T skip(OPJ_OFF_T count, void* context) noexcept
{
    Reader& reader = *static_cast<Reader*>(context);
    const auto left = static_cast<OPJ_OFF_T>(sizeOf(reader.input) - reader.position);
    if (count < 0)
        return -1;
    reader.position += static_cast<std::size_t>(std::min(count, left));
    return std::min(count, left);
}

void ignore(const char*, void*) noexcept {}

void complain(const char*, void* context) noexcept
{
    static_cast<Reader*>(context)->complained = true;
}

Reader* open(const Input& input)
{
    std::unique_ptr<Reader> reader(new (std::nothrow) Reader);
    if (!reader)
        return nullptr;
    reader->input = input;
    reader->codec.reset(opj_create_decompress(input.isBoxed ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
    reader->stream.reset(opj_stream_create(bufferBytes, OPJ_TRUE));
    if (!reader->codec || !reader->stream)
        return nullptr;
    opj_codec_t* const codec = reader->codec.get();
    opj_stream_t* const stream = reader->stream.get();
    opj_set_info_handler(codec, ignore, nullptr);
    opj_set_warning_handler(codec, complain, reader.get());
    opj_set_error_handler(codec, complain, reader.get());
    opj_stream_set_user_data(stream, reader.get(), nullptr);
    opj_stream_set_user_data_length(stream, sizeOf(input));
    opj_stream_set_read_function(stream, read);
    opj_stream_set_seek_function(stream, seek);
    opj_stream_set_skip_function(stream, skip);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    parameters.cp_reduce = static_cast<OPJ_UINT32>(input.reduction);
    opj_image_t* image = nullptr;
    if (opj_setup_decoder(codec, &parameters) == 0)
        return nullptr;
    if (input.threads > 1)
        opj_codec_set_threads(codec, input.threads); // without them it is slower
    const bool isRead = opj_read_header(stream, codec, &image) != 0;
    reader->image.reset(image);
    return isRead ? reader.release() : nullptr;
}

void close(Reader* reader)
{
    delete reader;
}

Colors colorsOf(const opj_image_t& image)
{
    switch (image.color_space) {
    case OPJ_CLRSPC_SRGB:
        return Colors::srgb;
    case OPJ_CLRSPC_GRAY:
        return Colors::gray;
    case OPJ_CLRSPC_SYCC:
        return Colors::sycc;
    case OPJ_CLRSPC_EYCC:
        return Colors::eycc;
    case OPJ_CLRSPC_CMYK:
        return Colors::cmyk;
    default:
        return Colors::unstated;
    }
}

bool decode(Reader* reader, Picture& picture)
{
    opj_image_t& image = *reader->image;
    if (opj_decode(reader->codec.get(), reader->stream.get(), &image) == 0 || image.numcomps == 0 ||
        image.numcomps > mostComponents)
        return false;
    picture.components = image.numcomps;
    for (std::uint32_t i = 0; i < image.numcomps; ++i) {
        const opj_image_comp_t& from = image.comps[i];
        picture.component[i] = {from.dx, from.dy, from.w, from.h, from.prec, from.sgnd != 0, from.alpha, from.data};
    }
    picture.colors = colorsOf(image);
    picture.profile = image.icc_profile_buf;
    picture.profileSize = image.icc_profile_buf != nullptr ? image.icc_profile_len : 0;
    return true;
}

bool complained(const Reader* reader)
{
    return reader->complained;
}

constexpr Api api = {open, close, decode, complained};

} // namespace
} // namespace zel::jpeg2000

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::jpeg2000::Api::version, &zel::jpeg2000::api};
}
