#pragma once
#include <cstdint>
#include <string>
#include <vector>

// Small inputs that fuzzing starts from and that tests damage. They are written by other libraries than ours, so that
// what they hold is known from elsewhere.
namespace zel::seeds {

using Bytes = std::vector<std::uint8_t>;

struct Seed {
    std::string name; ///< "png-grey-1"
    Bytes bytes;
    int width = 0, height = 0; ///< upright
};

/// One of every kind that is read: components, depths, compressions, orders of rows.
std::vector<Seed> jpegSeeds();
std::vector<Seed> pngSeeds();
std::vector<Seed> tiffSeeds();
std::vector<Seed> webpSeeds();
std::vector<Seed> gifSeeds();
std::vector<Seed> jxlSeeds();         ///< none where libjxl is not installed
std::vector<Seed> jpeg2000Seeds();    ///< none where OpenJPEG is not installed
std::vector<Seed> bitmapSeeds();      ///< BMP, icons, PNM: written by hand
const std::vector<Seed>& heifSeeds(); ///< HEIF and AVIF, in patches of 4 × 4 pixels; made once
std::vector<Seed> pictureSeeds();     ///< all of them

/// EXIF blocks, bare and in files.
std::vector<Seed> exifSeeds();
/// Documents; the first byte names the record for the fuzz target `json`.
std::vector<Seed> jsonSeeds();
/// Names of caches with identifiers in them; addresses and the numbers of machines.
std::vector<Seed> cacheNameSeeds();
std::vector<Seed> addressSeeds();
/// What the renderers of documents say and what documents begin with, for the fuzz target `documents`.
std::vector<Seed> documentSeeds();
/// Chains of operations and layouts of pictures: bytes that stand for choices, drawn from a fixed sequence.
std::vector<Seed> choiceSeeds();
/// What the fuzz target of that name starts from.
std::vector<Seed> seedsOf(const std::string& target);

/// The content of every seed: component `channel` at (x, y), 0...255; soft slopes with hard edges in them.
int sample(int x, int y, int channel);

} // namespace zel::seeds
