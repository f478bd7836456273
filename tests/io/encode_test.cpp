#include <zel/io/encode.h>
#include <zel/io/size_search.h>
#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::Rgba;

/// A folder that is gone afterwards.
class Folder {
public:
    Folder() : path_(std::filesystem::temp_directory_path() / ("zel-encode-" + std::to_string(std::random_device()())))
    {
        std::filesystem::create_directory(path_);
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::filesystem::path operator/(const char* name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// Something that JPEG takes more bytes for the better it should be.
Ref<ZelImage> textured(int width, int height)
{
    return makeZelImage(test::painted(width, height, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        const int noise =
            static_cast<int>((static_cast<unsigned>(x) * 2654435761U ^ static_cast<unsigned>(y) * 39571431U) >> 27U);
        return Rgba{static_cast<std::uint8_t>(x + noise), static_cast<std::uint8_t>(y + noise / 2),
                    static_cast<std::uint8_t>(x ^ y), 255};
    }));
}

std::vector<std::uint8_t> bytesOf(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void expectSamePixels(const CGImage& a, const CGImage& b)
{
    ASSERT_EQ(a.width(), b.width());
    ASSERT_EQ(a.height(), b.height());
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            ASSERT_EQ(pixelAt(a, x, y), pixelAt(b, x, y)) << x << ' ' << y;
}

TEST(Png, RecordsTheResolutionOfItsPoints)
{
    const auto image = makeZelImage(NSImage::make(flat(400, 300, {9, 9, 9, 255}), {400, 300}));
    const struct {
        std::optional<CGSize> points;
        CGSize seen; // 5669 pixels a metre are 143.99 dots an inch
    } cases[] = {
        {{}, {400, 300}}, {CGSize{200, 150}, {200, 150}}, {CGSize{400, 150}, {400, 150}}, {CGSize{0, 0}, {400, 300}}};
    for (const auto& c : cases) {
        const auto again = makeZelImage(*pngData(image, {.size = c.points}));
        EXPECT_EQ(again->size, (CGSize{400, 300}));
        EXPECT_NEAR(again->image->width(), c.seen.width, 0.02);
        EXPECT_NEAR(again->image->height(), c.seen.height, 0.02);
    }
}

TEST(Jpeg, WritesTheResolutionItIsGiven)
{
    const Folder folder;
    const auto image = textured(40, 30);
    const struct {
        std::optional<std::int64_t> dpi;
        std::vector<int> header; // bytes 13 to 17
    } cases[] = {
        {300, {1, 1, 44, 1, 44}}, {72, {1, 0, 72, 0, 72}}, {{}, {0, 0, 1, 0, 1}}, {65536 + 258, {1, 1, 2, 1, 2}}};
    for (const auto& c : cases) {
        const auto file = folder / "a.jpg";
        ASSERT_TRUE(saveToJpeg(image, {.quality = 0.8, .dpi = c.dpi, .url = URL::file(file)}));
        const auto bytes = bytesOf(file);
        ASSERT_GT(bytes.size(), 18U);
        EXPECT_EQ((std::vector<int>(bytes.begin() + 13, bytes.begin() + 18)), c.header);
        if (!c.dpi) {
            EXPECT_EQ(Data(bytes), *jpegData(image, {.quality = 0.8}));
        }
    }
}

TEST(Savers, MakeFoldersAndReplaceFiles)
{
    const Folder folder;
    const auto image = textured(20, 20);
    const auto deep = folder / "one/two/picture";
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(saveToPNG(image, {.url = URL::file(deep)}));
        expectSamePixels(*makeZelImage(URL::file(deep))->cgImage, *image->cgImage);
        EXPECT_TRUE(ZelImageHelper::saveToTIFF(image, {.toUrl = URL::file(deep)}));
        expectSamePixels(*makeZelImage(URL::file(deep))->cgImage, *image->cgImage);
        EXPECT_TRUE(ZelImageHelper::saveToJpeg(image, {.quality = 1, .url = URL::file(deep)}));
        EXPECT_EQ(makeZelImage(URL::file(deep))->size, (CGSize{20, 20}));
    }
}

TEST(Savers, LeaveNothingAfterAFailure)
{
    const Folder folder;
    const auto blank = makeZelImage(BlankSize{.size = {0, 4}});
    const auto file = folder / "old";
    const std::pair<const char*, std::function<bool(const Ref<ZelImage>&, const URL&)>> savers[] = {
        {"PNG", [](const auto& image, const URL& url) { return saveToPNG(image, {.url = url}); }},
        {"TIFF", [](const auto& image, const URL& url) { return ZelImageHelper::saveToTIFF(image, {.toUrl = url}); }},
        {"JPEG", [](const auto& image, const URL& url) { return saveToJpeg(image, {.quality = 0.5, .url = url}); }},
        {"JPEG of a size",
         [](const auto& image, const URL& url) { return saveToJpeg(image, {.toUrl = url, .maxSize = 10}); }},
    };
    for (const auto& [name, save] : savers) {
        SCOPED_TRACE(name);
        std::ofstream(file) << "an older file";
        EXPECT_FALSE(save(nullptr, URL::file(file))); // no picture: nothing was tried
        EXPECT_TRUE(std::filesystem::exists(file));
        EXPECT_FALSE(save(blank, URL::file(file)));
        EXPECT_FALSE(std::filesystem::exists(file));
        EXPECT_FALSE(save(textured(4, 4), URL::file("/proc/no/such/place")));
        std::filesystem::create_directory(folder / "sub");
        EXPECT_FALSE(save(textured(4, 4), URL::file(folder / "sub")));
        EXPECT_TRUE(std::filesystem::is_directory(folder / "sub"));
    }
    const auto bare = textured(4, 4);
    bare->image = nullptr; // hosts may set it
    EXPECT_FALSE(pngData(bare));
    EXPECT_FALSE(ZelImageHelper::saveToTIFF(bare, {.toUrl = URL::file(file)}));
    test::PrintedLines quiet;
    std::ofstream(file) << "an older file";
    EXPECT_FALSE(saveToJpeg(textured(64, 64), {.toUrl = URL::file(file), .maxSize = 20})); // smaller than any JPEG
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(SizeSearch, ComesCloseToTheWantedSize)
{
    const Folder folder;
    const auto image = textured(500, 400);
    for (const double quality : {0.2, 0.55, 0.9}) {
        const auto wanted = static_cast<std::int64_t>(jpegData(image, {.quality = quality})->size());
        test::PrintedLines printed;
        const auto file = folder / "sized.jpg";
        ASSERT_TRUE(saveToJpeg(image, {.toUrl = URL::file(file), .maxSize = wanted}));
        const auto size = static_cast<double>(bytesOf(file).size());
        EXPECT_LT(size, static_cast<double>(wanted) * 1.04);
        EXPECT_GT(size, static_cast<double>(wanted) * 0.90);
        EXPECT_EQ(makeZelImage(URL::file(file))->size, image->size);
        // Whether anybody listens changes nothing; and there is a way that never takes more.
        const auto before = Console::setSink({});
        EXPECT_EQ(*jpegWithin(image, wanted, SizeRule::nearest), Data(bytesOf(file)));
        EXPECT_LE(static_cast<std::int64_t>(jpegWithin(image, wanted, SizeRule::neverMore)->size()), wanted);
        Console::setSink(before);
    }
}

TEST(SizeSearch, TellsWhatItMeasures)
{
    const ByteCount count = [](double quality, std::uint64_t) {
        return std::optional<std::uint64_t>(1000 + static_cast<std::uint64_t>(quality * 4096));
    };
    const struct {
        const char* name;
        std::int64_t wanted;
        bool shrink;
        double quality;
    } cases[] = {
        {"larger than the best: nothing is told", 5097, false, 1.0},
        {"exactly the best is searched", 5096, false, 0.96875},
        {"smaller than the least", 999, true, 0.0},
        {"between", 2000, false, 0.2265625},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        test::PrintedLines printed;
        const auto decision = decideQuality(count, c.wanted, SizeRule::nearest);
        ASSERT_TRUE(decision);
        EXPECT_EQ(decision->shrink, c.shrink);
        EXPECT_NEAR(decision->quality, c.quality, 1.0 / 128);
        const auto begins = [&](const char* text) {
            return std::count_if(printed.lines().begin(), printed.lines().end(),
                                 [&](const std::string& line) { return line.rfind(text, 0) == 0; });
        };
        const bool searched = !c.shrink && c.quality < 1;
        EXPECT_EQ(begins("quality: "), searched ? 1 : 0);
        EXPECT_EQ(begins("size: "), searched ? 9 : 0); // both ends and seven midpoints, each once
        if (searched) {
            EXPECT_EQ(printed.lines()[1], "size: 1000.0");
            EXPECT_EQ(printed.lines()[2], "size: 5096.0");
        } else {
            EXPECT_TRUE(printed.lines().empty());
        }
    }
    EXPECT_FALSE(
        decideQuality([](double, std::uint64_t) { return std::optional<std::uint64_t>(); }, 5, SizeRule::nearest));
}

TEST(SizeSearch, ShrinksByTenthsUntilItFits)
{
    const Folder folder;
    test::PrintedLines quiet;
    const auto image = textured(200, 100);
    const auto least = jpegData(image, {.quality = 0})->size();
    ASSERT_TRUE(
        saveToJpeg(image, {.toUrl = URL::file(folder / "a.jpg"), .maxSize = static_cast<std::int64_t>(least) - 1}));
    const CGSize size = makeZelImage(URL::file(folder / "a.jpg"))->size;
    EXPECT_TRUE(size == (CGSize{180, 90}) || size == (CGSize{162, 81})) << size.width;
}

TEST(ImageJson, KeepsEveryPixelAndField)
{
    const auto image = makeZelImage(test::painted(5, 3, CGAlphaInfo::last, [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(50 * x), static_cast<std::uint8_t>(80 * y), 7,
                    static_cast<std::uint8_t>(40 * x + 80)};
    }));
    image->size = {77, 5.5};
    image->metadata.metadata = {{.key = "k", .value = "v\n\"ü"}, {.key = "", .value = ""}};
    const std::string text = encode(image);
    EXPECT_EQ(text.rfind("{\"id\":\"" + image->id +
                             "\",\"size\":[77.0,5.5],\"metadata\":{\"metadata\":[{\"key\":\"k\",\"value\":",
                         0),
              0U)
        << text;
    const auto again = decode<Ref<ZelImage>>(text);
    EXPECT_EQ(again->id, image->id);
    EXPECT_EQ(again->size, image->size); // the stored size wins
    EXPECT_EQ(again->metadata, image->metadata);
    expectSamePixels(*again->cgImage, *image->cgImage);
    EXPECT_EQ(encode(again), text);
    EXPECT_NE(encode(makeZelImage(BlankSize{.size = {0, 0}})).find("\"imageData\":null"), std::string::npos);
    EXPECT_THROW((void)encode(Ref<ZelImage>()), ZelEncodingError);
}

TEST(ImageJson, SaysWhatIsWrong)
{
    using Kind = ZelDecodingError::Kind;
    const struct {
        const char* name;
        const char* text;
        Kind kind;
        const char* path;
    } cases[] = {
        {"no id", R"({"size":[1,1],"metadata":{"metadata":[]},"imageData":""})", Kind::keyNotFound, "id"},
        {"no bytes", R"({"id":"a","size":[1,1],"metadata":{"metadata":[]}})", Kind::keyNotFound, "imageData"},
        {"null bytes", R"({"id":"a","size":[1,1],"metadata":{"metadata":[]},"imageData":null})", Kind::valueNotFound,
         "imageData"},
        {"no base-64", R"({"id":"a","size":[1,1],"metadata":{"metadata":[]},"imageData":"?"})", Kind::dataCorrupted,
         "imageData"},
        {"no picture", R"({"id":"a","size":[1,1],"metadata":{"metadata":[]},"imageData":"AAAA"})", Kind::dataCorrupted,
         "imageData"},
        {"three sides", R"({"id":"a","size":[1,1,1],"metadata":{"metadata":[]},"imageData":"AAAA"})",
         Kind::dataCorrupted, "size"},
        {"an item without a value",
         R"({"id":"a","size":[1,1],"metadata":{"metadata":[{"key":"k"}]},"imageData":"AAAA"})", Kind::keyNotFound,
         "metadata.metadata[0].value"},
    };
    for (const auto& c : cases)
        try {
            (void)decode<Ref<ZelImage>>(c.text);
            ADD_FAILURE() << c.name;
        } catch (const ZelDecodingError& error) {
            EXPECT_EQ(error.kind(), c.kind) << c.name;
            EXPECT_EQ(error.codingPath(), c.path) << c.name;
            if (std::string(c.name) == "no picture") {
                EXPECT_NE(std::string(error.what()).find("Impossibile creare NSImage dai dati"), std::string::npos);
            }
        }
}

} // namespace
} // namespace zel
