// Pictures of every layout to bytes and back: the input's bytes choose the layout and are the pixels.
#include "decode_checks.h"
#include "target.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

using namespace zel;
using fuzz::require;

constexpr CGAlphaInfo orders[] = {
    CGAlphaInfo::noneSkipLast, CGAlphaInfo::noneSkipFirst,     CGAlphaInfo::last,
    CGAlphaInfo::first,        CGAlphaInfo::premultipliedLast, CGAlphaInfo::premultipliedFirst};

bool hasAlpha(CGAlphaInfo info)
{
    return info != CGAlphaInfo::noneSkipLast && info != CGAlphaInfo::noneSkipFirst;
}

bool isPremultiplied(CGAlphaInfo info)
{
    return info == CGAlphaInfo::premultipliedLast || info == CGAlphaInfo::premultipliedFirst;
}

bool alphaComesFirst(CGAlphaInfo info)
{
    return info == CGAlphaInfo::first || info == CGAlphaInfo::premultipliedFirst || info == CGAlphaInfo::noneSkipFirst;
}

/// Straight red, green, blue, alpha of every pixel, 0...1: an independent reading of any layout.
std::vector<double> straight(const CGImage& image)
{
    const CGImage::Layout& layout = image.layout();
    const std::span<const std::uint8_t> bytes = image.bytes();
    const int first = alphaComesFirst(layout.alphaInfo) ? 1 : 0, alphaAt = first == 1 ? 0 : 3;
    const double full = layout.bitsPerComponent == 8 ? 255 : 65535;
    std::vector<double> values;
    for (int y = 0; y < layout.height; ++y) {
        for (int x = 0; x < layout.width; ++x) {
            const auto component = [&](int index) {
                const std::size_t size = static_cast<std::size_t>(layout.bitsPerComponent) / 8;
                const std::size_t at =
                    image.bytesPerRow() * static_cast<std::size_t>(y) + static_cast<std::size_t>(x * 4 + index) * size;
                std::uint16_t value = bytes[at];
                if (size == 2)
                    std::memcpy(&value, bytes.data() + at, 2);
                return value / full;
            };
            const double alpha = hasAlpha(layout.alphaInfo) ? component(alphaAt) : 1;
            for (int channel = 0; channel < 3; ++channel) {
                const double value = component(first + channel);
                values.push_back(!isPremultiplied(layout.alphaInfo) ? value
                                 : alpha > 0                        ? std::min(1.0, value / alpha)
                                                                    : 0);
            }
            values.push_back(alpha);
        }
    }
    return values;
}

Ref<const CGImage> makePicture(fuzz::Choices& choices)
{
    CGImage::Layout layout;
    layout.width = choices.number(1, 40);
    layout.height = choices.number(1, 40);
    layout.bitsPerComponent = choices.byte() % 3 == 0 ? 16 : 8;
    layout.alphaInfo = orders[choices.byte() % 6];
    const std::size_t bytesPerPixel = static_cast<std::size_t>(layout.bitsPerComponent) / 2;
    const std::size_t stride =
        static_cast<std::size_t>(layout.width) * bytesPerPixel + choices.byte() % 9 * bytesPerPixel;
    std::vector<std::uint8_t> bytes(stride * static_cast<std::size_t>(layout.height));
    std::uint8_t before = 0;
    for (std::uint8_t& byte : bytes)
        byte = before = choices.any() ? choices.byte() : static_cast<std::uint8_t>(before + 3);
    if (isPremultiplied(layout.alphaInfo)) {
        // No colour above its alpha: such a pixel has no straight form.
        const std::size_t size = bytesPerPixel / 4, alphaAt = alphaComesFirst(layout.alphaInfo) ? 0 : 3;
        for (std::size_t pixel = 0; pixel + bytesPerPixel <= bytes.size(); pixel += bytesPerPixel) {
            const auto value = [&](std::size_t index) {
                std::uint16_t number = bytes[pixel + index * size];
                if (size == 2)
                    std::memcpy(&number, bytes.data() + pixel + index * 2, 2);
                return number;
            };
            for (std::size_t index = 0; index < 4; ++index) {
                if (value(index) > value(alphaAt))
                    std::memcpy(bytes.data() + pixel + index * size, bytes.data() + pixel + alphaAt * size, size);
            }
        }
    }
    return CGImage::make(layout, Data(std::move(bytes)), stride);
}

Ref<const CGImage> readBack(const std::optional<Data>& encoded, const CGImage& original)
{
    require(encoded.has_value(), "an encoded picture");
    require(checks::problemOfDecoding(encoded->span()));
    Ref<const CGImage> image = CGImage::make(openPicture(ByteSource::of(*encoded)));
    require(image != nullptr, "a picture when it is read back");
    require(image->width() == original.width() && image->height() == original.height(), "the size that was written");
    return image;
}

/// Lossless formats: alpha and every colour come back exactly, or within one step where premultiplied colours are
/// divided.
void requireSame(const CGImage& original, const CGImage& back)
{
    const std::vector<double> before = straight(original), after = straight(back);
    const double step = 1.0 / (original.layout().bitsPerComponent == 8 ? 255 : 65535);
    for (std::size_t i = 0; i < before.size(); i += 4) {
        const double alpha = before[i + 3];
        require(std::abs(alpha - after[i + 3]) < step / 4, "the same alpha");
        const bool divided = isPremultiplied(original.layout().alphaInfo) || isPremultiplied(back.layout().alphaInfo);
        for (std::size_t channel = 0; channel < 3 && alpha > 0; ++channel) {
            const double allowed = divided ? step / alpha * 1.01 : step / 4;
            require(std::abs(before[i + channel] - after[i + channel]) <= allowed, "the same colours");
        }
    }
}

void tryJpeg(const Ref<const CGImage>& picture, double quality)
{
    const Ref<JpegEncoder> encoder = JpegEncoder::make(picture);
    require(encoder != nullptr, "a JPEG encoder for every picture");
    const std::optional<Data> encoded = encoder->encode(quality), again = encoder->encode(quality);
    require(encoded == again, "the same bytes for the same quality");
    require(encoder->countBytes(quality) == encoded->size(), "as many bytes as were counted");
    static constexpr std::uint8_t jfif[] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0};
    require(encoded->size() > sizeof jfif && std::equal(std::begin(jfif), std::end(jfif), encoded->data()),
            "JFIF first");
    const Ref<const CGImage> back = readBack(encoded, *picture);
    require(!hasAlpha(back->layout().alphaInfo), "a JPEG without alpha");
    if (quality < 1)
        return;
    // The best quality rounds coefficients alone: laid over white, colours stay near.
    const std::vector<double> before = straight(*picture), after = straight(*back);
    for (std::size_t i = 0; i < before.size(); ++i) {
        const double alpha = before[i / 4 * 4 + 3], wanted = i % 4 == 3 ? 1 : before[i] * alpha + 1 - alpha;
        require(std::abs(wanted - after[i]) < 12 / 255.0, "nearly the same colours at the best quality");
    }
}

/// The picture with its first colour in all three.
Ref<const CGImage> grayed(const CGImage& image)
{
    std::vector<std::uint8_t> bytes(image.bytes().begin(), image.bytes().end());
    const std::size_t pixel = static_cast<std::size_t>(image.layout().bitsPerComponent) / 2, size = pixel / 4;
    const std::size_t first = alphaComesFirst(image.layout().alphaInfo) ? size : 0;
    for (std::size_t at = 0; at + pixel <= bytes.size(); at += pixel)
        for (std::size_t index = 1; index < 3; ++index)
            std::memcpy(bytes.data() + at + first + index * size, bytes.data() + at + first, size);
    return CGImage::make(image.layout(), Data(std::move(bytes)), image.bytesPerRow());
}

/// Differences of colours are halved, so that grey alone comes back nearly as it was.
void tryHeif(const Ref<const CGImage>& colored, const HeifOptions& options, double quality)
{
    const Ref<const CGImage> picture = grayed(*colored);
    const Ref<HeifEncoder> encoder = HeifEncoder::make(picture, options);
    require(encoder != nullptr, "a HEIF encoder for every picture");
    const std::optional<Data> encoded = encoder->encode(quality);
    require(encoded == encoder->encode(quality), "the same bytes for the same quality");
    const Ref<const CGImage> back = readBack(encoded, *picture);
    const bool keepsAlpha = hasAlpha(picture->layout().alphaInfo) && options.bits == 8;
    require(back->facts()->bits == options.bits, "the depth that was asked for");
    require(hasAlpha(back->layout().alphaInfo) == keepsAlpha, "alpha where there was some");
    if (quality < 1)
        return;
    const std::vector<double> before = straight(*picture), after = straight(*back);
    for (std::size_t i = 0; i < before.size(); ++i) {
        const double alpha = before[i / 4 * 4 + 3];
        if (i % 4 == 3)
            require(std::abs((keepsAlpha ? alpha : 1) - after[i]) < 12 / 255.0, "nearly the same alpha");
        else if (alpha > 0.25)
            require(std::abs(before[i] - after[i]) < 16 / 255.0, "nearly the same grey at the best quality");
    }
}

/// Laid over white, and otherwise every colour; two roundings where it was to be premultiplied.
void tryPnm(const Ref<const CGImage>& picture)
{
    const Ref<const CGImage> back = readBack(encodePnm(picture), *picture);
    require(back->layout().bitsPerComponent == picture->layout().bitsPerComponent, "the depth of the picture");
    const std::vector<double> before = straight(*picture), after = straight(*back);
    const double step = 1.0 / (picture->layout().bitsPerComponent == 8 ? 255 : 65535);
    for (std::size_t i = 0; i < before.size(); ++i) {
        const double alpha = before[i / 4 * 4 + 3], wanted = i % 4 == 3 ? 1 : before[i] * alpha + 1 - alpha;
        require(std::abs(wanted - after[i]) < 1.01 * step, "the colours over white");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ZelLimits::Scope scope(checks::tightLimits());
    fuzz::Choices choices(data, size);
    const int format = choices.byte() % 7;
    const double quality = choices.byte() % 3 == 0 ? 1 : choices.fraction();
    const double dpi = choices.byte();
    const Ref<const CGImage> picture = makePicture(choices);
    require(picture != nullptr, "a picture of sound bytes");
    if (format == 0)
        requireSame(*picture,
                    *readBack(encodePng(picture, {.dpiX = dpi, .dpiY = dpi, .smallest = size % 8 == 0}), *picture));
    else if (format == 1)
        requireSame(*picture, *readBack(encodeTiff(picture, {.dpiX = dpi, .dpiY = dpi}), *picture));
    else if (format == 4)
        tryPnm(picture);
    else if (format == 5)
        tryHeif(picture, {.bits = size % 4 == 0 ? 10 : 8}, quality);
    else if (format == 6)
        tryHeif(picture, {.coding = heif::Coding::av1}, quality);
    else
        tryJpeg(picture, quality);
    return 0;
}
