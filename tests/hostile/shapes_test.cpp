// Known shapes of hostile files, each made from a sound one: what their headers claim is refused before anything of
// that size is allocated or looked for.
#include "damage.h"
#include "seeds.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/failure.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace zel {
namespace {

using seeds::Bytes;

Bytes seedNamed(const std::string& name)
{
    for (seeds::Seed& seed : seeds::pictureSeeds())
        if (seed.name == name)
            return seed.bytes;
    return {};
}

Bytes patched(Bytes bytes, std::size_t at, std::initializer_list<int> values)
{
    for (const int value : values)
        bytes.at(at++) = static_cast<std::uint8_t>(value);
    return bytes;
}

Bytes pngOf400Megapixels()
{
    Bytes bytes = patched(seedNamed("png-alpha-8"), 16, {0, 0, 0x4E, 0x20, 0, 0, 0x4E, 0x20});
    damage::repairPngChecksums(bytes);
    return bytes;
}

/// The last scan of a progressive picture, again and again.
Bytes jpegOfScans(std::size_t count)
{
    const Bytes sound = seedNamed("jpeg-progressive");
    const std::uint8_t marker[] = {0xFF, 0xDA};
    const auto scan = std::find_end(sound.begin(), sound.end(), std::begin(marker), std::end(marker));
    Bytes bytes(sound.begin(), sound.end() - 2);
    for (; count > 0; --count)
        bytes.insert(bytes.end(), scan, sound.end() - 2);
    bytes.insert(bytes.end(), sound.end() - 2, sound.end());
    return bytes;
}

/// An entry for 256 x 256 pixels that holds another icon.
Bytes iconInIcon()
{
    const Bytes inner = seedNamed("ico-masks");
    Bytes bytes = {0,
                   0,
                   1,
                   0,
                   1,
                   0,
                   0,
                   0,
                   0,
                   0,
                   1,
                   0,
                   32,
                   0,
                   static_cast<std::uint8_t>(inner.size()),
                   static_cast<std::uint8_t>(inner.size() >> 8),
                   0,
                   0,
                   22,
                   0,
                   0,
                   0};
    for (const std::uint8_t byte : inner)
        bytes.push_back(byte);
    return bytes;
}

TEST(HostileShapes, AreRefusedForWhatTheirHeadersClaim)
{
    const struct {
        const char* name;
        Bytes bytes;
        ZelFailureCode code;
    } table[] = {
        {"GIF of 65535 x 65535 pixels", patched(seedNamed("gif-plain"), 6, {255, 255, 255, 255}),
         ZelFailureCode::limit},
        {"PNG of 400 megapixels", pngOf400Megapixels(), ZelFailureCode::limit},
        {"WebP canvas of 2^24 x 2^24 pixels", patched(seedNamed("webp-animated"), 24, {255, 255, 255, 255, 255, 255}),
         ZelFailureCode::limit},
        {"BMP of 2^31 - 1 rows", patched(seedNamed("bmp-24"), 22, {255, 255, 255, 127}), ZelFailureCode::limit},
        {"icon in an icon", iconInIcon(), ZelFailureCode::unreadable},
        {"progressive JPEG of 3000 scans", jpegOfScans(3000), ZelFailureCode::limit},
    };
    for (const auto& shape : table) {
        SCOPED_TRACE(shape.name);
        ZelFailure::clear();
        const ZelReport report;
        EXPECT_EQ(openPicture(ByteSource::view(shape.bytes)), nullptr);
        EXPECT_EQ(ZelFailure::last().code, shape.code) << ZelFailure::last().message;
    }
}

TEST(HostileShapes, DirectoriesInALoopAreCountedOnce)
{
    Bytes bytes;
    for (const seeds::Seed& seed : seeds::tiffSeeds())
        if (bytes.empty() && seed.bytes[0] == 'I')
            bytes = seed.bytes;
    ASSERT_GT(bytes.size(), 8U);
    const std::size_t directory = bytes[4] + bytes[5] * 256U + bytes[6] * 65536U;
    const std::size_t entries = bytes.at(directory) + bytes.at(directory + 1) * 256U;
    const std::size_t next = directory + 2 + 12 * entries; // which is told to be the first one again
    for (std::size_t i = 0; i < 4; ++i)
        bytes.at(next + i) = bytes[4 + i];
    const Ref<const PixelProvider> picture = openPicture(ByteSource::view(bytes));
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    EXPECT_EQ(picture->facts().frames, 1);
}

} // namespace
} // namespace zel
