#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/tiff_bands.h>
#include <zel/platform/codecs/tiff_directories.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <new>

// TIFF (revision 6.0, its technical notes, and the form with 64-bit offsets), the first directory's picture.
namespace zel {
namespace {

constexpr std::uint64_t mostBytesAtOnce = std::uint64_t{256} << 20U; // of a row or a tile, as for libtiff's own memory
constexpr double centimetresPerInch = 2.54;

class TiffPicture final : public PixelProvider {
public:
    explicit TiffPicture(tiff::Picture picture) : picture_(std::move(picture)) {}
    [[nodiscard]] const PictureFacts& facts() const override { return picture_.facts; }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override;

private:
    tiff::Picture picture_;
};

bool TiffPicture::decode(const Request& request, const RowSink& sink) const
{
    const int height = picture_.facts.layout.height;
    if (request.denominator != 1)
        return fail(ZelFailureCode::invalidArgument, "decode", "TIFF: no reduced sizes");
    const int first = std::clamp(request.firstRow, 0, height);
    const int end = request.rowCount < 0 ? height : first + std::min(request.rowCount, height - first);
    if (first == end)
        return true;
    const SubjectScope subject(picture_.source->subject());
    try {
        return decodeRows(picture_, first, end, sink);
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "decode", "TIFF: no memory to decode with");
    }
}

/// Sides, row and tile within what is allowed, before anything of their size is allocated.
bool isAllowed(const tiff::Header& header, const tiff::Samples& samples)
{
    if (header.width == 0 || header.height == 0)
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("TIFF: {} x {} pixels make no picture", header.width, header.height));
    if (header.width > 0x7FFFFFFF || header.height > 0x7FFFFFFF)
        return fail(ZelFailureCode::limit, "decode",
                    fmt::format("TIFF: {} x {} pixels are more than can be handled", header.width, header.height));
    if (!withinDecodeLimits(header.width, header.height, samples.bitsPerComponent() == 16 ? 8 : 4, "decode"))
        return false;
    if (header.rowBytes == 0 || (header.tileWidth > 0 && header.tileBytes == 0))
        return fail(ZelFailureCode::unreadable, "decode", "TIFF: the sizes of its rows or tiles make no sense");
    if (std::max(header.rowBytes, header.tileBytes) > mostBytesAtOnce)
        return fail(ZelFailureCode::limit, "decode",
                    fmt::format("TIFF: a row or tile of {} bytes exceeds the limit of {}",
                                std::max(header.rowBytes, header.tileBytes), mostBytesAtOnce));
    return true;
}

/// What is unpacked lies within the rows and tiles that libtiff delivers.
bool isConsistent(const tiff::Header& header, const tiff::Samples& samples)
{
    if (samples.colors == tiff::Colors::byLibtiff)
        return true;
    const std::uint64_t width = header.tileWidth > 0 ? header.tileWidth : header.width;
    const std::uint64_t perPlane = samples.separate ? 1 : static_cast<std::uint64_t>(samples.perPixel);
    const std::uint64_t needed = (width * perPlane * static_cast<std::uint64_t>(samples.bits) + 7) / 8;
    return (header.rowBytes >= needed &&
            (header.tileWidth == 0 || header.tileBytes / header.rowBytes >= header.tileHeight)) ||
           fail(ZelFailureCode::unreadable, "decode", "TIFF: its figures contradict one another");
}

void readResolution(const tiff::Header& header, PictureFacts& facts)
{
    constexpr unsigned inch = 2, centimetre = 3;
    const double perInch = header.resolutionUnit == inch         ? 1
                           : header.resolutionUnit == centimetre ? centimetresPerInch
                                                                 : 0;
    facts.dpiX = plausibleDpi(static_cast<double>(header.xResolution) * perInch);
    facts.dpiY = plausibleDpi(static_cast<double>(header.yResolution) * perInch);
}

Ref<const CGColorSpace> profileOf(const tiff::Header& header, const tiff::Samples& samples)
{
    if (header.profileSize == 0 || samples.colors == tiff::Colors::lab)
        return nullptr;
    const auto* const bytes = static_cast<const std::uint8_t*>(header.profile);
    const int channels = samples.colors == tiff::Colors::gray ? 1 : samples.colors == tiff::Colors::cmyk ? 4 : 3;
    return CGColorSpace::fromProfile(Data(std::vector<std::uint8_t>(bytes, bytes + header.profileSize)), channels,
                                     "decode");
}

bool fillFacts(const tiff::File& file, tiff::Picture& picture)
{
    const tiff::Header& header = file.header();
    PictureFacts& facts = picture.facts;
    facts.layout.width = static_cast<int>(header.width);
    facts.layout.height = static_cast<int>(header.height);
    facts.layout.bitsPerComponent = picture.samples.bitsPerComponent();
    facts.layout.alphaInfo = picture.samples.alphaInfo();
    facts.layout.isGray = picture.samples.colors == tiff::Colors::gray;
    const Ref<const CGColorSpace> profile = profileOf(header, picture.samples);
    if (picture.samples.colors == tiff::Colors::cmyk)
        picture.toRgb = ColorTransform::cmykToSrgb(profile);
    else
        facts.layout.colorSpace = profile;
    if (picture.samples.colors == tiff::Colors::byLibtiff) {
        bool hasAlpha = false;
        if (!file.api().beginRgba(file.reader(), hasAlpha))
            return fail(ZelFailureCode::unsupported, "decode",
                        fmt::format("TIFF: its colours cannot be read ({})", file.complaint()));
        facts.layout.alphaInfo = hasAlpha ? CGAlphaInfo::premultipliedLast : CGAlphaInfo::noneSkipLast;
    }
    if (header.orientation >= 1 && header.orientation <= 8)
        facts.orientation = static_cast<Orientation>(header.orientation);
    readResolution(header, facts);
    facts.format = "tiff";
    facts.bits = header.bitsPerSample;
    facts.hasAlpha = facts.layout.alphaInfo != CGAlphaInfo::noneSkipLast;
    const int most = std::clamp(ZelLimits::current().frames, 1, tiff::mostDirectories);
    facts.frames = std::max(1, tiff::countDirectories(*picture.source, most).count);
    if (facts.frames > 1)
        warn(ZelFailureCode::unsupported, "decode",
             fmt::format("TIFF: only the first of {} pages is used", facts.frames));
    return true;
}

bool firstRowDecodes(const tiff::Picture& picture)
{
    NotesOnTrial notes; // warnings come again when the picture is decoded
    if (decodeRows(picture, 0, 1, [](int, const engine::ConstPixels&) { return true; }))
        return true;
    notes.keep();
    return false;
}

bool recognises(std::span<const std::uint8_t> head)
{
    if (head.size() < 8 || head[0] != head[1])
        return false;
    const bool bigEndian = head[0] == 'M';
    if (!bigEndian && head[0] != 'I')
        return false;
    const int version = bigEndian ? head[2] * 256 + head[3] : head[3] * 256 + head[2];
    return version == 42 || version == 43;
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    const std::unique_ptr<tiff::File> file = tiff::File::open(source);
    if (!file)
        return nullptr;
    std::optional<tiff::Samples> samples = samplesOf(file->header());
    if (!samples || !isAllowed(file->header(), *samples) || !isConsistent(file->header(), *samples))
        return nullptr;
    tiff::Picture picture{source, {}, std::move(*samples), nullptr, file->header()};
    if (!fillFacts(*file, picture) || !firstRowDecodes(picture))
        return nullptr;
    return std::make_shared<TiffPicture>(std::move(picture));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "TIFF: no memory to read the directory with");
}

} // namespace

const Codec tiffCodec = {"tiff", "tif tiff", recognises, open};

} // namespace zel
