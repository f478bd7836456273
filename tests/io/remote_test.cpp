#include <zel/io/encode.h>
#include <zel/io/remote.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/services/file_icons.h>

#include <common/http_server.h>
#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace zel {
namespace {

namespace fs = std::filesystem;
using test::HttpServer;

std::string pngBytes(int width, int height)
{
    const Data png = *pngData(makeZelImage(test::flat(width, height, {10, 200, 30, 255})));
    return {reinterpret_cast<const char*>(png.data()), png.size()};
}

URL address(const std::string& text)
{
    return URL::parse(text).value_or(URL());
}

class RemoteTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        fs::create_directories(base());
        setenv("XDG_CACHE_HOME", base().c_str(), 1);
    }
    static void TearDownTestSuite()
    {
        unsetenv("XDG_CACHE_HOME");
        fs::remove_all(base());
    }
    static fs::path base() { return fs::temp_directory_path() / ("zel-remote-" + std::to_string(::getpid())); }
    static fs::path write(const std::string& name, const std::string& bytes)
    {
        std::ofstream(base() / name, std::ios::binary) << bytes;
        return base() / name;
    }
    static Ref<ZelImage> cached(const std::string& text, const std::string& scope = {})
    {
        std::promise<Ref<ZelImage>> promise;
        getCachedImage({.url = address(text),
                        .callback = [&](Ref<ZelImage> image) { promise.set_value(image); },
                        .cacheScope = scope});
        return promise.get_future().get();
    }
    static std::size_t keptFiles()
    {
        std::size_t count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(base()))
            count += entry.is_regular_file() && entry.path().parent_path().filename() == "ZelImageCache" ? 1U : 0U;
        return count;
    }
};

TEST_F(RemoteTest, FetchesOrSaysWhyNot)
{
    const fs::path secret = write("secret.png", pngBytes(3, 3));
    HttpServer server([&](const HttpServer::Request& request) -> std::string {
        const std::string& target = request.target;
        if (target == "/picture.png")
            return HttpServer::ok(pngBytes(6, 4));
        if (target == "/moved")
            return HttpServer::redirect("/picture.png");
        if (target == "/loop")
            return HttpServer::redirect("/loop");
        if (target == "/file")
            return HttpServer::redirect("file://" + secret.string());
        if (target == "/ftp")
            return HttpServer::redirect("ftp://127.0.0.1/picture.png");
        if (target == "/large")
            return HttpServer::ok(std::string(200'000, 'x'));
        if (target == "/cut")
            return HttpServer::ok(pngBytes(6, 4).substr(0, 40), 5000);
        if (target == "/stalls")
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
        if (target == "/text")
            return HttpServer::ok("no picture");
        return "HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 4\r\n\r\nnone";
    });
    ZelLimits limits;
    limits.downloadBytes = 100'000;
    limits.downloadTime = std::chrono::milliseconds(300);
    const ZelLimits::Scope scope(limits);
    struct Case {
        const char* path;
        bool works;
        ZelFailureCode code;
    };
    const Case cases[] = {
        {"/picture.png", true, {}},
        {"/moved", true, {}},
        {"/missing", false, ZelFailureCode::notFound},
        {"/loop", false, ZelFailureCode::network},
        {"/file", false, ZelFailureCode::network},
        {"/ftp", false, ZelFailureCode::network},
        {"/large", false, ZelFailureCode::limit},
        {"/cut", false, ZelFailureCode::network},
        {"/text", false, ZelFailureCode::notAnImage},
        {"/stalls", false, ZelFailureCode::network},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        ZelFailure::clear();
        const auto image = makeZelImage({.httpText = server.address(c.path)});
        EXPECT_EQ(image != nullptr, c.works) << ZelFailure::last().message;
        if (image) {
            EXPECT_EQ(image->size, (CGSize{6, 4}));
        } else {
            EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
        }
    }
    EXPECT_TRUE(makeZelImage({.httpUrl = URL::file(secret)})) << "a file, where the caller says so";
    for (const char* text : {"", "http://", "gopher://127.0.0.1/", "no address", "ftp://127.0.0.1/x"})
        EXPECT_FALSE(makeZelImage({.httpText = text})) << text;
}

TEST_F(RemoteTest, KeepsPicturesByThePathOfTheirAddress)
{
    std::atomic<int> asked = 0;
    HttpServer server([&](const HttpServer::Request& request) {
        ++asked;
        return request.target == "/a.png?q=1" ? HttpServer::ok(pngBytes(5, 5)) : HttpServer::ok("no picture");
    });
    EXPECT_FALSE(cached(server.address("/bad.png")));
    std::vector<std::future<void>> all;
    std::atomic<int> came = 0;
    for (int i = 0; i < 4; ++i)
        all.push_back(std::async(std::launch::async, [&] { came += cached(server.address("/a.png?q=1")) ? 1 : 0; }));
    for (auto& one : all)
        one.get();
    EXPECT_EQ(came, 4);
    EXPECT_EQ(asked, 2) << "one address is asked once, however many want it";
    EXPECT_TRUE(cached(server.address("/a.png?q=2", "localhost"))) << "host and query are not part of the name";
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(keptFiles(), 1U);
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(cached(server.address("/a.png?q=1"), "another page")) << "a scope of its own";
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(keptFiles(), 2U);

    // A damaged file is fetched anew.
    for (const auto& entry : fs::recursive_directory_iterator(base()))
        if (entry.is_regular_file() && entry.path().extension() == ".jpg")
            fs::resize_file(entry.path(), 100);
    EXPECT_TRUE(cached(server.address("/a.png?q=1")));
    EXPECT_EQ(asked, 4);
}

TEST_F(RemoteTest, DownloadsAnswerOnce)
{
    std::atomic<int> asked = 0;
    HttpServer server([&](const HttpServer::Request& request) {
        ++asked;
        return request.target == "/p" ? HttpServer::ok(pngBytes(2, 3)) : std::string("HTTP/1.1 500 No\r\n\r\n");
    });
    ZelResourceDownloader downloader;
    const auto get = [&](const std::string& path, bool disk) {
        std::promise<Ref<ZelImage>> promise;
        asyncDownloadZelImage(downloader, address(server.address(path)), {.timeOut = 5, .useDiskCache = disk},
                              [&](Ref<ZelImage> image) { promise.set_value(std::move(image)); });
        return promise.get_future().get();
    };
    EXPECT_TRUE(get("/p", true));
    EXPECT_TRUE(get("/p", true));
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(get("/p", false));
    EXPECT_FALSE(get("/fails", true));
    EXPECT_FALSE(get("/fails", true)) << "what failed is not kept";
    EXPECT_EQ(asked, 4);

    const fs::path file = write("local.png", pngBytes(7, 7));
    EXPECT_TRUE(download({.from = URL::file(file)}).get());
    EXPECT_FALSE(download({.from = address(server.address("/p"))}).get()) << "of this machine alone";
}

TEST_F(RemoteTest, UploadsArriveByteForByte)
{
    HttpServer server([](const HttpServer::Request& request) {
        return request.target == "/moved" ? HttpServer::redirect("/take") : HttpServer::ok("thanks");
    });
    const auto image = makeZelImage(test::flat(9, 9, {1, 2, 3, 255}));
    EXPECT_TRUE(uploadAsJpeg(image, {.to = server.address("/take"), .withName = "photo", .quality = 0.5}).get());
    ASSERT_EQ(server.requests().size(), 1U);
    const auto request = server.requests().front();
    const Data jpeg = *jpegData(image, {.quality = 0.5});
    EXPECT_EQ(request.method, "POST");
    EXPECT_NE(request.body.find("name=\"file\"; filename=\"photo.jpg\""), std::string::npos);
    EXPECT_NE(request.body.find("Content-Type: application/octet-stream"), std::string::npos);
    EXPECT_NE(request.body.find(std::string(reinterpret_cast<const char*>(jpeg.data()), jpeg.size())),
              std::string::npos);

    EXPECT_FALSE(uploadAsJpeg(image, {.to = server.address("/moved"), .withName = "p", .quality = 0.5}).get());
    EXPECT_FALSE(uploadAsJpeg(image, {.to = server.address("/take"), .withName = "a\r\nb", .quality = 0.5}).get());
    EXPECT_FALSE(uploadAsJpeg(image, {.withName = "p", .quality = 0.5}).get()) << "no address is set";
    EXPECT_EQ(server.requests().size(), 2U) << "and nothing was sent";
    ZelNet::setDefaultEndpoint(address(server.address("/orvo/filePost.php")));
    EXPECT_TRUE(uploadAsJpeg(image, {.withName = "p", .quality = 0.5}).get());
    EXPECT_EQ(server.requests().back().target, "/orvo/filePost.php");
    ZelNet::setDefaultEndpoint({});
    EXPECT_FALSE(uploadAsJpeg(nullptr, {.to = server.address("/take"), .withName = "p", .quality = 0.5}).get());
}

TEST_F(RemoteTest, StoresAndIcons)
{
    write("stored", pngBytes(4, 2));
    HttpServer server([](const HttpServer::Request& request) {
        return request.target == "/data/id%201" ? HttpServer::ok(pngBytes(8, 8)) : HttpServer::ok("");
    });
    const ZelSubFiles files(URL::file(base()));
    EXPECT_EQ(getImage(files, {.withId = "stored"}).get()->size, (CGSize{4, 2}));
    EXPECT_TRUE(makeZelImage(SubFilesId{files, "stored"}).get()->cgImage);
    for (const char* id : {"none", "../stored", "", "/etc/hostname"})
        EXPECT_FALSE(getImage(files, {.withId = id}).get()) << id;
    const OrvoData service(address(server.address("/data")));
    EXPECT_EQ(getZelImage(service, {.withId = "id 1"}).get()->size, (CGSize{8, 8}));
    EXPECT_FALSE(getZelImage(service, {.withId = "other"}).get());
    EXPECT_FALSE(getZelImage(service, {.withId = "../id"}).get());

    EXPECT_FALSE(makeZelImage({.forFile = URL::file("/x.txt")}));
    CGSize wanted;
    FileIcons::setProvider([&](const URL&, CGSize size) {
        wanted = size;
        return makeZelImage(test::flat(16, 16, {0, 0, 0, 255}))->image;
    });
    const auto icon = makeZelImage({.bundleUrl = URL::file("/x.txt")});
    ASSERT_TRUE(icon);
    EXPECT_EQ(wanted, (CGSize{1024, 1024}));
    EXPECT_FALSE(icon->cgImage);
    EXPECT_EQ(icon->size, CGSize());
    EXPECT_TRUE(makeZelImage(URL::file("/x.txt"), {.size = {32, 32}}));
    EXPECT_EQ(wanted, (CGSize{32, 32}));
    FileIcons::setProvider({});
}

TEST(ObjectCache, DropsWhatWasUsedLeastAboveItsBytes)
{
    ZelCache cache;
    const std::size_t third = std::size_t{90} << 20U;
    for (const char* key : {"a", "b"})
        cache.setCached(key, {std::string(key), third});
    EXPECT_EQ(std::any_cast<std::string>(ZelCache().getCached("a")), "a") << "one store for all";
    cache.setCached("c", {std::string("c"), third});
    EXPECT_FALSE(cache.getCached("b").has_value());
    EXPECT_TRUE(cache.getCached("a").has_value());
    cache.setCached("huge", {1, std::size_t{300} << 20U});
    EXPECT_FALSE(cache.getCached("huge").has_value());
    for (const char* key : {"a", "c"})
        cache.setCached(key, {{}, 0});
}

} // namespace
} // namespace zel
