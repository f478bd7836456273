#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <common/documents.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;

class Render : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder_.put("one.pdf", test::pdf({{"/MediaBox[0 0 20 10]", "1 0 0 rg 0 0 10 10 re f"}}));
        folder_.put("three.pdf",
                    test::pdf({{"/MediaBox[0 0 10 10]"}, {"/MediaBox[0 0 20 10]"}, {"/MediaBox[0 0 30 10]"}}));
        folder_.put("a.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='8' height='4'/>");
        if (zel(folder_, {"render", "one.pdf", "-o", "probe.png"}).status == 6)
            GTEST_SKIP() << "zel-documents was not built";
    }
    TemporaryFolder folder_;
};

TEST_F(Render, WritesPagesUnderTheirNames)
{
    const struct {
        const char* name;
        std::vector<std::string> words;
        std::string file;
        Sides sides;
    } cases[] = {
        {"144 dots an inch unless told", {"one.pdf", "-o", "a.png"}, "a.png", {40, 20}},
        {"a resolution", {"one.pdf", "-o", "b.jpg", "--dpi", "36"}, "b.jpg", {10, 5}},
        {"a scale", {"one.pdf", "-o", "c.png", "--scale", "3"}, "c.png", {60, 30}},
        {"a folder", {"three.pdf", "-o", "d/", "--dpi", "72"}, "d/three-3.png", {30, 10}},
        {"a pattern",
         {"three.pdf", "-o", "e/{page:03}-{width}.png", "--dpi", "72", "--pages", "2-"},
         "e/002-20.png",
         {20, 10}},
        {"one page of several", {"three.pdf", "-o", "f.png", "--pages", "3", "--dpi", "72"}, "f.png", {30, 10}},
        {"a drawing", {"a.svg", "-o", "g.png", "--scale", "2"}, "g.png", {16, 8}},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.name);
        c.words.insert(c.words.begin(), "render");
        const auto ended = zel(folder_, c.words);
        EXPECT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(sidesOf(folder_.text(c.file)), c.sides);
    }
    EXPECT_EQ(pixelsOfFile(folder_.text("a.png"))[35], (Pixel{255, 255, 255, 255})) << "white paper";
    ASSERT_EQ(zel(folder_, {"render", "one.pdf", "-o", "h.png", "--paper", "transparent"}).status, 0);
    EXPECT_EQ(pixelsOfFile(folder_.text("h.png"))[35], (Pixel{0, 0, 0, 0}));
}

TEST_F(Render, DocumentsTellTheirPages)
{
    const auto ended = zel(folder_, {"info", "three.pdf", "a.svg", "--jsonl"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr(R"("pages":3,"pageSizes":[[10.0,10.0],[20.0,10.0],[30.0,10.0]])"));
    EXPECT_THAT(ended.out, HasSubstr(R"("format":"svg","pages":1,"pageSizes":[[8.0,4.0]])"));
    EXPECT_EQ(zel(folder_, {"info", "three.pdf"}).status, 0);
}

TEST_F(Render, TakesDocumentsWherePicturesAreTaken)
{
    ASSERT_EQ(zel(folder_, {"thumbnail", "one.pdf", "-o", "t.png", "--width", "10"}).status, 0);
    EXPECT_EQ(sidesOf(folder_.text("t.png")), (Sides{10, 5}));
    EXPECT_EQ(pixelsOfFile(folder_.text("t.png"))[0], (Pixel{255, 0, 0, 255}));
    EXPECT_EQ(pixelsOfFile(folder_.text("t.png"))[9], (Pixel{0, 0, 0, 0})) << "no paper";
    ASSERT_EQ(zel(folder_, {"convert", "a.svg", "-o", "a.jpg"}).status, 0);
    EXPECT_EQ(sidesOf(folder_.text("a.jpg")), (Sides{8, 4}));
    // Content decides, whatever the name.
    folder_.put("page.png", folder_.text("one.pdf"));
    EXPECT_THAT(zel(folder_, {"info", "page.png", "--jsonl"}).out, HasSubstr(R"("format":"pdf","pages":1)"));
    folder_.put("picture.pdf", folder_.text("t.png"));
    EXPECT_THAT(zel(folder_, {"info", "picture.pdf", "--jsonl"}).out, HasSubstr(R"("format":"png")"));
    EXPECT_EQ(zel(folder_, {"info", "nothing.pdf"}).status, 3);
}

// Not even the processes that render them grow with the pages.
TEST_F(Render, HoldsFewPagesOfMany)
{
    const auto peakOf = [&](int pages) {
        std::vector<test::Page> all;
        for (int page = 0; page < pages; ++page) {
            std::string content;
            for (int i = 0; i < 100; ++i)
                content += std::to_string((page * 7 + i * 3) % 190) + " " + std::to_string(i * 2) + " 5 5 re f ";
            all.push_back({"/MediaBox[0 0 200 200]", content});
        }
        const std::string name = std::to_string(pages);
        folder_.put(name + ".pdf", test::pdf(all));
        const auto ended = zel(folder_, {"render", name + ".pdf", "-o", name + "/", "--format", "jpeg"});
        EXPECT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(static_cast<int>(std::distance(std::filesystem::directory_iterator(folder_ / name), {})), pages);
        return ended.peak;
    };
    const long few = peakOf(10), many = peakOf(300);
    RecordProperty("KiB of 10 pages", std::to_string(few));
    RecordProperty("KiB of 300 pages", std::to_string(many));
#if !defined(ZEL_SANITIZED) // sanitizers keep what was freed
    constexpr long page = 400 * 400 * 4 / 1024;
    EXPECT_LT(many - few, 10 * page);
#endif
}

TEST_F(Render, RefusesWhatCannotBe)
{
    const struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } cases[] = {
        {{"three.pdf", "-o", "x.png"}, 2, "one name"},
        {{"three.pdf", "-o", "x/", "--pages", "4"}, 2, "has 3 pages"},
        {{"three.pdf", "-o", "x/", "--pages", "3-1"}, 2, "ends before"},
        {{"three.pdf", "-o", "x/", "--pages", "0"}, 2, "not between"},
        {{"three.pdf", "-o", "x/", "--scale", "2", "--dpi", "72"}, 2, "exclude"},
        {{"probe.png", "-o", "x.png"}, 3, "neither a PDF"},
    };
    for (auto c : cases) {
        c.words.insert(c.words.begin(), "render");
        const auto ended = zel(folder_, c.words);
        EXPECT_EQ(ended.status, c.status) << c.says << ended.err;
        EXPECT_THAT(ended.err, HasSubstr(c.says));
    }
}

} // namespace
} // namespace zel::testing
