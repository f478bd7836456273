#include <zel/io/documents.h>

#include <zel/platform/documents/document.h>
#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/images/ns_image.h>

#include <common/documents.h>
#include <common/pictures.h>

#include <gtest/gtest.h>

#include <thread>
#include <unistd.h>

namespace zel {
namespace {

using test::Page;
using test::pdf;
using test::pixelAt;
using test::Rgba;

/// A folder with the test's files.
class Documents : public testing::Test {
protected:
    void SetUp() override
    {
        if (!installedProgram("zel-documents"))
            GTEST_SKIP() << "zel-documents was not built";
        std::string pattern = testing::TempDir() + "documentsXXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        ZelFailure::clear();
    }
    void TearDown() override
    {
        documents::useProgram({});
        if (!folder_.empty())
            std::filesystem::remove_all(folder_);
    }
    URL file(const std::string& name, const std::string& text) const
    {
        const std::filesystem::path path = std::filesystem::path(folder_).append(name);
        std::ofstream(path, std::ios::binary) << text;
        return URL::file(path);
    }

    std::string folder_;
};

// The left half red, the lower half blue where it is not red: every turn shows.
const std::string halves = "1 0 0 rg 0 0 50 50 re f 0 0 1 rg 50 0 50 25 re f";
constexpr Rgba red{255, 0, 0, 255}, blue{0, 0, 255, 255}, paper{0, 0, 0, 0};

std::string svg(std::string_view size)
{
    return "<?xml version=\"1.0\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" " + std::string(size) +
           "><rect width=\"50%\" height=\"100%\" fill=\"#ff0000\"/></svg>";
}

TEST_F(Documents, PagesMeasureAsDisplayedAndStandUpright)
{
    const struct {
        const char* name;
        std::string entries;
        std::int64_t dpi;
        int width, height;
        Rgba topLeft, topRight, bottomLeft, bottomRight;
    } cases[] = {
        {"as it is", "/MediaBox[0 0 100 50]", 144, 200, 100, red, paper, red, blue},
        {"turned by 90", "/MediaBox[0 0 100 50]/Rotate 90", 72, 50, 100, red, red, blue, paper},
        {"turned by 180", "/MediaBox[0 0 100 50]/Rotate 180", 72, 100, 50, blue, red, paper, red},
        {"turned by 270", "/MediaBox[0 0 100 50]/Rotate 270", 72, 50, 100, paper, blue, red, red},
        {"cropped to the right half", "/MediaBox[0 0 100 50]/CropBox[50 0 100 50]", 72, 50, 50, paper, paper, blue,
         blue},
        {"sides are truncated", "/MediaBox[0 0 100 50]", 71, 98, 49, red, paper, red, blue},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto pages = pdfDocumentToZelImages({file("a.pdf", pdf({{c.entries, halves}})), c.dpi});
        ASSERT_TRUE(pages && pages->size() == 1) << ZelFailure::last().message;
        const CGImage& image = *pages->front()->cgImage;
        ASSERT_EQ(image.width(), c.width);
        ASSERT_EQ(image.height(), c.height);
        EXPECT_EQ(pages->front()->size, (CGSize{static_cast<CGFloat>(c.width), static_cast<CGFloat>(c.height)}));
        const int right = c.width - 5, bottom = c.height - 5;
        EXPECT_EQ(pixelAt(image, 4, 4), c.topLeft);
        EXPECT_EQ(pixelAt(image, right, 4), c.topRight);
        EXPECT_EQ(pixelAt(image, 4, bottom), c.bottomLeft);
        EXPECT_EQ(pixelAt(image, right, bottom), c.bottomRight);
    }
}

TEST_F(Documents, TheFactorCountsTheDisplayScale)
{
    const URL page = file("letter.pdf", pdf({{"/MediaBox[0 0 612 792]"}}));
    const Ref<ZelImage> onPlainScreen = pdfDocumentToZelImage({page, 0, 144});
    ASSERT_TRUE(onPlainScreen) << ZelFailure::last().message;
    EXPECT_EQ(onPlainScreen->size, (CGSize{1224, 1584}));
    Screens::set({1.0, 2.0});
    const Ref<ZelImage> onDenseScreen = pdfDocumentToZelImage({page, 0, 144});
    Screens::set({});
    EXPECT_EQ(onDenseScreen->size, (CGSize{612, 792}));
}

TEST_F(Documents, PagesThatDoNotRenderAreSkipped)
{
    // At 72 dots an inch the second page has no pixel.
    const URL three =
        file("three.pdf", pdf({{"/MediaBox[0 0 30 10]"}, {"/MediaBox[0 0 10 0.5]"}, {"/MediaBox[0 0 20 10]"}}));
    const std::string sides = "<</Type/Page/Parent 2 0 R/MediaBox[0 0 ";
    const URL secondMissing = file(
        "missing.pdf", test::pdfOf({"<</Type/Catalog/Pages 2 0 R>>", "<</Type/Pages/Kids[3 0 R 9 0 R 4 0 R]/Count 3>>",
                                    sides + "30 10]>>", sides + "20 10]>>"}));
    for (const URL& document : {three, secondMissing}) {
        const auto list = pdfDocumentToZelImages({document, 72});
        ASSERT_TRUE(list) << ZelFailure::last().message;
        ASSERT_EQ(list->size(), 2U);
        EXPECT_EQ((*list)[1]->size, (CGSize{20, 10}));
    }
    const URL none = file("none.pdf", pdf({}));

    std::vector<std::string> calls;
    const std::thread::id thread = std::this_thread::get_id();
    const auto streamed = [&](const URL& url, std::int64_t dpi) {
        calls.clear();
        pdfDocumentToZelImagesAsync({url, dpi,
                                     [&](std::int64_t page, std::int64_t count, const Ref<ZelImage>& image) {
                                         EXPECT_EQ(std::this_thread::get_id(), thread);
                                         calls.push_back(std::to_string(page) + "/" + std::to_string(count) + " " +
                                                         std::to_string(image->cgImage->width()));
                                     },
                                     [&](bool success) { calls.emplace_back(success ? "done" : "failed"); }});
        return calls;
    };
    using Calls = std::vector<std::string>;
    EXPECT_EQ(streamed(three, 72), (Calls{"0/3 30", "2/3 20", "done"}));
    EXPECT_EQ(streamed(secondMissing, 72), (Calls{"0/3 30", "2/3 20", "done"}));
    EXPECT_EQ(streamed(none, 72), Calls{"done"});
    EXPECT_EQ(streamed(three, 0), Calls{"done"});
    EXPECT_EQ(streamed(three, -5), Calls{"done"});
    EXPECT_EQ(streamed(file("no.pdf", "no document"), 72), Calls{"failed"});
    EXPECT_EQ(streamed(URL::file(folder_), 72), Calls{"failed"});
    EXPECT_EQ(pdfDocumentToZelImages({three, 0})->size(), 0U);
    EXPECT_EQ(pdfDocumentToZelImages({none, 72}).value_or(std::vector<Ref<ZelImage>>(1)).size(), 0U);
    EXPECT_EQ(pdfDocumentToZelImage({none, 0, 72}), nullptr);
}

TEST_F(Documents, APageWithoutEndIsSkipped)
{
    ZelLimits brief;
    brief.decodeTime = std::chrono::milliseconds(800);
    const ZelLimits::Scope scope(brief);
    const URL three = file("three.pdf", test::pdfWithEndlessPage());
    const auto list = pdfDocumentToZelImages({three, 72});
    ASSERT_TRUE(list) << ZelFailure::last().message;
    ASSERT_EQ(list->size(), 2U);
    EXPECT_EQ((*list)[0]->size, (CGSize{10, 10}));
    EXPECT_EQ((*list)[1]->size, (CGSize{30, 10}));
}

TEST_F(Documents, WhatGivesNothingSaysWhy)
{
    const std::string good = pdf({{"/MediaBox[0 0 100 50]", halves}});
    const URL page = file("good.pdf", good);
    const auto one = [](const URL& url, std::int64_t number, std::int64_t dpi) {
        ZelFailure::clear();
        EXPECT_EQ(pdfDocumentToZelImage({url, number, dpi}), nullptr);
        return ZelFailure::last().code;
    };
    EXPECT_EQ(one(page, 1, 72), ZelFailureCode::invalidArgument);
    EXPECT_EQ(one(page, -1, 72), ZelFailureCode::invalidArgument);
    EXPECT_EQ(one(page, std::int64_t{1} << 40, 72), ZelFailureCode::invalidArgument);
    EXPECT_EQ(one(page, 0, 0), ZelFailureCode::invalidArgument);
    EXPECT_EQ(one(page, 0, 1'000'000'000), ZelFailureCode::limit);
    EXPECT_EQ(one(URL::file(folder_ + std::string("/missing.pdf")), 0, 72), ZelFailureCode::notFound);
    EXPECT_EQ(one(file("picture.pdf", svg("width='4' height='4'")), 0, 72), ZelFailureCode::notAnImage);
    EXPECT_EQ(one(file("head.pdf", "%PDF-1.7\ngarbage"), 0, 72), ZelFailureCode::notAnImage);
    EXPECT_EQ(one(file("locked.pdf", test::lockedPdf()), 0, 72), ZelFailureCode::unsupported);
    {
        ZelLimits few;
        few.pixels = 4999;
        const ZelLimits::Scope scope(few);
        EXPECT_EQ(one(page, 0, 72), ZelFailureCode::limit);
    }
    // Cut anywhere: a page, or a reason; never an end of this process.
    for (std::size_t length = 0; length < good.size(); length += 37) {
        ZelFailure::clear();
        const auto pages = pdfDocumentToZelImages({file("cut.pdf", good.substr(0, length)), 72});
        EXPECT_TRUE(pages || ZelFailure::last().code != ZelFailureCode::none) << length;
    }
}

TEST_F(Documents, DrawingsAreRenderedAtTheScale)
{
    const struct {
        const char* name;
        std::string text;
        double scale;
        int width, height; ///< 0: nothing
    } cases[] = {
        {"a page", pdf({{"/MediaBox[0 0 100 50]", halves}}), 2, 200, 100},
        {"a turned page", pdf({{"/MediaBox[0 0 100 50]/Rotate 90", halves}}), 2, 100, 200},
        {"a page below a pixel", pdf({{"/MediaBox[0 0 0.3 0.3]"}}), 1, 1, 1},
        {"a drawing", svg("width='100' height='50'"), 2, 200, 100},
        {"a drawing measured by its view box", svg("viewBox='0 0 30 20'"), 1.5, 45, 30},
        {"one whose height follows from the box", svg("width='60' viewBox='0 0 30 20'"), 1, 60, 40},
        {"one whose width follows from the box", svg("height='1in' viewBox='0 0 30 20'"), 1, 144, 96},
        {"one in hundredths", svg("width='100%' height='100%' viewBox='0 0 30 20'"), 1, 30, 20},
        {"one in inches: 96 units each", svg("width='2in' height='25.4mm'"), 0.5, 96, 48},
        {"one with a fraction of a unit", svg("width='10.6' height='5.4'"), 2, 21, 10},
        {"scale 0", svg("width='100' height='50'"), 0, 0, 0},
        {"scale below 0", pdf({{"/MediaBox[0 0 100 50]"}}), -1, 0, 0},
        {"no drawing", "<html>", 1, 0, 0},
        {"a broken drawing", "<svg width='9' height='9'", 1, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Ref<const CGImage> image = loadCGImage({file("drawing.ai", c.text), c.scale});
        ASSERT_EQ(image != nullptr, c.width > 0) << ZelFailure::last().message;
        if (!image)
            continue;
        EXPECT_EQ(image->width(), c.width);
        EXPECT_EQ(image->height(), c.height);
    }
    const Ref<const CGImage> drawing = loadCGImage({file("a.svg", svg("width='100' height='50'")), 2});
    EXPECT_EQ(pixelAt(*drawing, 97, 50), red);
    EXPECT_EQ(pixelAt(*drawing, 102, 50), paper);
    EXPECT_EQ(loadCGImage({file("b.svg", svg("width='10' height='5'"))})->width(), 10); // scale 1 unless told
}

TEST_F(Documents, TheScaledFilterImageSaysWhatFails)
{
    const URL good = file("a.svg", svg("width='100' height='50'"));
    const test::PrintedLines printed;
    EXPECT_EQ(loadCIImage({good})->extent(), (CGRect{{0, 0}, {100, 50}}));
    EXPECT_EQ(loadCIImage({good}, 1.5)->extent(), (CGRect{{0, 0}, {150, 75}}));
    EXPECT_TRUE(printed.lines().empty());
    EXPECT_EQ(loadCIImage({good}, 0), nullptr);
    EXPECT_EQ(loadCIImage({file("no.ai", "nothing")}, 1), nullptr);
    EXPECT_EQ(loadCIImage({file("no.ai", "nothing")}), nullptr); // prints nothing
    EXPECT_EQ(printed.lines(),
              (std::vector<std::string>{"Failed to create CGContext.", "Failed to load AI file as NSImage."}));
}

TEST_F(Documents, NoOtherFileIsRead)
{
    file("secret.svg", svg("width='8' height='8'"));
    for (const char* reference : {"secret.svg", "/etc/passwd"}) {
        const std::string text = "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
                                 "width='8' height='8'><image xlink:href='" +
                                 std::string(reference) + "' width='8' height='8'/></svg>";
        const Ref<const CGImage> image = loadCGImage({file("a.svg", text)});
        ASSERT_TRUE(image);
        EXPECT_EQ(pixelAt(*image, 1, 1), paper);
    }
}

} // namespace
} // namespace zel
