// What is found, in which order, and what comes of it: folders, addresses, damaged files, documents.
#include <zel-viewer/folder_list.h>
#include <zel-viewer/opening.h>

#include "photograph.h"
#include "viewer_pictures.h"

#include <common/documents.h>
#include <common/http_server.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zel::viewer {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using zel::testing::TemporaryFolder;

QString pathIn(const TemporaryFolder& folder, const char* name)
{
    return QString::fromStdString((folder / name).string());
}

std::vector<std::string> namesOf(const FolderList& list)
{
    std::vector<std::string> names;
    for (int place = 0; place < list.size(); ++place)
        names.push_back(std::filesystem::path(list.at(place).toStdString()).filename());
    return names;
}

TEST(FolderList, CountsAsAPersonDoes)
{
    const char* const inOrder[] = {"",
                                   "1",
                                   "01",
                                   "2",
                                   "10",
                                   "10a",
                                   "a",
                                   "a1b2",
                                   "a1b10",
                                   "A2",
                                   "a 3",
                                   "b",
                                   "IMG_9.jpg",
                                   "IMG_10.jpg",
                                   "IMG_99999999999999999998.jpg",
                                   "IMG_99999999999999999999.jpg"};
    std::vector<QString> sorted(std::begin(inOrder), std::end(inOrder));
    std::sort(sorted.begin(), sorted.end(), comesBefore);
    for (std::size_t i = 0; i < sorted.size(); ++i)
        for (std::size_t j = 0; j < sorted.size(); ++j) // one order, whatever the pair
            EXPECT_EQ(comesBefore(sorted[i], sorted[j]), i < j)
                << qPrintable(sorted[i]) << " " << qPrintable(sorted[j]);
    EXPECT_TRUE(comesBefore("img2.jpg", "img10.jpg"));
    EXPECT_TRUE(comesBefore("Img2.jpg", "img10.jpg"));
    EXPECT_TRUE(comesBefore("img9.jpg", "Img10.jpg"));
}

TEST(FolderList, HoldsPicturesAndTheFileThatWasGiven)
{
    const TemporaryFolder folder;
    for (const char* name : {"p10.jpg", "p2.JPG", "notes.txt", "p1.png", "plan.pdf", "odd"})
        folder.put(name, "x");
    std::filesystem::create_directory(folder / "q.jpg");

    FolderList list(pathIn(folder, "p2.JPG"));
    EXPECT_THAT(namesOf(list), ElementsAre("p1.png", "p2.JPG", "p10.jpg", "plan.pdf"));
    EXPECT_EQ(list.place(), 1);
    EXPECT_TRUE(list.moveTo(2));
    EXPECT_TRUE(list.current().endsWith("p10.jpg"));
    EXPECT_FALSE(list.moveTo(4));
    EXPECT_FALSE(list.moveTo(-1));
    EXPECT_EQ(list.place(), 2);

    EXPECT_EQ(FolderList(QString::fromStdString(folder.path().string())).place(), 0);
    const FolderList odd(pathIn(folder, "odd"));
    EXPECT_TRUE(odd.current().endsWith("/odd"));
    EXPECT_EQ(odd.size(), 5);
    EXPECT_TRUE(FolderList(pathIn(folder, "q.jpg")).isEmpty());
    EXPECT_EQ(FolderList(pathIn(folder, "none/gone.jpg")).size(), 1); // opening it tells what is wrong
}

TEST(Place, IsAFileOrOfTheWeb)
{
    EXPECT_EQ(placeOf("/a/b c.png")->address, URL::file("/a/b c.png"));
    EXPECT_EQ(placeOf("https://example.org/a.png")->address.absoluteString(), "https://example.org/a.png");
    EXPECT_TRUE(placeOf("photo.jpg")->address.isFile());
    EXPECT_FALSE(placeOf("ftp://example.org/a.png"));
    EXPECT_FALSE(placeOf(""));
    EXPECT_EQ(nameOf(*placeOf("/a/b c.png")), "b c.png");
    EXPECT_EQ(nameOf(*placeOf("https://example.org/a/b.png?x=1")), "b.png");
    EXPECT_EQ(nameOf(*placeOf("https://example.org/")), "https://example.org/");
}

std::string valueOf(const Opened& opened, const char* name)
{
    for (const Fact& fact : opened.facts)
        if (fact.name == name)
            return fact.value.toStdString();
    return {};
}

TEST(Opening, ReducesAndTellsFacts)
{
    const TemporaryFolder folder;
    const Opened opened = open({folder.put("wide.png", png(gradient(600, 400)))}, 150);
    ASSERT_TRUE(opened.picture);
    EXPECT_EQ(opened.reduced->size, (CGSize{150, 100}));
    EXPECT_DOUBLE_EQ(opened.scale, 0.25);
    EXPECT_EQ(opened.message, "");
    EXPECT_EQ(valueOf(opened, "Size"), "600 × 400  (3:2, 0.2 MP)");
    EXPECT_EQ(valueOf(opened, "Name"), "wide.png");
    EXPECT_EQ(open({folder.url("wide.png")}, 1000).reduced->size, (CGSize{600, 400}));
}

TEST(Opening, TellsWhenAndWhereAPhotographWasTaken)
{
    const TemporaryFolder folder;
    ASSERT_TRUE(saveToJpeg(gradient(60, 40), {.quality = 1, .dpi = 240, .url = folder.url("plain.jpg")}));
    const Opened opened = open({folder.put("taken.jpg", PhotographFacts().in(folder.text("plain.jpg")))}, 100);
    ASSERT_TRUE(opened.picture);
    EXPECT_EQ(valueOf(opened, "Taken"), "9 May 2024, 18:42:07");
    EXPECT_EQ(valueOf(opened, "Position"), "33.85833° S, 151.21000° E"); // 33° 51' 30", 151° 12' 36"
    EXPECT_EQ(valueOf(opened, "Camera"), "Meadow One");
    EXPECT_EQ(valueOf(opened, "Exposure"), "1/250 s, f/5.6, 35 mm");
    EXPECT_EQ(valueOf(opened, "Resolution"), "240 dpi");
}

TEST(Opening, SaysWhyThereIsNoPicture)
{
    const TemporaryFolder folder;
    const std::string whole = png(gradient(64, 48));
    struct Case {
        const char* name;
        URL file;
        const char* reason;
    };
    const Case cases[] = {
        {"missing", folder.url("gone.png"), "gone.png cannot be shown.\nGone.png: no such file"},
        {"no picture", folder.put("words.jpg", "just words"), "words.jpg cannot be shown.\n"},
        {"empty", folder.put("empty.png", ""), "empty.png cannot be shown.\n"},
        {"cut in its header", folder.put("cut.png", whole.substr(0, 20)), "cut.png cannot be shown.\n"},
        {"a broken document", folder.put("broken.pdf", "%PDF-1.4\n"), "broken.pdf cannot be shown.\n"},
        {"a broken drawing", folder.put("broken.svg", "<svg xmlns='http://www.w3.org/2000/svg'><g>"),
         "broken.svg cannot be shown.\n"},
    };
    for (const Case& row : cases) {
        const Opened opened = open({row.file}, 100);
        EXPECT_FALSE(opened.picture) << row.name;
        EXPECT_FALSE(opened.reduced) << row.name;
        EXPECT_THAT(opened.message.toStdString(), StartsWith(row.reason));
        EXPECT_GT(opened.message.size(), QString(row.reason).indexOf('\n') + 5) << row.name;
    }
    const Opened partly = open({folder.put("half.png", whole.substr(0, whole.size() * 2 / 3))}, 100);
    EXPECT_TRUE(partly.picture); // what there is of it
    EXPECT_FALSE(partly.message.isEmpty());
}

TEST(Opening, RendersPagesAndDrawings)
{
    const TemporaryFolder folder;
    const URL document = folder.put("two.pdf", pdf({{"/MediaBox[0 0 144 72]", "1 0 0 rg 0 0 144 72 re f"},
                                                    {"/MediaBox[0 0 72 72]", "0 0 1 rg 0 0 72 72 re f"}}));
    const Opened first = open({document}, 1000);
    if (!first.picture)
        GTEST_SKIP() << "documents are not rendered here: " << qPrintable(first.message);
    EXPECT_EQ(first.pages, 2);
    EXPECT_EQ(first.message, "");
    EXPECT_DOUBLE_EQ(first.picture->size.width, 2 * first.picture->size.height);
    const Opened second = open({document, 1}, 1000);
    EXPECT_EQ(pixelAt(*second.picture->cgImage, 5, 5), (Rgba{0, 0, 255, 255}));
    EXPECT_EQ(valueOf(second, "Page"), "2 of 2");
    EXPECT_EQ(open({document, 99}, 1000).place.page, 1);

    const Opened drawing = open({folder.put("red.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='20' height='10'>"
                                                       "<rect width='20' height='10' fill='red'/></svg>")},
                                500);
    ASSERT_TRUE(drawing.picture) << qPrintable(drawing.message);
    EXPECT_EQ(drawing.picture->size, (CGSize{500, 250})); // drawn for the screen, not enlarged
}

TEST(Opening, FetchesFromTheWeb)
{
    const std::string file = png(gradient(30, 20));
    const HttpServer server([&](const HttpServer::Request& request) {
        return request.target == "/a.png" ? HttpServer::ok(file)
                                          : std::string("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    });
    const Opened opened = open(*placeOf(QString::fromStdString(server.address("/a.png"))), 100);
    ASSERT_TRUE(opened.picture) << qPrintable(opened.message);
    EXPECT_EQ(bytesOfPixels(opened.picture), bytesOfPixels(gradient(30, 20)));
    EXPECT_THAT(valueOf(opened, "Address"), HasSubstr("/a.png"));
    EXPECT_FALSE(open(*placeOf(QString::fromStdString(server.address("/b.png"))), 100).picture);
}

} // namespace
} // namespace zel::viewer
