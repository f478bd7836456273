// Known shapes of hostile files, each made from a sound one: what their headers claim is refused before anything of
// that size is allocated or looked for.
#include "damage.h"
#include "seeds.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/failure.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

namespace zel {
namespace {

using seeds::Bytes;

// Of the processor's time, to refuse what the header alone decides; sanitizers look at each access.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr double mostMilliseconds = 1000;
#else
constexpr double mostMilliseconds = 50;
#endif
#else
constexpr double mostMilliseconds = 50;
#endif

double processorMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

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

void append(Bytes& bytes, std::initializer_list<int> values)
{
    for (const int value : values)
        bytes.push_back(static_cast<std::uint8_t>(value));
}

/// 44 bytes: a palette of two colours, one frame of the same size as the canvas, a block of 11 bytes.
Bytes gifOf44Bytes()
{
    Bytes bytes = {'G', 'I', 'F', '8', '9', 'a'};
    append(bytes, {255, 255, 255, 255, 0x80, 0, 0, 0, 0, 0, 255, 255, 255});
    append(bytes, {0x2C, 0, 0, 0, 0, 255, 255, 255, 255, 0});
    append(bytes, {2, 11, 0x84, 0x8F, 0xA9, 0xCB, 0xED, 0x0F, 0xA3, 0x9C, 0xB4, 0xDA, 0x8B, 0, 0x3B});
    return bytes;
}

/// All boxes of that name, changed at `offset` from it.
Bytes withBoxes(Bytes bytes, std::string_view name, std::size_t offset, std::initializer_list<int> values)
{
    for (std::size_t at = 0; at + name.size() <= bytes.size(); ++at)
        if (std::equal(name.begin(), name.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at)))
            bytes = patched(std::move(bytes), at + offset, values);
    return bytes;
}

void appendBox(Bytes& to, std::string_view name, const Bytes& payload)
{
    const std::size_t size = 8 + payload.size();
    append(to, {static_cast<int>(size >> 24), static_cast<int>(size >> 16 & 255), static_cast<int>(size >> 8 & 255),
                static_cast<int>(size & 255)});
    to.insert(to.end(), name.begin(), name.end());
    to.insert(to.end(), payload.begin(), payload.end());
}

/// A list of items that says how many they are, and holds as many as it likes.
Bytes heifOfItems(int stated, int held)
{
    Bytes list, meta, file;
    append(list, {1, 0, 0, 0, stated >> 24, stated >> 16 & 255, stated >> 8 & 255, stated & 255});
    for (int i = 1; i <= held; ++i) {
        Bytes entry;
        append(entry, {3, 0, 0, 0, i >> 24, i >> 16 & 255, i >> 8 & 255, i & 255, 0, 0, 'h', 'v', 'c', '1', 0});
        appendBox(list, "infe", entry);
    }
    append(meta, {0, 0, 0, 0});
    appendBox(meta, "pitm", {0, 0, 0, 0, 0, 1});
    appendBox(meta, "iinf", list);
    appendBox(file, "ftyp", {'h', 'e', 'i', 'c', 0, 0, 0, 0, 'h', 'e', 'i', 'c'});
    appendBox(file, "meta", meta);
    return file;
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
        {"the same in 44 bytes", gifOf44Bytes(), ZelFailureCode::limit},
        {"PNG of 400 megapixels", pngOf400Megapixels(), ZelFailureCode::limit},
        {"WebP canvas of 2^24 x 2^24 pixels", patched(seedNamed("webp-animated"), 24, {255, 255, 255, 255, 255, 255}),
         ZelFailureCode::limit},
        {"BMP of 2^31 - 1 rows", patched(seedNamed("bmp-24"), 22, {255, 255, 255, 127}), ZelFailureCode::limit},
        {"AVIF of 400 megapixels", withBoxes(seedNamed("avif-colour"), "ispe", 8, {0, 0, 0x4E, 0x20, 0, 0, 0x4E, 0x20}),
         ZelFailureCode::limit},
        {"HEIF of 400 megapixels", withBoxes(seedNamed("heif-colour"), "ispe", 8, {0, 0, 0x4E, 0x20, 0, 0, 0x4E, 0x20}),
         ZelFailureCode::limit},
        {"HEIF that says a million items", heifOfItems(1'000'000, 1), ZelFailureCode::limit},
        {"HEIF of 200,000 items", heifOfItems(1, 200'000), ZelFailureCode::limit},
        {"HEIF of 400,000 items", heifOfItems(1, 400'000), ZelFailureCode::limit},
        {"icon in an icon", iconInIcon(), ZelFailureCode::unreadable},
        {"progressive JPEG of 3000 scans", jpegOfScans(3000), ZelFailureCode::limit},
    };
    for (const auto& shape : table) {
        SCOPED_TRACE(shape.name);
        ZelFailure::clear();
        const ZelReport report;
        const double before = processorMilliseconds();
        EXPECT_EQ(openPicture(ByteSource::view(shape.bytes)), nullptr);
        EXPECT_LT(processorMilliseconds() - before, mostMilliseconds);
        EXPECT_EQ(ZelFailure::last().code, shape.code) << ZelFailure::last().message;
    }
}

TEST(HostileShapes, TheGifHas44Bytes)
{
    EXPECT_EQ(gifOf44Bytes().size(), 44U);
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
