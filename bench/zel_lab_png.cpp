#include "zel_lab.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/graphics/image_rows.h>

namespace zel::lab {
namespace {

Data fileOf(const Arguments& arguments)
{
    const std::string bytes = readFile(arguments.text("in"));
    return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

/// A whole picture in memory, in the layout of its file.
const Operation decode("m-png-decode", [](const Arguments& arguments) {
    const auto source = ByteSource::of(fileOf(arguments));
    Ref<const CGImage> image;
    measure([&] {
        image = CGImage::make(openPicture(source));
        if (!image || image->bytes().empty())
            giveUp("cannot be decoded");
    });
    writeResult(arguments, image->bytes().data(), image->bytes().size());
});

/// Rows that are counted and forgotten: what decoding costs where a result is small.
const Operation stream("m-png-stream", [](const Arguments& arguments) {
    measure([&] {
        int rows = 0;
        const auto provider = openPicture(ByteSource::open(URL::file(arguments.text("in"))));
        const auto count = [&](int, const engine::ConstPixels& band) {
            rows += band.height;
            return true;
        };
        if (!provider || !provider->decode({}, count) || rows != provider->facts().layout.height)
            giveUp("cannot be decoded");
    });
});

/// RGBA rows with straight alpha to a file in memory.
const Operation encode("m-png-encode", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    const auto& pixels = from.pixels();
    CGImage::Layout layout;
    layout.width = pixels.width;
    layout.height = pixels.height;
    layout.alphaInfo = arguments.number("opaque", 0) != 0 ? CGAlphaInfo::noneSkipLast : CGAlphaInfo::last;
    const auto image = CGImage::make(
        layout, Data(std::vector<std::uint8_t>(pixels.data, pixels.data + from.sizeInBytes())), pixels.rowBytes());
    PngOptions options;
    options.smallest = arguments.number("smallest", 0) != 0;
    std::optional<Data> file;
    measure([&] {
        file = encodePng(image, options);
        if (!file)
            giveUp("cannot be encoded");
    });
    writeResult(arguments, file->data(), file->size());
});

/// Decoded and encoded again, rows flowing from one to the other.
const Operation again("m-png-again", [](const Arguments& arguments) {
    const auto source = ByteSource::of(fileOf(arguments));
    std::optional<Data> file;
    measure([&] {
        file = encodePng(CGImage::make(openPicture(source)), {});
        if (!file)
            giveUp("cannot be encoded");
    });
    writeResult(arguments, file->data(), file->size());
});

} // namespace
} // namespace zel::lab
