#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <common/http_server.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// `fetch` and `upload` beside a server that behaves; tests/peers/web.py has one that does not.
namespace zel::testing {
namespace {

using test::HttpServer;
using ::testing::HasSubstr;

TEST(Fetch, NamesAndConvertsWhatAddressesGive)
{
    const HttpServer server([](const HttpServer::Request& request) {
        return request.target.starts_with("/none") ? std::string("HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n")
                                                   : HttpServer::ok(pngFile(6, 4));
    });
    const TemporaryFolder folder(true);
    folder.put("here.png", pngFile(3, 2));
    const auto at = [&](const std::string& path) { return server.address(path); };
    const struct {
        const char* name;
        std::vector<std::string> words;
        int status;
        std::string file, format, says;
    } cases[] = {
        {"a file", {at("/a.png?size=1"), "-o", "1.jpg"}, 0, "1.jpg", "jpeg", ""},
        {"a folder", {at("/x/b%20c.png"), at("/d.jpg"), "-o", "two/"}, 0, "two/b c.png", "png", ""},
        {"a name of no file", {at("/x%2F"), "-o", "three/", "--format", "png"}, 0, "three/download.png", "png", ""},
        {"a pattern", {at("/a.png"), "-o", "{stem}-{n}.tif"}, 0, "a-1.tif", "tiff", ""},
        {"no format in the address", {at("/picture"), "-o", "four/"}, 2, "", "", "names no format"},
        {"a file's address", {folder.url("here.png").absoluteString(), "-o", "5.png"}, 0, "5.png", "png", ""},
        {"over its own file", {folder.url("here.png").absoluteString(), "-o", "here.png"}, 2, "", "", "is an input"},
        {"not there", {at("/none.png"), "-o", "6.png"}, 3, "", "", "the server answered 404"},
        {"too large",
         {at("/a.png"), "-o", "7.png", "--max-download", "20"},
         4,
         "",
         "",
         "20 bytes (hint: --max-download SIZE)"},
        {"of this machine", {at("/a.png"), "-o", "8.png", "--public-only"}, 1, "", "", "into a private network"},
        {"a path", {"/x/a.png", "-o", "9.png"}, 2, "", "", "'/x/a.png' is no address"},
        {"another scheme", {"ftp://127.0.0.1/a.png", "-o", "9.png"}, 2, "", "", "is no address"},
        {"in place", {at("/a.png"), "--in-place"}, 2, "", "", "cannot be changed in place"},
        {"nothing", {"-o", "9.png"}, 2, "", "", "no address"},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.name);
        c.words.insert(c.words.begin(), "fetch");
        const auto ended = zel(folder, c.words);
        EXPECT_EQ(ended.status, c.status) << ended.err;
        EXPECT_THAT(ended.err, HasSubstr(c.says));
        if (!c.file.empty()) {
            EXPECT_EQ(formatOf(folder.text(c.file)), c.format);
        }
    }
    EXPECT_EQ(sidesOf(folder.text("1.jpg")), (Sides{6, 4}));
    EXPECT_EQ(pixelsOfFile(folder.text("two/b c.png")), pixelsOfFile(pngFile(6, 4)));
    for (const char* file : {"6.png", "7.png", "8.png", "9.png"})
        EXPECT_EQ(folder.text(file), "absent") << file;
    EXPECT_EQ(folder.text("here.png"), pngFile(3, 2));
}

TEST(Upload, PostsJpegs)
{
    HttpServer server([](const HttpServer::Request& request) {
        return request.target == "/moved" ? HttpServer::redirect("/take") : HttpServer::ok("");
    });
    const TemporaryFolder folder(true);
    folder.put("photo.x.png", pngFile(20, 10));
    folder.put("b.png", pngFile(5, 5));
    folder.put("text.png", "no picture");
    const std::string to = server.address("/take");
    const auto jpegOf = [&](const std::string& file, const std::string& quality) {
        return zel(folder, {"convert", file, "-o", "-", "--format", "jpeg", "--quality", quality}).out;
    };
    const auto told = zel(folder, {"upload", "photo.x.png", "--to", to, "--quality", "60", "--jsonl"});
    EXPECT_EQ(told.status, 0) << told.err;
    ASSERT_EQ(server.requests().size(), 1U);
    const auto request = server.requests()[0];
    const auto jpeg = jpegOf("photo.x.png", "60");
    EXPECT_EQ(request.method, "POST");
    EXPECT_THAT(request.body, HasSubstr("name=\"file\"; filename=\"photo.x.jpg\""));
    EXPECT_THAT(request.body, HasSubstr("\r\n\r\n" + jpeg + "\r\n"));
    EXPECT_THAT(told.out, HasSubstr("\"to\":\"" + to + "\""));
    EXPECT_THAT(told.out, HasSubstr("\"bytes\":" + std::to_string(jpeg.size())));

    EXPECT_EQ(zel(folder, {"upload", "photo.x.png", "b.png", "--to", to, "--jobs", "2"}).status, 0);
    EXPECT_EQ(server.requests().size(), 3U);
    const Command piped{.words = {"upload", "-", "--to", to, "--name", "n"}, .input = pngFile(3, 3)};
    EXPECT_EQ(zel(folder, piped).status, 0);
    EXPECT_THAT(server.requests().back().body, HasSubstr("filename=\"n.jpg\""));
    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } wrong[] = {
        {{"b.png", "--to", server.address("/moved")}, 1, "the server answered 302"},
        {{"text.png", "--to", to}, 3, "text.png"},
        {{"b.png", "--to", to, "--name", "a\nb"}, 2, "control characters"},
        {{"b.png", "--to", to, "--public-only"}, 1, "into a private network"},
        {{"b.png"}, 2, "no address (hint: --to ADDRESS)"},
        {{"b.png", "--to", "here"}, 2, "'here' is no address"},
        {{"b.png", "--to", "file:///x"}, 2, "only http and https"},
        {{"b.png", "text.png", "--to", to, "--name", "n"}, 2, "--name is for one picture"},
        {{"b.png", "--to", to, "--public-only", "--allow-private"}, 2, "exclude each other"},
    };
    for (auto c : wrong) {
        SCOPED_TRACE(c.says);
        c.words.insert(c.words.begin(), "upload");
        const auto ended = zel(folder, c.words);
        EXPECT_EQ(ended.status, c.status) << ended.err;
        EXPECT_THAT(ended.err, HasSubstr(c.says));
    }
    EXPECT_EQ(server.requests().size(), 5U) << "and the one that was sent elsewhere";
}

} // namespace
} // namespace zel::testing
