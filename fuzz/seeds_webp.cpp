#include "seeds.h"

#include <gif_lib.h>
#include <webp/encode.h>

// WebP and GIF, as their libraries write them.
namespace zel::seeds {
namespace {

Bytes rgba(int width, int height, bool hasAlpha)
{
    Bytes samples;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int channel = 0; channel < 4; ++channel)
                samples.push_back(static_cast<std::uint8_t>(channel == 3 && !hasAlpha ? 255 : sample(x, y, channel)));
    return samples;
}

Seed webp(const std::string& name, int width, int height, bool lossless, bool hasAlpha)
{
    const Bytes samples = rgba(width, height, hasAlpha);
    std::uint8_t* written = nullptr;
    const std::size_t size = lossless ? WebPEncodeLosslessRGBA(samples.data(), width, height, width * 4, &written)
                                      : WebPEncodeRGBA(samples.data(), width, height, width * 4, 70, &written);
    Seed seed{name, Bytes(written, written + size), width, height};
    WebPFree(written);
    return seed;
}

void append(Bytes& to, std::size_t size, std::uint32_t value)
{
    for (; size > 0; --size, value >>= 8)
        to.push_back(static_cast<std::uint8_t>(value));
}

/// Two frames, the first of which leaves a part of the canvas uncovered.
Seed animation()
{
    const Seed frame = webp("", 14, 10, true, true);
    const Bytes pixels(frame.bytes.begin() + 12, frame.bytes.end());
    Seed seed{"webp-animated", {}, 20, 16};
    const auto begin = [&](const char* type, std::size_t size) {
        for (int i = 0; i < 4; ++i)
            seed.bytes.push_back(static_cast<std::uint8_t>(type[i]));
        append(seed.bytes, 4, static_cast<std::uint32_t>(size));
    };
    begin("RIFF", 0);
    append(seed.bytes, 4, 0x50424557); // "WEBP"
    begin("VP8X", 10);
    append(seed.bytes, 4, 0x12);
    append(seed.bytes, 3, 19);
    append(seed.bytes, 3, 15);
    begin("ANIM", 6);
    append(seed.bytes, 4, 0xFFFFFFFF);
    append(seed.bytes, 2, 0);
    for (std::uint32_t place = 1; place <= 2; ++place) {
        begin("ANMF", 16 + pixels.size());
        append(seed.bytes, 3, place);
        append(seed.bytes, 3, place);
        append(seed.bytes, 3, 13);
        append(seed.bytes, 3, 9);
        append(seed.bytes, 4, 100);
        seed.bytes.insert(seed.bytes.end(), pixels.begin(), pixels.end());
    }
    return seed;
}

int appendBytes(GifFileType* file, const GifByteType* bytes, int count)
{
    auto& to = *static_cast<Bytes*>(file->UserData);
    to.insert(to.end(), bytes, bytes + count);
    return count;
}

struct Picture { // of GIF
    const char* name;
    int width, height;     // of the canvas
    int left = 0, top = 0; // what the frame leaves free on each side
    bool interlaced = false, hasClearColor = false;
    int frames = 1;
};

Seed gif(const Picture& picture)
{
    Seed seed{picture.name, {}, picture.width, picture.height};
    GifFileType* const file = EGifOpen(&seed.bytes, appendBytes, nullptr);
    GifColorType colors[16];
    for (int i = 0; i < 16; ++i)
        colors[i] = {static_cast<GifByteType>(sample(i, 0, 0)), static_cast<GifByteType>(sample(i, 1, 1)),
                     static_cast<GifByteType>(sample(i, 2, 2))};
    ColorMapObject* const map = GifMakeMapObject(16, colors);
    EGifSetGifVersion(file, true);
    EGifPutScreenDesc(file, picture.width, picture.height, 8, 0, map);
    const int width = picture.width - 2 * picture.left, height = picture.height - 2 * picture.top;
    for (int frame = 0; frame < picture.frames; ++frame) {
        const GraphicsControlBlock control = {DISPOSE_DO_NOT, false, 5,
                                              picture.hasClearColor ? 3 : NO_TRANSPARENT_COLOR};
        GifByteType block[4];
        EGifPutExtension(file, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(EGifGCBToExtension(&control, block)), block);
        EGifPutImageDesc(file, picture.left, picture.top, width, height, picture.interlaced, nullptr);
        for (int y = 0; y < height; ++y) {
            Bytes row;
            for (int x = 0; x < width; ++x)
                row.push_back(static_cast<std::uint8_t>(sample(x, y, frame) / 16));
            EGifPutLine(file, row.data(), width);
        }
    }
    GifFreeMapObject(map);
    EGifCloseFile(file, nullptr);
    return seed;
}

} // namespace

std::vector<Seed> webpSeeds()
{
    return {webp("webp-lossy", 33, 18, false, false), webp("webp-lossy-alpha", 16, 17, false, true),
            webp("webp-lossless", 24, 15, true, true), animation()};
}

std::vector<Seed> gifSeeds()
{
    return {gif({"gif-plain", 23, 12}), gif({"gif-interlaced-clear", 18, 21, 0, 0, true, true}),
            gif({"gif-frames", 16, 14, 2, 3, false, false, 3})};
}

} // namespace zel::seeds
