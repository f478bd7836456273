#include "seeds.h"

#include <iterator>
#include <random>

namespace zel::seeds {
namespace {

void append(std::vector<Seed>& to, std::vector<Seed> from)
{
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

} // namespace

int sample(int x, int y, int channel)
{
    const int slope = x * (11 + 3 * channel) + y * (7 + 5 * channel);
    const int edge = (x / 4 + y / 3) % 2 == 0 ? 0 : 90;
    return (slope + edge + 60 * channel) % 256;
}

std::vector<Seed> pictureSeeds()
{
    std::vector<Seed> all = jpegSeeds();
    append(all, pngSeeds());
    append(all, tiffSeeds());
    append(all, webpSeeds());
    append(all, gifSeeds());
    append(all, jxlSeeds());
    append(all, jpeg2000Seeds());
    append(all, bitmapSeeds());
    append(all, heifSeeds());
    return all;
}

std::vector<Seed> choiceSeeds()
{
    std::mt19937 random(20240229); // the same sequence everywhere
    std::vector<Seed> all;
    for (int number = 0; number < 24; ++number) {
        Seed seed{"choices-" + std::to_string(number), {}, 0, 0};
        for (int left = 16 + number * 8; left > 0; --left)
            seed.bytes.push_back(static_cast<std::uint8_t>(random() >> 24));
        all.push_back(std::move(seed));
    }
    return all;
}

std::vector<Seed> seedsOf(const std::string& target)
{
    if (target == "decode" || target == "info")
        return pictureSeeds();
    if (target == "boxes")
        return heifSeeds();
    if (target == "cache_names")
        return cacheNameSeeds();
    if (target == "addresses")
        return addressSeeds();
    if (target == "documents")
        return documentSeeds();
    if (target == "exif")
        return exifSeeds();
    return target == "json" ? jsonSeeds() : choiceSeeds();
}

} // namespace zel::seeds
