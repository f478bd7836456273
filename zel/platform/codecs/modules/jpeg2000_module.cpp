#include <zel/platform/codecs/modules/jpeg2000_module.h>

#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <vector>

// OpenJPEG behind the module's interface. Nothing of ours is linked; nothing is thrown, and what OpenJPEG calls back is
// noexcept.
namespace zel::jpeg2000 {

struct Reader {
    Input input;
    std::size_t position = 0;
    bool complained = false;
    std::array<std::vector<std::int32_t>, mostComponents> samples; ///< of strips
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

/// What is decoded, as the reader's image holds it.
bool fill(const Reader& reader, Picture& picture)
{
    const opj_image_t& image = *reader.image;
    if (image.numcomps == 0 || image.numcomps > mostComponents)
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

bool decodeArea(Reader& reader, std::uint32_t left, std::uint32_t top, std::uint32_t right, std::uint32_t bottom)
{
    opj_image_t* const image = reader.image.get();
    return opj_set_decode_area(reader.codec.get(), image, static_cast<OPJ_INT32>(left), static_cast<OPJ_INT32>(top),
                               static_cast<OPJ_INT32>(right), static_cast<OPJ_INT32>(bottom)) != 0 &&
           opj_decode(reader.codec.get(), reader.stream.get(), image) != 0;
}

/// Strip after strip of the one tile, their samples brought together.
bool decodeStrips(Reader& reader, Picture& picture)
{
    const Input& input = reader.input;
    opj_image_t& image = *reader.image;
    const std::uint32_t left = image.x0, first = image.y0, right = image.x1, bottom = image.y1,
                        components = image.numcomps;
    if (right > std::numeric_limits<OPJ_INT32>::max() || bottom > std::numeric_limits<OPJ_INT32>::max() ||
        components == 0 || components > mostComponents)
        return false;
    if (input.isProof) {
        const auto edge = [&](std::uint32_t from, std::uint32_t to) {
            return from + std::min(to - from, input.stripRows);
        };
        return decodeArea(reader, left, first, edge(left, right), edge(first, bottom)) && fill(reader, picture);
    }
    for (std::uint32_t top = first; top < bottom;) {
        const std::uint32_t end = std::min(bottom, (top / input.stripRows + 1) * input.stripRows);
        if (input.goOn != nullptr && !input.goOn(input.context, static_cast<double>(top - first) / (bottom - first)))
            return false;
        if (!decodeArea(reader, left, top, right, end) || image.numcomps != components)
            return false;
        Picture strip;
        if (!fill(reader, strip))
            return false;
        for (std::uint32_t i = 0; i < components; ++i) {
            const Component& from = strip.component[i];
            Component& to = picture.component[i];
            std::vector<std::int32_t>& samples = reader.samples[i];
            if (top == first) {
                to = from;
                to.height = 0;
                const std::uint32_t stripHeight = end - top;
                samples.reserve(std::size_t{from.width} * from.height * ((bottom - first) / stripHeight + 1));
            }
            const std::size_t count = std::size_t{from.width} * from.height;
            if (from.width != to.width || (count > 0 && from.samples == nullptr))
                return false;
            samples.insert(samples.end(), from.samples, from.samples + count);
            to.height += from.height;
            to.samples = samples.data();
        }
        picture.components = components;
        picture.colors = strip.colors;
        top = end;
    }
    return true;
}

bool decode(Reader* reader, Picture& picture)
try {
    return reader->input.stripRows > 0
               ? decodeStrips(*reader, picture)
               : opj_decode(reader->codec.get(), reader->stream.get(), reader->image.get()) != 0 &&
                     fill(*reader, picture);
} catch (const std::bad_alloc&) {
    return false;
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
