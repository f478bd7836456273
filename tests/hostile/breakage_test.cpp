// Thousands of damaged files, always the same ones: none may crash, hang, show memory that nobody wrote, or be refused
// without a reason.
#include "damage.h"
#include "decode_checks.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/failure.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <malloc.h>

namespace zel {
namespace {

Ref<const PixelProvider> open(const seeds::Bytes& bytes)
{
    return openPicture(ByteSource::view(bytes));
}

std::size_t openDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

TEST(Hostile, SoundSeedsDecodeAndAreWhatTheyWereWrittenAs)
{
    for (const seeds::Seed& seed : seeds::pictureSeeds()) {
        SCOPED_TRACE(seed.name);
        EXPECT_EQ(checks::problemOfDecoding(seed.bytes), "");
        EXPECT_EQ(checks::problemOfFacts(seed.bytes), "");
        EXPECT_EQ(checks::problemOfCodedData(seed.bytes), "");

        const Ref<const PixelProvider> picture = open(seed.bytes);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        EXPECT_EQ(picture->facts().format, seed.name.substr(0, seed.name.find('-')));
        const Ref<const CGImage> image = CGImage::make(picture);
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width(), seed.width);
        EXPECT_EQ(image->height(), seed.height);
        EXPECT_FALSE(image->bytes().empty()) << ZelFailure::last().message;
    }
}

struct Way {
    const char* name;
    std::vector<damage::Damaged> (*damage)(const seeds::Seed&, int);
    int count;
};

class Damage : public testing::TestWithParam<Way> {};

TEST_P(Damage, EndsWithAPictureOrAReason)
{
    std::size_t pictures = 0, refusals = 0;
    for (const seeds::Seed& seed : seeds::pictureSeeds()) {
        for (const damage::Damaged& damaged : GetParam().damage(seed, GetParam().count)) {
            SCOPED_TRACE(seed.name + ": " + damaged.how);
            EXPECT_EQ(checks::problemOfDecoding(damaged.bytes), "");
            EXPECT_EQ(checks::problemOfFacts(damaged.bytes), "");
            EXPECT_EQ(checks::problemOfCodedData(damaged.bytes), "");
            ++(open(damaged.bytes) ? pictures : refusals);
        }
    }
    // Damage that nobody notices, or that stops everything at the door, would try nothing.
    EXPECT_GT(pictures, (pictures + refusals) / 10);
    EXPECT_GT(refusals, (pictures + refusals) / 10);
}

/// What longer runs found.
TEST(Hostile, FoundBefore)
{
    const struct {
        const char *seed, *how;
    } rows[] = {
        // Memory of the decoder's own that damage left unwritten.
        {"heif-small", "bytes changed: 567 321 749"},
        {"heif-ten-bits", "bytes changed: 683 267 320"},
    };
    int tried = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.seed) + ": " + row.how);
        for (const seeds::Seed& seed : seeds::heifSeeds()) {
            if (seed.name != row.seed)
                continue;
            for (const damage::Damaged& damaged : damage::changes(seed, 1500, 1)) {
                if (damaged.how != row.how)
                    continue;
                EXPECT_EQ(checks::problemOfDecoding(damaged.bytes), "");
                ++tried;
            }
        }
    }
    EXPECT_GE(tried, 1) << "other seeds than those: another version of the library that writes them";
    // A byte of a facsimile strip leads past its line, to what an earlier strip left.
    for (const seeds::Seed& seed : seeds::tiffSeeds()) {
        for (int value = 1; value < 256 && seed.name == "tiff-fax4"; ++value) {
            SCOPED_TRACE(seed.name + " " + std::to_string(value));
            seeds::Bytes bytes = seed.bytes;
            bytes.at(30) ^= static_cast<std::uint8_t>(value);
            EXPECT_EQ(checks::problemOfDecoding(bytes), "");
        }
    }
}

/// So many rounds of changes, each with others than the one before: ZEL_DAMAGE_ROUNDS=20 looks longer than CI can.
TEST(Hostile, MoreDamageWhereAskedFor)
{
    const char* const asked = std::getenv("ZEL_DAMAGE_ROUNDS");
    if (asked == nullptr)
        GTEST_SKIP() << "ZEL_DAMAGE_ROUNDS is not set";
    for (std::uint32_t round = 1; round <= std::strtoul(asked, nullptr, 10); ++round) {
        for (const seeds::Seed& seed : seeds::pictureSeeds()) {
            for (const damage::Damaged& damaged : damage::changes(seed, 1500, round)) {
                SCOPED_TRACE(seed.name + ", round " + std::to_string(round) + ": " + damaged.how);
                EXPECT_EQ(checks::problemOfDecoding(damaged.bytes), "");
                EXPECT_EQ(checks::problemOfFacts(damaged.bytes), "");
                EXPECT_EQ(checks::problemOfCodedData(damaged.bytes), "");
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, Damage,
                         testing::Values(Way{"Cuts", damage::cuts, 32}, Way{"Changes", damage::changes, 64},
                                         Way{"Patches", damage::patches, 12}),
                         [](const auto& way) { return std::string(way.param.name); });

TEST(Hostile, RepeatedDecodingKeepsNothing)
{
    struct Reading {
        std::size_t bytes, descriptors;
    };
    const auto decodeAll = [] {
        for (const seeds::Seed& seed : seeds::pictureSeeds()) {
            for (const seeds::Bytes& bytes :
                 {seed.bytes,
                  seeds::Bytes(seed.bytes.begin(), seed.bytes.begin() + std::ptrdiff_t(seed.bytes.size() * 2 / 3))}) {
                const Ref<const CGImage> image = CGImage::make(open(bytes));
                if (image)
                    (void)image->bytes();
            }
        }
        return Reading{mallinfo2().uordblks, openDescriptors()};
    };
    decodeAll(); // tables and modules that stay
    const Reading before = decodeAll();
    for (int i = 0; i < 100; ++i)
        decodeAll();
    const Reading after = decodeAll();
    EXPECT_LE(after.bytes, before.bytes + 512 * 1024);
    EXPECT_EQ(after.descriptors, before.descriptors);
}

} // namespace
} // namespace zel
