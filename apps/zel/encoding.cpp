#include "encoding.h"

#include "quantity.h"

#include <zel/io/encode.h>
#include <zel/io/size_search.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace zel::program {
namespace {

// Where further quality is hard to see and still costs bytes.
constexpr double defaultQuality = 85;
constexpr double mostDpi = 65'535;

Format readFormat(std::string_view text)
{
    if (const auto format = formatNamed(text))
        return *format;
    throw UnknownWord(text, writableFormatNames());
}

double readQuality(std::string_view text)
{
    return readNumber(text, 0, 100);
}

double readDpi(std::string_view text)
{
    return readNumber(text, 1, mostDpi);
}

/// The file with the resolution in its JFIF header, which our encoder puts first; bytes without one stay as they are.
Data withResolution(Data file, Resolution resolution)
{
    constexpr std::array<std::uint8_t, 9> marker = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I'};
    constexpr std::size_t unit = 13;
    if (file.size() < unit + 5 || !std::equal(marker.begin(), marker.end(), file.data()))
        return file;
    std::vector<std::uint8_t> jpeg(file.span().begin(), file.span().end());
    jpeg[unit] = 1; // dots per inch
    for (const auto& [at, dpi] : {std::pair(unit + 1, resolution.x), std::pair(unit + 3, resolution.y)}) {
        const auto dots = static_cast<unsigned>(std::clamp(std::round(dpi), 0.0, mostDpi));
        jpeg[at] = static_cast<std::uint8_t>(dots >> 8);
        jpeg[at + 1] = static_cast<std::uint8_t>(dots & 0xFF);
    }
    return Data(std::move(jpeg));
}

std::optional<Data> encodeJpeg(const Ref<ZelImage>& image, const EncodingOptions& options, Resolution resolution)
{
    auto bytes = options.maxBytes ? jpegWithin(image, *options.maxBytes, SizeRule::neverMore)
                                  : jpegData(image, {.quality = options.quality.value_or(defaultQuality) / 100});
    if (!bytes || resolution.x <= 0 || resolution.y <= 0)
        return bytes;
    return withResolution(std::move(*bytes), resolution);
}

bool hasAlpha(const CGImage& image)
{
    const auto alpha = image.layout().alphaInfo;
    return alpha != CGAlphaInfo::noneSkipLast && alpha != CGAlphaInfo::noneSkipFirst;
}

/// HEIF or AVIF as it is; to a wanted size with one point a pixel, so that what is reduced is the picture that was
/// given.
std::optional<Data> encodeHeif(const Ref<ZelImage>& image, const EncodingOptions& options, heif::Coding coding)
{
    if (options.maxBytes)
        return heifWithin(makeZelImage(image->cgImage), *options.maxBytes, SizeRule::neverMore,
                          hasAlpha(*image->cgImage), coding);
    const Ref<HeifEncoder> encoder = HeifEncoder::make(image->cgImage, {.coding = coding});
    return encoder ? encoder->encode(options.quality.value_or(defaultQuality) / 100) : std::nullopt;
}

} // namespace

void EncodingOptions::declare(Arguments& arguments)
{
    arguments.section("Encoding");
    arguments.value("--format", "NAME", format, readFormat,
                    fmt::format("{} (else the output's extension says, else the input)", writableFormats()));
    arguments.value("--quality", "Q", quality, readQuality, "of JPEG, HEIF and AVIF, 0 to 100 (85)");
    arguments.value("--max-bytes", "SIZE", maxBytes, readSize, "the best JPEG, HEIF or AVIF of at most so many bytes");
    arguments.value("--dpi", "N", dpi, readDpi, "the resolution to record (else the input's)");
}

void EncodingOptions::check(Format written) const
{
    if (quality && maxBytes)
        throw UsageError("--quality and --max-bytes exclude each other");
    if (maxBytes && written != Format::jpeg && written != Format::heif && written != Format::avif)
        throw UsageError(fmt::format("--max-bytes is for JPEG, HEIF and AVIF, the output is {}", formatName(written)),
                         "--format jpeg");
}

Resolution resolutionOf(const Ref<ZelImage>& image)
{
    const auto* const facts = image && image->cgImage ? image->cgImage->facts() : nullptr;
    if (facts == nullptr)
        return {};
    return swapsSides(facts->orientation) ? Resolution{facts->dpiY, facts->dpiX} : Resolution{facts->dpiX, facts->dpiY};
}

std::optional<Data> encodePicture(const Ref<ZelImage>& image, Format format, const EncodingOptions& options,
                                  Resolution kept)
{
    const auto resolution = options.dpi ? Resolution{*options.dpi, *options.dpi} : kept;
    if (!image || !image->cgImage)
        return std::nullopt;
    switch (format) {
    case Format::jpeg:
        return encodeJpeg(image, options, resolution);
    case Format::png:
        return encodePng(image->cgImage, {.dpiX = resolution.x, .dpiY = resolution.y});
    case Format::tiff:
        return encodeTiff(image->cgImage, {.dpiX = resolution.x, .dpiY = resolution.y});
    case Format::heif:
        return encodeHeif(image, options, heif::Coding::hevc);
    case Format::avif:
        return encodeHeif(image, options, heif::Coding::av1);
    case Format::pnm:
        return encodePnm(image->cgImage);
    }
    return std::nullopt;
}

} // namespace zel::program
