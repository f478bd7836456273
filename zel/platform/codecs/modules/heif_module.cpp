#include <zel/platform/codecs/modules/heif_module.h>

#include <zel/export.h>
#include <zel/platform/codecs/modules/apart.h>
#include <zel/platform/foundation/modules.h>

#include <dav1d/dav1d.h>
#include <libde265/de265.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

// libde265 and dav1d behind the module's interface. Nothing of ours is linked; nothing is thrown, and whatever the
// libraries call back is noexcept.
namespace zel::heif {

struct Decoded {
    de265_decoder_context* hevc = nullptr;
    std::uint64_t mostPixels = 0;
    int pictures = 0; // that libde265 holds
    bool tooLarge = false;

    Dav1dContext* av1 = nullptr;
    Dav1dPicture picture{};

    Decoded() = default;
    Decoded(const Decoded&) = delete;
    Decoded& operator=(const Decoded&) = delete;
    ~Decoded()
    {
        endHevc();
        if (picture.data[0] != nullptr)
            dav1d_picture_unref(&picture);
        if (av1 != nullptr)
            dav1d_close(&av1);
    }
    void endHevc()
    {
        if (hevc != nullptr)
            de265_free_decoder(hevc);
        hevc = nullptr;
    }
};

namespace {

constexpr const char* tooLarge = "its coded picture is larger than stated";
constexpr const char* unwanted = "stopped";

bool isUnwanted(const CodedPicture& picture)
{
    return picture.isUnwanted != nullptr && picture.isUnwanted(picture.context);
}

// --- HEVC ---

// A still picture needs one buffer; a second one does no harm, sixteen of a hostile stream would.
constexpr int mostHevcPictures = 2;
constexpr std::size_t planeAlignment = 64, planePadding = 2 * planeAlignment;

int getBuffer(de265_decoder_context*, de265_image_spec* spec, de265_image* image, void* self) noexcept
{
    Decoded& decoded = *static_cast<Decoded*>(self);
    const auto width = static_cast<std::uint64_t>(std::max(0, spec->width)),
               height = static_cast<std::uint64_t>(std::max(0, spec->height));
    if (width > decoded.mostPixels || height > decoded.mostPixels || width * height > decoded.mostPixels ||
        decoded.pictures >= mostHevcPictures) {
        decoded.tooLarge = true;
        return 0;
    }
    const bool isMono = spec->format == de265_image_format_mono8;
    const unsigned shiftX =
        spec->format == de265_image_format_YUV420P8 || spec->format == de265_image_format_YUV422P8 ? 1 : 0;
    const unsigned shiftY = spec->format == de265_image_format_YUV420P8 ? 1 : 0;
    const std::uint64_t unit = static_cast<std::uint64_t>(std::max(16, spec->alignment));
    void* memory[3] = {};
    for (int channel = 0; channel < (isMono ? 1 : 3); ++channel) {
        const std::uint64_t across = channel == 0 ? width : (width + shiftX) >> shiftX,
                            along = channel == 0 ? height : (height + shiftY) >> shiftY;
        const std::uint64_t bytes = de265_get_bits_per_pixel(image, channel) > 8 ? 2 : 1;
        const std::uint64_t stride = (across + unit - 1) / unit * unit * bytes;
        // Zeros, since damaged data leave parts of a picture out.
        memory[channel] = std::calloc(static_cast<std::size_t>(stride * along + planePadding), 1);
        if (memory[channel] == nullptr) {
            for (void* const each : memory)
                std::free(each);
            return 0;
        }
        void* aligned = memory[channel];
        std::size_t room = planePadding;
        std::align(planeAlignment, 1, aligned, room);
        de265_set_image_plane(image, channel, aligned, static_cast<int>(stride), memory[channel]);
    }
    ++decoded.pictures;
    return 1;
}

void releaseBuffer(de265_decoder_context*, de265_image* image, void* self) noexcept
{
    --static_cast<Decoded*>(self)->pictures;
    for (int channel = 0; channel < 3; ++channel) {
        std::free(de265_get_image_plane_user_data(image, channel));
        de265_set_image_plane(image, channel, nullptr, 0, nullptr);
    }
}

std::size_t number(const std::uint8_t* bytes, std::size_t count)
{
    std::size_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8U | bytes[i];
    return value;
}

bool pushUnit(de265_decoder_context* context, const std::uint8_t* bytes, std::size_t size)
{
    return size == 0 || size > std::numeric_limits<int>::max() / 2 ||
           de265_isOK(de265_push_NAL(context, bytes, static_cast<int>(size), 0, nullptr)) != 0;
}

/// Parameter sets, from the configuration record (ISO/IEC 14496-15, 8.3.3.1): 22 bytes of figures, then arrays of
/// units. Gives the number of bytes of the lengths before units in the data; 0 when it makes no sense.
std::size_t pushConfiguration(de265_decoder_context* context, const std::uint8_t* bytes, std::size_t size)
{
    constexpr std::size_t figures = 22;
    if (size < figures + 1)
        return 0;
    std::size_t at = figures;
    for (std::size_t arrays = bytes[at++]; arrays > 0; --arrays) {
        if (size - at < 3)
            return 0;
        std::size_t units = number(bytes + at + 1, 2);
        at += 3;
        for (; units > 0; --units) {
            if (size - at < 2)
                return 0;
            const std::size_t length = number(bytes + at, 2);
            at += 2;
            if (size - at < length || !pushUnit(context, bytes + at, length))
                return 0;
            at += length;
        }
    }
    return (bytes[figures - 1] & 3U) + 1;
}

/// False where the data end within a unit.
bool pushData(de265_decoder_context* context, const std::uint8_t* bytes, std::size_t size, std::size_t lengthSize)
{
    std::size_t at = 0;
    while (size - at >= lengthSize) {
        const std::size_t length = number(bytes + at, lengthSize);
        at += lengthSize;
        if (!pushUnit(context, bytes + at, std::min(length, size - at)) || length > size - at)
            return false;
        at += length;
    }
    return at == size;
}

bool fill(const de265_image* image, Planes& planes)
{
    const de265_chroma chroma = de265_get_chroma_format(image);
    planes.hasColor = chroma != de265_chroma_mono;
    planes.chromaShiftX = chroma == de265_chroma_420 || chroma == de265_chroma_422 ? 1 : 0;
    planes.chromaShiftY = chroma == de265_chroma_420 ? 1 : 0;
    planes.width = de265_get_image_width(image, 0);
    planes.height = de265_get_image_height(image, 0);
    planes.bits = de265_get_bits_per_pixel(image, 0);
    for (int channel = 0; channel < (planes.hasColor ? 3 : 1); ++channel) {
        int stride = 0;
        planes.data[channel] = de265_get_image_plane(image, channel, &stride);
        planes.stride[channel] = stride;
        const int shiftX = channel == 0 ? 0 : planes.chromaShiftX, shiftY = channel == 0 ? 0 : planes.chromaShiftY;
        if (planes.data[channel] == nullptr || de265_get_bits_per_pixel(image, channel) != planes.bits ||
            de265_get_image_width(image, channel) < (planes.width + shiftX) >> shiftX ||
            de265_get_image_height(image, channel) < (planes.height + shiftY) >> shiftY)
            return false;
    }
    planes.primaries = de265_get_image_colour_primaries(image);
    planes.transfer = de265_get_image_transfer_characteristics(image);
    planes.matrix = de265_get_image_matrix_coefficients(image);
    planes.isFullRange = de265_get_image_full_range_flag(image) != 0;
    return true;
}

bool decodeHevc(const CodedPicture& picture, int threads, bool withoutSao, Decoded& decoded, Planes& planes,
                const char*& trouble)
{
    decoded.hevc = de265_new_decoder();
    if (decoded.hevc == nullptr) {
        trouble = "no memory for the decoder";
        return false;
    }
    decoded.mostPixels = picture.mostPixels;
    de265_image_allocation allocation{getBuffer, releaseBuffer};
    de265_set_image_allocation_functions(decoded.hevc, &allocation, &decoded);
    de265_set_parameter_bool(decoded.hevc, DE265_DECODER_PARAM_DISABLE_SAO, withoutSao ? 1 : 0);
    if (threads > 1)
        de265_start_worker_threads(decoded.hevc, threads);
    const std::size_t lengthSize = pushConfiguration(decoded.hevc, picture.configuration, picture.configurationSize);
    if (lengthSize == 0) {
        trouble = "its decoder configuration makes no sense";
        return false;
    }
    planes.isDamaged = !pushData(decoded.hevc, picture.data, picture.size, lengthSize);
    de265_flush_data(decoded.hevc);
    int more = 1;
    while (more != 0 && !isUnwanted(picture)) {
        more = 0;
        const de265_error result = de265_decode(decoded.hevc, &more);
        if (const de265_image* const image = de265_get_next_picture(decoded.hevc)) {
            // Only what went wrong gives a warning here.
            planes.isDamaged = planes.isDamaged || result != DE265_OK || de265_get_warning(decoded.hevc) != DE265_OK;
            if (fill(image, planes))
                return true;
            trouble = "its planes are of different depths or sizes";
            return false;
        }
        if (de265_isOK(result) == 0) {
            trouble = decoded.tooLarge ? tooLarge : de265_get_error_text(result);
            return false;
        }
    }
    trouble = more != 0 ? unwanted : decoded.tooLarge ? tooLarge : "there is no picture in its data";
    return false;
}

/// With its offsets (SAO) libde265 decodes to memory of its own, where parts that damage leaves out are whatever was
/// there before: of a damaged picture they are left away, and nothing depends on the turns of threads.
bool decodeHevc(const CodedPicture& picture, Decoded& decoded, Planes& planes, const char*& trouble)
{
    if (!decodeHevc(picture, picture.threads, false, decoded, planes, trouble))
        return false;
    if (!planes.isDamaged)
        return true;
    decoded.endHevc();
    planes = {};
    const bool good = decodeHevc(picture, 1, true, decoded, planes, trouble);
    planes.isDamaged = true;
    return good;
}

// --- AV1 ---

bool decodeAv1(const CodedPicture& picture, Decoded& decoded, Planes& planes, const char*& trouble)
{
    Dav1dSettings settings;
    dav1d_default_settings(&settings);
    settings.n_threads = picture.threads;
    settings.max_frame_delay = 1;
    settings.all_layers = 0;
    settings.frame_size_limit =
        static_cast<unsigned>(std::clamp<std::uint64_t>(picture.mostPixels, 1, std::numeric_limits<int>::max()));
    settings.logger.cookie = nullptr;
    settings.logger.callback = nullptr;
    if (dav1d_open(&decoded.av1, &settings) != 0) {
        trouble = "no memory for the decoder";
        return false;
    }
    Dav1dData data{};
    std::uint8_t* const copy = dav1d_data_create(&data, picture.size);
    if (copy == nullptr) {
        trouble = "no memory for the decoder";
        return false;
    }
    std::memcpy(copy, picture.data, picture.size);
    int result = DAV1D_ERR(EAGAIN);
    while (result == DAV1D_ERR(EAGAIN) && !isUnwanted(picture)) {
        const bool isLast = data.sz == 0;
        if (!isLast) {
            result = dav1d_send_data(decoded.av1, &data);
            if (result != 0 && result != DAV1D_ERR(EAGAIN))
                break;
        }
        result = dav1d_get_picture(decoded.av1, &decoded.picture);
        if (isLast && result == DAV1D_ERR(EAGAIN))
            result = DAV1D_ERR(ENOENT);
    }
    if (data.sz > 0)
        dav1d_data_unref(&data);
    if (result != 0) {
        trouble = result == DAV1D_ERR(EAGAIN)   ? unwanted
                  : result == DAV1D_ERR(ENOENT) ? "there is no picture in its data"
                  : result == DAV1D_ERR(ERANGE) ? tooLarge
                  : result == DAV1D_ERR(ENOMEM) ? "no memory for the decoder"
                                                : "its data cannot be decoded";
        return false;
    }
    const Dav1dPicture& done = decoded.picture;
    planes.width = done.p.w;
    planes.height = done.p.h;
    planes.bits = done.p.bpc;
    planes.hasColor = done.p.layout != DAV1D_PIXEL_LAYOUT_I400;
    planes.chromaShiftX = done.p.layout == DAV1D_PIXEL_LAYOUT_I420 || done.p.layout == DAV1D_PIXEL_LAYOUT_I422 ? 1 : 0;
    planes.chromaShiftY = done.p.layout == DAV1D_PIXEL_LAYOUT_I420 ? 1 : 0;
    for (int channel = 0; channel < (planes.hasColor ? 3 : 1); ++channel) {
        planes.data[channel] = static_cast<const std::uint8_t*>(done.data[channel]);
        planes.stride[channel] = done.stride[channel == 0 ? 0 : 1];
    }
    planes.primaries = done.seq_hdr->pri;
    planes.transfer = done.seq_hdr->trc;
    planes.matrix = done.seq_hdr->mtrx;
    planes.isFullRange = done.seq_hdr->color_range != 0;
    return true;
}

Decoded* decode(const CodedPicture& picture, Planes& planes, const char*& trouble)
{
    std::unique_ptr<Decoded> decoded(new (std::nothrow) Decoded);
    trouble = "no memory for the decoder";
    if (!decoded || picture.size == 0)
        return nullptr;
    bool good = false;
    if (picture.coding == Coding::hevc) // libde265 tells of faults in parameter sets on standard error
        runApart([&] { good = decodeHevc(picture, *decoded, planes, trouble); });
    else
        good = decodeAv1(picture, *decoded, planes, trouble);
    return good ? decoded.release() : nullptr;
}

void release(Decoded* decoded)
{
    delete decoded;
}

constexpr Api api = {decode, release};

} // namespace
} // namespace zel::heif

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::heif::Api::version, &zel::heif::api};
}
