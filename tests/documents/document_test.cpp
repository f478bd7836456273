#include <zel/platform/documents/document.h>

#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/modules.h>

#include <common/documents.h>
#include <common/pictures.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
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
    EXPECT_NE(ZelFailure::last().message.find("libzelimaging-documents0"), std::string::npos);
    documents::useProgram({});
}

/// Replies from somebody else than a program of ours, over the same kind of socket.
class Stranger {
public:
    Stranger()
    {
        std::array<int, 2> ends = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
        far_ = ends[1];
        helper = documents::Helper::over(ends[0]);
    }
    ~Stranger() { leave(); }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;
    void say(std::span<const std::uint8_t> message) const
    {
        ::send(far_, message.data(), message.size(), MSG_NOSIGNAL);
    }
    void leave()
    {
        if (far_ >= 0)
            ::close(far_);
        far_ = -1;
    }
    documents::Helper::Wait wait(const Request& request, Reply& reply) const
    {
        return helper->answer(request, Deadline(std::chrono::milliseconds(100)), reply);
    }
    std::unique_ptr<documents::Helper> helper;

private:
    int far_ = -1;
};

TEST(Helper, BelievesNobody)
{
    using Wait = documents::Helper::Wait;
    Request request;
    request.width = 300;
    request.height = 200;
    Reply good, reply;
    good.width = 300;
    good.height = 200;
    {
        const Stranger stranger;
        ASSERT_TRUE(stranger.helper);
        ASSERT_TRUE(stranger.helper->ask(request));
        stranger.say(messageOf(good));
        EXPECT_EQ(stranger.wait(request, reply), Wait::answered);
        EXPECT_GE(stranger.helper->band(request).size(), 300U * 200U * 4U);
        EXPECT_EQ(stranger.helper->band(request).back(), 0) << "there without anybody writing";
        EXPECT_EQ(stranger.wait(request, reply), Wait::tooLong) << "silence";
    }
    {
        const Stranger stranger;
        stranger.say(messageOf(good).first(7));
        EXPECT_EQ(stranger.wait(request, reply), Wait::gone);
        std::vector<std::uint8_t> flood(5000, 1);
        stranger.say(flood);
        EXPECT_EQ(stranger.wait(request, reply), Wait::gone);
    }
    Stranger stranger;
    stranger.leave();
    EXPECT_FALSE(stranger.helper->ask(request));
    EXPECT_EQ(stranger.wait(request, reply), Wait::gone);
}

/// The processes that this one has started and that run.
std::vector<pid_t> ownProcesses()
{
    std::vector<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string text;
        std::getline(file, text);
        const std::size_t name = text.rfind(')');
        if (name == std::string::npos)
            continue;
        std::istringstream rest(text.substr(name + 1));
        char state = 0;
        pid_t parent = 0;
        rest >> state >> parent;
        if (parent == ::getpid() && state != 'Z')
            found.push_back(std::stoi(text));
    }
    return found;
}

class RenderedDocument : public testing::Test {
protected:
    void SetUp() override
    {
        if (!installedProgram("zel-documents"))
            GTEST_SKIP() << "zel-documents was not built";
        ZelFailure::clear();
    }
    static Ref<Document> open(const std::string& text)
    {
        return Document::open(ByteSource::of(test::bytesOf(text)), Document::Kind::pdf);
    }
};

constexpr test::Rgba red{255, 0, 0, 255}, green{0, 255, 0, 255};

std::string colouredPages(int count)
{
    std::vector<test::Page> pages;
    for (int i = 0; i < count; ++i)
        pages.push_back({"/MediaBox[0 0 8 8]", i % 2 == 0 ? "1 0 0 rg 0 0 8 8 re f" : "0 1 0 rg 0 0 8 8 re f"});
    return test::pdf(pages);
}

TEST_F(RenderedDocument, BeginsAheadWhatIsAskedForNext)
{
    const Ref<Document> document = open(colouredPages(6));
    ASSERT_TRUE(document) << ZelFailure::last().message;
    EXPECT_EQ(document->pageCount(), 6);
    document->renderAhead(1, 8, 8);
    EXPECT_EQ(test::pixelAt(*document->render(1, 8, 8), 3, 3), green);
    document->renderAhead(1, 8, 8); // and then something else
    EXPECT_EQ(document->pageSize(0), (CGSize{8, 8}));
    EXPECT_EQ(test::pixelAt(*document->render(0, 16, 4), 15, 3), red);
    EXPECT_EQ(test::pixelAt(*document->render(1, 8, 8), 3, 3), green);
    EXPECT_EQ(document->render(6, 8, 8), nullptr);
    EXPECT_EQ(document->pageSize(-1), std::nullopt);
    // In whatever order they are begun, sized and taken: each is itself.
    std::mt19937 random(7);
    for (int turn = 0; turn < 60; ++turn) {
        const int page = static_cast<int>(random() % 6), side = 1 + static_cast<int>(random() % 9);
        const auto paper = random() % 2 == 0 ? std::nullopt : std::optional(Document::Paper{0, 0, 255});
        switch (random() % 4) {
        case 0:
            EXPECT_EQ(document->pageSize(page), (CGSize{8, 8}));
            break;
        case 1:
            document->renderAhead(page, side, side, paper);
            break;
        default:
            const auto image = document->render(page, side, side, paper);
            ASSERT_TRUE(image) << ZelFailure::last().message;
            ASSERT_EQ(image->width(), side);
            EXPECT_EQ(test::pixelAt(*image, side / 2, side / 2), page % 2 == 0 ? red : green) << turn;
        }
    }
    EXPECT_LE(ownProcesses().size(), 2U);
}

TEST_F(RenderedDocument, ComesInBandsThatShowNoSeam)
{
    // The page's left half is green in its lower half; red is all else.
    const Ref<Document> document =
        open(test::pdf({{"/MediaBox[0 0 8 8]", "1 0 0 rg 0 0 8 8 re f 0 1 0 rg 0 0 4 4 re f"}}));
    ASSERT_TRUE(document);
    const struct {
        int width, height;
    } sizes[] = {
        {8, documents::rowsOfBand(8)},              // one band to the last row
        {8, documents::rowsOfBand(8) + 1},          // and one row more
        {6, 2 * documents::rowsOfBand(6) + 7},      // two and a bit
        {40, 7 * documents::rowsOfBand(40) + 3},    //
        {documents::rowsOfBand(1) + 100, 6},        // rows that are longer than a band
        {2 * (documents::rowsOfBand(1) + 100), 10}, // yet longer ones
        {8, 4},
    };
    for (const auto& size : sizes) {
        const auto image = document->render(0, size.width, size.height, Document::Paper{0, 0, 255});
        ASSERT_TRUE(image) << size.width << " x " << size.height << ": " << ZelFailure::last().message;
        int wrong = 0;
        for (int y = 0; y < size.height; ++y)
            for (const int x : {0, size.width / 2 - 1, size.width / 2, size.width - 1})
                wrong +=
                    test::pixelAt(*image, x, y) != (x < size.width / 2 && y >= (size.height + 1) / 2 ? green : red);
        const int between = size.height % 2 == 0 ? 0 : 2; // of a middle row that is half green
        EXPECT_LE(wrong, between) << size.width << " x " << size.height;
    }
}

TEST_F(RenderedDocument, ServesSeveralThreads)
{
    const Ref<Document> document = open(colouredPages(4));
    ASSERT_TRUE(document);
    std::vector<std::jthread> threads;
    for (int first = 0; first < 4; ++first)
        threads.emplace_back([&, first] {
            for (int turn = 0; turn < 12; ++turn) {
                const int page = (first + turn) % 4;
                document->renderAhead((page + 1) % 4, 5, 5);
                const auto image = document->render(page, 5, 5);
                EXPECT_TRUE(image && test::pixelAt(*image, 2, 2) == (page % 2 == 0 ? red : green)) << page;
                if (turn == 6)
                    document->rest();
            }
        });
}

TEST_F(RenderedDocument, LiesOnPaper)
{
    // The lower half covered by half red.
    const Ref<Document> document = open(
        test::pdf({{"/MediaBox[0 0 8 8]/Resources<</ExtGState<</G<</ca 0.5>>>>>>", "/G gs 1 0 0 rg 0 0 8 4 re f"}}));
    ASSERT_TRUE(document);
    const auto bare = document->render(0, 8, 8), laid = document->render(0, 8, 8, Document::Paper{0, 0, 255});
    ASSERT_TRUE(bare && laid);
    const auto near = [](const test::Rgba& found, const test::Rgba& expected) {
        for (std::size_t i = 0; i < 4; ++i)
            if (std::abs(found[i] - expected[i]) > 3)
                return false;
        return true;
    };
    EXPECT_EQ(test::pixelAt(*bare, 4, 1), (test::Rgba{0, 0, 0, 0}));
    EXPECT_EQ(test::pixelAt(*laid, 4, 1), (test::Rgba{0, 0, 255, 255}));
    EXPECT_TRUE(near(test::pixelAt(*bare, 4, 6), {128, 0, 0, 128})) << "premultiplied";
    EXPECT_TRUE(near(test::pixelAt(*laid, 4, 6), {128, 0, 127, 255}));
}

TEST_F(RenderedDocument, OutlivesItsProcesses)
{
    const Ref<Document> document = open(colouredPages(2));
    ASSERT_TRUE(document);
    const auto before = ownProcesses();
    ASSERT_EQ(before.size(), 1U);
    ::kill(before[0], SIGKILL);
    while (!ownProcesses().empty()) {}
    const auto rendered = document->render(0, 8, 8);
    ASSERT_TRUE(rendered) << ZelFailure::last().message;
    EXPECT_EQ(test::pixelAt(*rendered, 3, 3), red);
    EXPECT_EQ(ownProcesses().size(), 1U) << "the ended one is gone";
    // Between two bands: one is there already, the others are those of another process.
    const int height = 5 * documents::rowsOfBand(40);
    document->renderAhead(1, 40, height);
    EXPECT_TRUE(document->pageSize(1)); // answered behind it, where there is one process
    document->renderAhead(1, 40, height);
    for (const pid_t process : ownProcesses())
        ::kill(process, SIGKILL);
    while (!ownProcesses().empty()) {}
    const auto whole = document->render(1, 40, height);
    ASSERT_TRUE(whole) << ZelFailure::last().message;
    for (int y = 0; y < height; y += 100)
        ASSERT_EQ(test::pixelAt(*whole, 20, y), green) << y;
}

TEST_F(RenderedDocument, GivesUpThePageThatTakesTooLong)
{
    ZelLimits brief;
    brief.decodeTime = std::chrono::milliseconds(800);
    const ZelLimits::Scope scope(brief);
    const Ref<Document> document = open(test::pdfWithEndlessPage());
    ASSERT_TRUE(document) << ZelFailure::last().message;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(document->render(1, 20, 10), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_TRUE(document->render(2, 30, 10)) << "the others are there";
    // One that comes again and again is given up with the document.
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(document->render(1, 20, 10), nullptr);
    EXPECT_EQ(document->render(1, 20, 10), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::unreadable);
}

TEST_F(RenderedDocument, SaysThatItIsLocked)
{
    EXPECT_EQ(open(test::lockedPdf()), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::unsupported);
    EXPECT_NE(ZelFailure::last().message.find("password"), std::string::npos);
    EXPECT_TRUE(ownProcesses().empty());
}

} // namespace
} // namespace zel
