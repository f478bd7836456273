#include "zel_lab.h"

#include <zel/engine/fill.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/image_rows.h>

#include <cstring>
#include <utility>

namespace zel::lab {
namespace {

Data readData(const Arguments& arguments)
{
    const std::string text = readFile(arguments.text("in"));
    return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
}

// in=FILE reduce=1|2|4|8: all rows into fresh memory, or with keep=0 into nothing.
void decode(const Arguments& arguments)
{
    const auto source = ByteSource::of(readData(arguments));
    const int denominator = arguments.number("reduce", 1);
    const bool keep = arguments.number("keep", 1) != 0;
    engine::PixelBuffer pixels;
    measure([&] {
        const auto provider = openPicture(source);
        if (!provider)
            giveUp(ZelFailure::last().message);
        const CGImage::Layout& layout = provider->facts().layout;
        const auto reduced = [denominator](int side) { return (side + denominator - 1) / denominator; };
        pixels = {};
        if (keep)
            pixels = engine::PixelBuffer(reduced(layout.width), reduced(layout.height));
        if (!decodeBeside(*provider, {.denominator = denominator}, [&](int first, const engine::ConstPixels& rows) {
                return !keep || engine::copy(rows, pixels.pixels().rows(first, rows.height));
            }))
            giveUp("not decoded");
    });
    if (keep)
        writeResult(arguments, std::as_const(pixels).pixels());
}

// Only what opening costs.
void open(const Arguments& arguments)
{
    const auto source = ByteSource::of(readData(arguments));
    measure([&] {
        if (!openPicture(source))
            giveUp(ZelFailure::last().message);
    });
}

Ref<const CGImage> readImage(const Arguments& arguments)
{
    engine::PixelBuffer pixels = readPicture(arguments);
    const engine::ConstPixels view = std::as_const(pixels).pixels();
    return makeImage({view.width, view.height, 8, CGAlphaInfo::noneSkipLast, nullptr, false}, std::move(pixels));
}

// in=FILE w= h= quality=0…100
void encode(const Arguments& arguments)
{
    const auto image = readImage(arguments);
    const double quality = arguments.number("quality", 85) / 100.0;
    std::optional<Data> file;
    measure([&] { file = encodeJpeg(image, quality); });
    if (file)
        writeResult(arguments, file->data(), file->size());
}

// What a search for a size does again and again; with planes=1 what it does once.
void count(const Arguments& arguments)
{
    const auto image = readImage(arguments);
    const double quality = arguments.number("quality", 50) / 100.0;
    if (arguments.number("planes", 0) != 0)
        return measure([&] { (void)JpegEncoder::make(image); });
    const auto encoder = JpegEncoder::make(image);
    measure([&] { (void)encoder->countBytes(quality); });
}

const Operation operations[] = {
    {"m-jpeg-decode", decode}, {"m-jpeg-open", open}, {"m-jpeg-encode", encode}, {"m-jpeg-count", count}};

} // namespace
} // namespace zel::lab
