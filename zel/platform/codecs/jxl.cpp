#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/codecs/modules/jxl_module.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <new>

// JPEG XL (ISO/IEC 18181), a bare codestream or in boxes, through libjxl in a module. It decodes no rows, only whole
// pictures: opening one reads its header and profile, but proves nothing of its pixels.
namespace zel {
namespace {

constexpr std::string_view name = "JPEG XL";
constexpr std::uint32_t mostExtraChannels = 4096;             // that the format has
constexpr std::uint64_t mostPixels = std::uint64_t{1} << 27U; // it cannot be stopped at any moment

/// Smaller pictures are decoded before a second thread has begun to help.
int threadsFor(const PictureFacts& facts)
{
    constexpr std::int64_t threadsFrom = std::int64_t{256} << 10U;
    return std::int64_t{facts.layout.width} * facts.layout.height < threadsFrom ? 1 : engine::concurrency();
}

const jxl::Api* module()
{
    return openModule<jxl::Api>("jxl", "zelimaging-jxl");
}

using Reader = std::unique_ptr<jxl::Reader, void (*)(jxl::Reader*)>;

Absent failWith(jxl::Status status)
{
    switch (status) {
    case jxl::Status::needsMore:
        return fail(ZelFailureCode::truncated, "decode", "JPEG XL: the file ends early, nothing of it can be shown");
    case jxl::Status::outOfMemory:
        return fail(ZelFailureCode::outOfMemory, "decode", "JPEG XL: no memory to decode with");
    default:
        return fail(ZelFailureCode::unreadable, "decode", "JPEG XL: the data are damaged");
    }
}

class JxlPicture final : public SourcePicture {
public:
    JxlPicture(Ref<const ByteSource> source, PictureFacts facts)
        : SourcePicture(name, std::move(source), std::move(facts))
    {
    }
    [[nodiscard]] bool usesSecondThread() const override { return threadsFor(facts()) > 1; }

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override;
};

bool JxlPicture::decodeRows(const Delivery& delivery) const
{
    const jxl::Api* const api = module();
    if (api == nullptr)
        return false;
    const WholeBytes bytes(source());
    jxl::Header header;
    jxl::Status status = jxl::Status::good;
    const Reader reader(api->open(bytes.bytes().data(), bytes.bytes().size(), status, header), api->close);
    const CGImage::Layout& layout = facts().layout;
    if (!reader || status != jxl::Status::good || header.width != static_cast<std::uint32_t>(layout.width) ||
        header.height != static_cast<std::uint32_t>(layout.height))
        return failWith(status);
    engine::PixelBuffer buffer(layout.width, layout.height, delivery.bytesPerPixel());
    if (buffer.empty())
        throw std::bad_alloc();
    std::memset(buffer.pixels().data, 0, buffer.sizeInBytes());
    const auto goOn = [](void* context, double fraction) {
        return static_cast<const Delivery*>(context)->mayGoOn(fraction);
    };
    status = api->decode(reader.get(), layout.bitsPerComponent == 16, buffer.pixels().data, buffer.sizeInBytes(),
                         threadsFor(facts()), goOn, const_cast<Delivery*>(&delivery));
    if (status == jxl::Status::stopped)
        return false;
    if (status != jxl::Status::good && status != jxl::Status::partial)
        return failWith(status);
    if (status == jxl::Status::partial)
        warn(ZelFailureCode::truncated, "decode",
             "JPEG XL: the file ends early, parts of the picture are missing or coarse");
    return delivery.deliver(0, buffer.pixels());
}

bool isAllowed(const jxl::Header& header)
{
    if (header.hasBlack)
        return fail(ZelFailureCode::unsupported, "decode", "JPEG XL: the inks of a print (CMYK) are not handled");
    // Samples are decoded to 32 bits each, of all channels, beside the picture.
    const std::uint32_t channels = (header.isGray ? 1 : 3) + std::min(header.extraChannels, mostExtraChannels);
    const int bytesPerPixel = (header.bitsPerSample > 8 ? 8 : 4) + static_cast<int>(4 * channels);
    if (!withinDecodeLimits(header.width, header.height, bytesPerPixel, "decode"))
        return false;
    const std::uint64_t pixels = std::uint64_t{header.width} * header.height;
    // A host that raises the limit means it.
    const std::uint64_t limit = ZelLimits::current().pixels, usual = ZelLimits().pixels;
    const std::uint64_t most = limit > usual ? limit : mostPixels;
    return pixels <= most || fail(ZelFailureCode::limit, "decode",
                                  fmt::format("JPEG XL: {} x {} are {} pixels, the limit is {}", header.width,
                                              header.height, pixels, most));
}

bool recognises(std::span<const std::uint8_t> head)
{
    constexpr std::array<std::uint8_t, 12> boxed = {0, 0, 0, 12, 'J', 'X', 'L', ' ', 13, 10, 0x87, 10};
    if (head.size() >= boxed.size() && std::equal(boxed.begin(), boxed.end(), head.begin()))
        return true;
    return head.size() >= 3 && head[0] == 0xFF && head[1] == 0x0A;
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    const jxl::Api* const api = module();
    if (api == nullptr)
        return nullptr;
    const WholeBytes bytes(*source);
    jxl::Header header;
    jxl::Status status = jxl::Status::good;
    const Reader reader(api->open(bytes.bytes().data(), bytes.bytes().size(), status, header), api->close);
    if (!reader || status != jxl::Status::good)
        return failWith(status);
    if (!isAllowed(header))
        return nullptr;
    PictureFacts facts;
    facts.layout.width = static_cast<int>(header.width);
    facts.layout.height = static_cast<int>(header.height);
    facts.layout.bitsPerComponent = header.bitsPerSample > 8 ? 16 : 8;
    facts.hasAlpha = header.hasAlpha;
    facts.layout.alphaInfo = !header.hasAlpha         ? CGAlphaInfo::noneSkipLast
                             : header.isPremultiplied ? CGAlphaInfo::premultipliedLast
                                                      : CGAlphaInfo::last;
    facts.layout.isGray = header.isGray;
    std::size_t profileSize = 0;
    if (const std::uint8_t* const profile = api->profile(reader.get(), profileSize))
        facts.layout.colorSpace = CGColorSpace::fromProfile(
            Data(std::vector<std::uint8_t>(profile, profile + profileSize)), header.isGray ? 1 : 3, "decode");
    // The orientation is the codestream's own; that of EXIF only repeats it.
    if (header.orientation >= 1 && header.orientation <= 8)
        facts.orientation = static_cast<Orientation>(header.orientation);
    const ExifFacts exif = readExifFacts(exifBlockOf(*source));
    facts.dpiX = plausibleDpi(exif.dpiX);
    facts.dpiY = plausibleDpi(exif.dpiY);
    facts.format = "jxl";
    facts.bits = static_cast<int>(header.bitsPerSample);
    if (header.isAnimation)
        facts.frames = api->countFrames(bytes.bytes().data(), bytes.bytes().size(), ZelLimits::current().frames);
    if (facts.frames > 1)
        warn(ZelFailureCode::unsupported, "decode",
             fmt::format("JPEG XL: only the first of {} frames is used", facts.frames));
    return std::make_shared<JxlPicture>(source, std::move(facts));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "JPEG XL: no memory to read the header with");
}

bool isInstalled()
{
    return module() != nullptr;
}

} // namespace

const Codec jxlCodec = {"jxl", "jxl", recognises, open, isInstalled};

} // namespace zel
