#include <zel/io/encode.h>

#include <zel/io/size_search.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/filters/heif_representation.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>

namespace zel {
namespace {

struct Resolution {
    double dpiX = 0, dpiY = 0;
};

/// One pixel a point is 72 dots an inch; a size without area records nothing.
Resolution resolutionOf(const CGImage& image, CGSize points)
{
    if (!(points.width > 0 && points.height > 0))
        return {};
    return {image.width() * 72.0 / points.width, image.height() * 72.0 / points.height};
}

/// Writes what an encoder gave; where it gave nothing, the old file goes too.
bool saveEncoded(const std::optional<Data>& bytes, const URL& file)
{
    if (!bytes) {
        removeTarget(file);
        return false;
    }
    return writeAtomically(
        file, bytes->span(),
        {.operation = "save", .followLink = false, .createFolders = true, .absentAfterFailure = true});
}

/// The same for HEIF: what stood there stays where anything fails.
bool saveBeside(const std::optional<Data>& bytes, const URL& file)
{
    return bytes && writeAtomically(
                        file, bytes->span(),
                        {.operation = "save", .followLink = true, .createFolders = false, .absentAfterFailure = false});
}

/// The density fields of the JFIF header, which stands first in what we write.
void recordResolution(Data& jpeg, std::int64_t dpi)
{
    static constexpr std::array<std::uint8_t, 5> identifier{'J', 'F', 'I', 'F', 0};
    std::vector<std::uint8_t> bytes(jpeg.data(), jpeg.data() + jpeg.size());
    if (bytes.size() < 18 || !std::equal(identifier.begin(), identifier.end(), bytes.begin() + 6))
        return;
    const auto high = static_cast<std::uint8_t>((dpi >> 8) & 0xFF), low = static_cast<std::uint8_t>(dpi & 0xFF);
    bytes[13] = 1; // dots an inch
    bytes[14] = bytes[16] = high;
    bytes[15] = bytes[17] = low;
    jpeg = Data(std::move(bytes));
}

bool saveJpeg(std::optional<Data> bytes, std::optional<std::int64_t> dpi, const URL& file)
{
    if (bytes && dpi)
        recordResolution(*bytes, *dpi);
    return saveEncoded(bytes, file);
}

std::optional<Data> tiffData(const Ref<ZelImage>& image)
{
    if (!image->image)
        return failAbsentInput("encode TIFF");
    const Ref<const CGImage> pixels = image->image->cgImage();
    if (!pixels)
        return std::nullopt;
    const Resolution resolution = resolutionOf(*pixels, image->image->size());
    return encodeTiff(pixels, {.dpiX = resolution.dpiX, .dpiY = resolution.dpiY});
}

} // namespace

std::optional<Data> pngData(const Ref<ZelImage>& image, PngSize points)
{
    if (!image || !image->image)
        return failAbsentInput("encode PNG");
    const Ref<const CGImage> pixels = image->image->cgImage();
    if (!pixels)
        return std::nullopt;
    const Resolution resolution = resolutionOf(*pixels, points.size.value_or(image->image->size()));
    return encodePng(pixels, {.dpiX = resolution.dpiX, .dpiY = resolution.dpiY});
}

std::optional<Data> jpegData(const Ref<ZelImage>& image, Quality quality)
{
    if (!image)
        return failAbsentInput("encode JPEG");
    const Ref<NSBitmapImageRep> rep = image->bitmapRep();
    const Ref<JpegEncoder> encoder = rep ? JpegEncoder::make(rep->cgImage()) : nullptr;
    return encoder ? encoder->encode(quality.quality) : std::nullopt;
}

const CIContext& heifDataCIContext()
{
    static const CIContext& context = *new CIContext; // never destroyed
    return context;
}

Ref<HeifEncoder> heifEncoderOf(const Ref<ZelImage>& image, bool useAlpha, heif::Coding coding)
{
    if (!image)
        return failAbsentInput("encode HEIF");
    if (!useAlpha && image->cgImage)
        return HeifEncoder::make(image->cgImage, {.coding = coding});
    const Ref<const CIImage> filtered = image->ciImage();
    if (!filtered)
        return nullptr;
    const bool isDeep = !useAlpha && coding == heif::Coding::hevc;
    return heifRepresentation(heifDataCIContext(), filtered, isDeep ? HeifFormat::rgb10 : HeifFormat::rgba8, coding);
}

std::optional<Data> heifData(const Ref<ZelImage>& image, HeifQuality how)
{
    const Ref<HeifEncoder> encoder = heifEncoderOf(image, how.useAlpha, heif::Coding::hevc);
    return encoder ? encoder->encode(how.quality) : std::nullopt;
}

std::optional<Data> avifData(const Ref<ZelImage>& image, HeifQuality how)
{
    const Ref<HeifEncoder> encoder = heifEncoderOf(image, how.useAlpha, heif::Coding::av1);
    return encoder ? encoder->encode(how.quality) : std::nullopt;
}

std::optional<Data> heifData(const Ref<ZelImage>&, HeifFrom what)
{
    if (!what.from)
        return failAbsentInput("encode HEIF");
    const Ref<HeifEncoder> encoder = HeifEncoder::make(what.from);
    return encoder ? encoder->encode(what.quality) : std::nullopt;
}

bool saveAsHEIF(const Ref<ZelImage>& image, SaveHeif how)
{
    return image ? saveBeside(heifData(image, {.quality = how.quality, .useAlpha = how.useAlpha}), how.to)
                 : failAbsentInput("save");
}

bool saveAsHEIF(const Ref<ZelImage>& image, SaveHeifDesiredSize how)
{
    return image ? saveBeside(heifWithin(image, how.desiredSize, SizeRule::nearest, how.useAlpha, heif::Coding::hevc),
                              how.to)
                 : failAbsentInput("save");
}

bool saveToPNG(const Ref<ZelImage>& image, SaveUrl file)
{
    return image ? saveEncoded(pngData(image), file.url) : failAbsentInput("save");
}

bool saveToJpeg(const Ref<ZelImage>& image, SaveJpeg how)
{
    return image ? saveJpeg(jpegData(image, {.quality = how.quality}), how.dpi, how.url) : failAbsentInput("save");
}

bool saveToJpeg(const Ref<ZelImage>& image, SaveJpegMaxSize how)
{
    return image ? saveJpeg(jpegWithin(image, how.maxSize, SizeRule::nearest), how.dpi, how.toUrl)
                 : failAbsentInput("save");
}

namespace ZelImageHelper {

bool saveToJpeg(const Ref<ZelImage>& image, SaveJpeg how)
{
    return zel::saveToJpeg(image, std::move(how));
}

bool saveToJpeg(const Ref<ZelImage>& image, JpegDesiredSize how)
{
    return zel::saveToJpeg(image,
                           SaveJpegMaxSize{.toUrl = std::move(how.toUrl), .dpi = how.dpi, .maxSize = how.desiredSize});
}

bool saveToPNG(const Ref<ZelImage>& image, ToUrl file)
{
    return zel::saveToPNG(image, {.url = std::move(file.toUrl)});
}

bool saveToTIFF(const Ref<ZelImage>& image, ToUrl file)
{
    return image ? saveEncoded(tiffData(image), file.toUrl) : failAbsentInput("save");
}

} // namespace ZelImageHelper
} // namespace zel
