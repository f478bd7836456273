// cache_writer TASK [NUMBER]: a program that keeps pictures in a stored cache, to be killed, refused and starved by
// tests.
//   loop        stores pictures until it is killed; prints a line when the first one stands
//   kill N      stores one of each kind and is killed by its N-th call to the file system; ends with 0 where it makes
//               fewer calls
//   once        computes one of each kind, and tells which of them are kept: "png" and "heif", a line each
//   fill        stores pictures of some 64 KiB, 40 of them; tells how many are kept
//   check       whether all that is kept is whole, and is what was stored: ends with 0
// 1 and a word on standard error where anything is not as it should be.
#include <zel/cache/stored_cache.h>

#include <common/pictures.h>
#include <foundation/failing_files.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

namespace {

using namespace zel;
using Mode = ZelImageStoredCache::Mode;

constexpr int kinds = 6;                // identifiers, told apart by their pictures' widths
constexpr int widths = 20, height = 50; // of the first one

int fail(const std::string& why)
{
    std::fprintf(stderr, "cache_writer: %s\n", why.c_str());
    return 1;
}

ZelImageStoredCache::Options options(Mode mode)
{
    return {.name = "written", .removeItemsAfterDays = 100, .mode = mode};
}

/// What a row's mean is, of the two versions that a picture may be.
constexpr int bright = 200, dark = 75;

/// Grey noise around a brightness, so that files have a size worth cutting short.
Ref<ZelImage> noise(int width, int rows, int brightness)
{
    std::minstd_rand random(1);
    return makeZelImage(test::painted(width, rows, CGAlphaInfo::noneSkipLast, [&](int, int) {
        const auto grey = static_cast<std::uint8_t>(brightness - 32 + static_cast<int>(random() >> 8 & 63U));
        return test::Rgba{grey, grey, grey, 255};
    }));
}

Ref<ZelImage> pictureOf(int kind, int version)
{
    return noise(widths + kind, height, version % 2 == 0 ? bright : dark);
}

std::string idOf(int kind)
{
    return "picture-" + std::to_string(kind);
}

int loop()
{
    ZelImageStoredCache png(options(Mode::png)), jpeg(options(Mode::heif));
    for (int version = 0;; ++version) {
        for (int kind = 0; kind < kinds; ++kind)
            for (auto* cache : {&png, &jpeg})
                cache->store(pictureOf(kind, version), {.withId = idOf(kind)});
        png.waitForWrites();
        jpeg.waitForWrites();
        if (version == 0) {
            std::puts("begun");
            std::fflush(stdout);
        }
    }
}

int killed(int nth)
{
    const testing::FailingFiles failing({.nth = nth, .kill = true});
    for (const Mode mode : {Mode::png, Mode::heif}) {
        ZelImageStoredCache cache(options(mode));
        cache.store(pictureOf(0, nth), {.withId = idOf(0)});
        cache.waitForWrites();
    }
    return 0;
}

int once()
{
    for (const Mode mode : {Mode::png, Mode::heif}) {
        ZelImageStoredCache cache(options(mode));
        bool isComputed = false;
        const auto image = cache.retrieveOrCalc({.imageWithId = idOf(0), .calc = [&] {
                                                     isComputed = true;
                                                     return pictureOf(0, 0);
                                                 }});
        cache.waitForWrites();
        if (!image || image->size != CGSize{widths, height})
            return fail("no picture came");
        if (isComputed && cache.retrieveOrCalc({.imageWithId = idOf(0), .calc = {}}) != image)
            return fail("what was computed is not remembered");
        if (cache.retrieveImage({.withId = idOf(0)}))
            std::puts(std::string(rawValue(mode)).c_str());
    }
    return 0;
}

int fill()
{
    ZelImageStoredCache cache(options(Mode::png));
    for (int i = 0; i < 40; ++i)
        cache.store(noise(200 + i, 300, bright), {.withId = std::to_string(i)});
    cache.waitForWrites();
    int kept = 0;
    for (int i = 0; i < 40; ++i) {
        const auto read = cache.retrieveImage({.withId = std::to_string(i)});
        if (read && read->size != CGSize{200.0 + i, 300})
            return fail("a picture is another one");
        kept += read ? 1 : 0;
    }
    std::printf("%d\n", kept);
    return 0;
}

/// Every row has to be there, of one version.
bool isWhole(const Ref<ZelImage>& image, int kind)
{
    const auto pixels = image && image->bitmapRep() ? image->bitmapRep()->cgImage() : nullptr;
    if (!pixels || image->size != CGSize{double(widths + kind), height})
        return false;
    int first = 0;
    for (int y = 0; y < height; ++y) {
        int sum = 0;
        for (int x = 0; x < pixels->width(); ++x)
            sum += test::pixelAt(*pixels, x, y)[0];
        const int mean = sum / pixels->width();
        if (y == 0)
            first = mean > (bright + dark) / 2 ? bright : dark;
        if (std::abs(mean - first) > 30)
            return false;
    }
    return true;
}

int check()
{
    const ZelImageStoredCache png(options(Mode::png)), jpeg(options(Mode::heif));
    int files = 0;
    for (const auto* cache : {&png, &jpeg})
        for (int kind = 0; kind < kinds; ++kind) {
            if (!std::filesystem::exists(cache->imageUrl({.with = idOf(kind)}).filePath()))
                continue;
            ++files;
            if (!isWhole(cache->retrieveImage({.withId = idOf(kind)}), kind))
                return fail(idOf(kind) + " is not whole");
        }
    const auto folder = png.imageUrl({.with = "x"}).filePath().parent_path();
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        const bool isTemporary = name.starts_with(".zel-") && name.ends_with(".tmp");
        if (!isTemporary && !name.starts_with("picture-"))
            return fail(name + " is no file of the cache");
    }
    std::printf("%d\n", files);
    return 0;
}

} // namespace

int main(int count, char** words)
{
    const std::string task = count > 1 ? words[1] : "";
    if (task == "loop")
        return loop();
    if (task == "kill" && count > 2)
        return killed(std::atoi(words[2]));
    if (task == "once")
        return once();
    if (task == "fill")
        return fill();
    if (task == "check")
        return check();
    return fail("loop, kill N, once, fill or check");
}
