#include <zel/platform/documents/document.h>

#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/modules.h>

#include <common/documents.h>
#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

using documents::checkedReply;
using documents::Reply;
using documents::Request;
using documents::Status;

std::span<const std::uint8_t> messageOf(const Reply& reply)
{
    return {reinterpret_cast<const std::uint8_t*>(&reply), sizeof reply};
}

TEST(Replies, AreBelievedOnlyWhereTheyCanBeTrue)
{
    Request request;
    request.width = 20;
    request.height = 10;
    Reply good;
    good.pages = 3;
    good.width = 20;
    good.height = 10;
    good.pointWidth = 20;
    EXPECT_TRUE(checkedReply(messageOf(good), request));
    const struct {
        const char* name;
        std::function<void(Reply&)> change;
    } lies[] = {
        {"another version", [](Reply& r) { r.version = 7; }},
        {"a page count below 0", [](Reply& r) { r.pages = -1; }},
        {"wider than asked", [](Reply& r) { r.width = 21; }},
        {"no rows", [](Reply& r) { r.width = r.height = 0; }},
        {"no number", [](Reply& r) { r.pointWidth = std::numeric_limits<double>::quiet_NaN(); }},
        {"an endless page", [](Reply& r) { r.pointHeight = std::numeric_limits<double>::infinity(); }},
        {"a size below 0", [](Reply& r) { r.pointHeight = -1; }},
    };
    for (const auto& lie : lies) {
        Reply reply = good;
        lie.change(reply);
        EXPECT_FALSE(checkedReply(messageOf(reply), request)) << lie.name;
    }
    EXPECT_FALSE(checkedReply(messageOf(good).first(sizeof good - 1), request));
    std::vector<std::uint8_t> bytes(messageOf(good).begin(), messageOf(good).end());
    bytes.push_back(0);
    EXPECT_FALSE(checkedReply(bytes, request)) << "too long";
    bytes.pop_back();
    bytes[offsetof(Reply, status)] = 200;
    EXPECT_FALSE(checkedReply(bytes, request)) << "no such status";
}

TEST(Document, IsKnownByItsContent)
{
    const struct {
        std::string head;
        std::optional<Document::Kind> kind;
    } cases[] = {
        {"%PDF-1.4", Document::Kind::pdf},
        {"\r\njunk before %PDF-2.0", Document::Kind::pdf},
        {"<svg>", Document::Kind::svg},
        {"\xEF\xBB\xBF <?xml version='1.0'?><!-- a --><svg>", Document::Kind::svg},
        {"<html><body>", std::nullopt},
        {"text about <svg", std::nullopt},
        {"", std::nullopt},
        {std::string(2000, ' ') + "%PDF-1.4", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Document::kindOf(test::bytesOf(c.head).span()), c.kind) << c.head;
}

/// A program in the place of ours.
class OtherProgram {
public:
    explicit OtherProgram(const std::string& script)
        : path_(testing::TempDir() + "program" + std::to_string(::getpid()))
    {
        std::ofstream(path_) << "#!/bin/sh\n" << script << "\n";
        ::chmod(path_.c_str(), 0700);
        documents::useProgram(path_);
    }
    ~OtherProgram()
    {
        documents::useProgram({});
        ::unlink(path_.c_str());
    }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

private:
    std::string path_;
};

ZelFailureCode openingFails()
{
    ZelFailure::clear();
    EXPECT_EQ(Document::open(ByteSource::of(test::bytesOf(test::pdf({{"/MediaBox[0 0 9 9]"}}))), Document::Kind::pdf),
              nullptr);
    return ZelFailure::last().code;
}

TEST(Document, BearsAProgramThatMisbehaves)
{
    {
        const OtherProgram program("exit 0");
        EXPECT_EQ(openingFails(), ZelFailureCode::unreadable);
    }
    {
        const OtherProgram program("kill -9 $$");
        EXPECT_EQ(openingFails(), ZelFailureCode::unreadable);
    }
    {
        const OtherProgram program("echo no reply of the right shape >&4");
        EXPECT_EQ(openingFails(), ZelFailureCode::unreadable);
    }
    {
        ZelLimits brief;
        brief.decodeTime = std::chrono::milliseconds(150);
        const ZelLimits::Scope scope(brief);
        const OtherProgram program("exec sleep 100");
        EXPECT_EQ(openingFails(), ZelFailureCode::limit);
    }
    documents::useProgram("/missing/zel-documents");
    EXPECT_EQ(openingFails(), ZelFailureCode::missingPart);
    EXPECT_NE(ZelFailure::last().message.find("zelimaging-documents"), std::string::npos);
    documents::useProgram({});
}

TEST(Document, RendersAheadWhatIsAskedForNext)
{
    if (!installedProgram("zel-documents"))
        GTEST_SKIP() << "zel-documents was not built";
    const std::string text =
        test::pdf({{"/MediaBox[0 0 8 8]", "1 0 0 rg 0 0 8 8 re f"}, {"/MediaBox[0 0 8 8]", "0 1 0 rg 0 0 8 8 re f"}});
    const Ref<Document> document = Document::open(ByteSource::of(test::bytesOf(text)), Document::Kind::pdf);
    ASSERT_TRUE(document) << ZelFailure::last().message;
    EXPECT_EQ(document->pageCount(), 2);
    document->renderAhead(1, 8, 8);
    EXPECT_EQ(test::pixelAt(*document->render(1, 8, 8), 3, 3), (test::Rgba{0, 255, 0, 255}));
    document->renderAhead(1, 8, 8); // and then something else
    EXPECT_EQ(document->pageSize(0), (CGSize{8, 8}));
    EXPECT_EQ(test::pixelAt(*document->render(0, 16, 4), 15, 3), (test::Rgba{255, 0, 0, 255}));
    EXPECT_EQ(document->render(2, 8, 8), nullptr);
    EXPECT_EQ(document->pageSize(-1), std::nullopt);
}

} // namespace
} // namespace zel
