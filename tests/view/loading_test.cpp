#include <view/image_view.h>

#include <common/http_server.h>
#include <foundation/temporary_folder.h>
#include <view/qt_application.h>

#include <QIcon>
#include <gtest/gtest.h>

#include <thread>

namespace zel {
namespace {

using namespace test;
using testing::TemporaryFolder;

class ViewLoading : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", caches_.path().c_str(), 1); }
    void TearDown() override
    {
        ZelImageView::setPlaceHolder(nullptr);
        runWaitingTasks();
        unsetenv("XDG_CACHE_HOME");
    }
    static Ref<ZelImage> cached(const URL& address)
    {
        const std::any found = ZelImageView::imageCache().getCached(address.path());
        const auto* image = std::any_cast<Ref<ZelImage>>(&found);
        return image != nullptr ? *image : nullptr;
    }

    TemporaryFolder caches_, folder_;
    const Ref<ZelImage> old_ = flatImage(5, 5, {1, 2, 3, 255});
    const Ref<ZelImage> waiting_ = flatImage(6, 6, {4, 5, 6, 255});
};

TEST_F(ViewLoading, ClearsOnAMissAndShowsTheCachedWithoutClearing)
{
    const URL address = folder_.put("first.png", png(flatImage(30, 20, {9, 9, 9, 255})));
    ZelImageView view;
    view.setShownImage(old_->image);
    view.setImage(address, {});
    EXPECT_EQ(view.image(), nullptr);
    ASSERT_TRUE(waitFor([&] { return view.image() != nullptr; }));
    EXPECT_EQ(view.image()->size(), (CGSize{30, 20}));
    ASSERT_TRUE(waitFor([&] { return cached(address) != nullptr; }));

    EXPECT_TRUE(caches_.names().empty());           // a file lies on the disk already
    std::filesystem::remove(folder_ / "first.png"); // what comes now comes from the cache
    ZelImageView second;
    second.setShownImage(old_->image);
    second.setImage(address, {.placeholder = waiting_});
    EXPECT_EQ(second.image(), old_->image); // the main loop has not run: neither cleared nor changed
    runWaitingTasks();
    EXPECT_EQ(second.image(), cached(address)->image);

    ZelImageView elsewhere; // the path alone is the key
    elsewhere.setImage({.httpPath = "http://127.0.0.1:9" + address.path() + "?size=2"});
    runWaitingTasks();
    EXPECT_EQ(elsewhere.image(), cached(address)->image);
}

TEST_F(ViewLoading, WithoutAnAddressOnlyThePlaceholderShows)
{
    const Ref<ZelImage> common = flatImage(7, 7, {7, 7, 7, 255});
    struct Case {
        const char* name;
        std::function<void(ZelImageView&)> act;
        Ref<ZelImage> ofAll, expected;
    };
    const Case cases[] = {
        {"no address, no placeholder", [](auto& view) { view.setImage(std::nullopt, {}); }, nullptr, old_},
        {"no address, a placeholder", [&](auto& view) { view.setImage(std::nullopt, {waiting_}); }, nullptr, waiting_},
        {"no address, that of all views", [](auto& view) { view.setImage(std::nullopt, {}); }, common, common},
        {"its own goes first", [&](auto& view) { view.setImage(std::nullopt, {waiting_}); }, common, waiting_},
        {"setPlaceholder", [&](auto& view) { view.setPlaceholder(waiting_); }, common, waiting_},
        {"setPlaceholder of none", [](auto& view) { view.setPlaceholder(nullptr); }, common, common},
        {"no text", [](auto& view) { view.setImage({.httpPath = std::nullopt}); }, nullptr, old_},
        {"an empty text", [&](auto& view) { view.setImage({.httpPath = "", .placeholder = waiting_}); }, nullptr,
         waiting_},
        {"no host", [](auto& view) { view.setImage({.httpPath = "http://"}); }, nullptr, old_},
        {"words", [](auto& view) { view.setImage({.httpPath = "no address"}); }, common, common},
        {"a relative text", [](auto& view) { view.setImage({.httpPath = "photo.jpg"}); }, nullptr, old_},
        {"a null image", [](auto& view) { view.setImage(Ref<ZelImage>()); }, common, old_},
    };
    for (const Case& row : cases) {
        ZelImageView view;
        ZelImageView::setPlaceHolder(row.ofAll);
        view.setShownImage(old_->image);
        row.act(view);
        EXPECT_EQ(view.image(), old_->image) << row.name; // what changes does so on the main loop
        runWaitingTasks();
        EXPECT_EQ(view.image(), row.expected->image) << row.name;
    }
}

TEST_F(ViewLoading, FailuresKeepThePlaceholderAndAreTriedAgain)
{
    const std::string picture = HttpServer::ok(png(flatImage(8, 4, {9, 9, 9, 255})));
    struct Case {
        const char* path;
        std::string first;
    };
    const Case cases[] = {
        {"/view/missing.png", "HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 0\r\n\r\n"},
        {"/view/empty.png", HttpServer::ok("")},
        {"/view/cut.png", HttpServer::ok("short", 500)},
        {"/view/words.png", HttpServer::ok("no picture")},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.path);
        std::atomic<int> asked = 0;
        const HttpServer server([&](const auto&) { return ++asked == 1 ? row.first : picture; });
        const auto address = URL::parse(server.address(row.path));
        ZelImageView view;
        view.setImage(address, {.placeholder = waiting_});
        ASSERT_TRUE(waitFor([&] { return asked == 1; }));
        view.setImage(address, {.placeholder = waiting_}); // behind the first in the same row
        runWaitingTasks();
        EXPECT_TRUE(waitFor([&] { return view.image() && view.image()->size() == CGSize{8, 4}; }));
        EXPECT_EQ(asked, 2);
    }
    const URL text = folder_.put("text.png", "no picture");
    ZelImageView view;
    view.setImage(text, {.placeholder = waiting_});
    runWaitingTasks();
    // Bytes that are no picture are not kept; once the file is one, it shows.
    EXPECT_EQ(view.image(), waiting_->image);
    folder_.put("text.png", png(flatImage(2, 2, {9, 9, 9, 255})));
    EXPECT_TRUE(waitFor([&] {
        if (view.image() == waiting_->image)
            view.setImage(text, {.placeholder = waiting_});
        return view.image() && view.image()->size() == CGSize{2, 2};
    }));
}

TEST_F(ViewLoading, AFileThatWasChangedIsLoadedAnew)
{
    const auto noise = [](int width) { // more than is kept in memory
        return png(makeZelImage(painted(width, 400, CGAlphaInfo::noneSkipLast, [](int x, int y) {
            auto mixed = static_cast<std::uint32_t>(x) * 2654435761U + static_cast<std::uint32_t>(y) * 40503U;
            mixed = (mixed ^ (mixed >> 15)) * 2246822519U;
            mixed = (mixed ^ (mixed >> 13)) * 3266489917U;
            return Rgba{static_cast<std::uint8_t>(mixed >> 24), static_cast<std::uint8_t>(mixed >> 16), 9, 255};
        })));
    };
    const URL address = folder_.put("photo.png", noise(400));
    ASSERT_GT(std::filesystem::file_size(address.filePath()), 200'000U);
    ZelImageView view;
    view.resize(300, 300);
    view.setImage(address, {});
    ASSERT_TRUE(waitFor([&] { return view.image() != nullptr; }));
    EXPECT_NE(drawn(view).pixel(150, 150), 0U);
    folder_.put("photo.png", noise(500));
    EXPECT_NE(drawn(view).pixel(150, 150), 0U); // at this size it is decoded already
    view.resize(200, 200);
    EXPECT_TRUE(waitFor([&] { return drawn(view).pixel(100, 100) != 0U; }));
    EXPECT_EQ(view.image()->size(), (CGSize{500, 400}));
    EXPECT_EQ(cached(address)->size, (CGSize{500, 400}));
}

TEST_F(ViewLoading, TheNewestAddressWinsAndAViewMayGo)
{
    std::promise<void> release;
    const std::shared_future<void> released(release.get_future());
    const HttpServer slow([&](const auto&) {
        released.wait();
        return HttpServer::ok(png(flatImage(50, 50, {9, 9, 9, 255})));
    });
    const URL late = *URL::parse(slow.address("/view/late.png")), lost = *URL::parse(slow.address("/view/lost.png"));
    const URL fast = folder_.put("fast.png", png(flatImage(3, 3, {9, 9, 9, 255})));
    ZelImageView view;
    auto gone = std::make_unique<ZelImageView>();
    view.setImage(late, {});
    gone->setImage(lost, {.placeholder = waiting_});
    view.setImage(fast, {});
    EXPECT_TRUE(waitFor([&] { return view.image() != nullptr; }));
    gone.reset();
    release.set_value();
    ASSERT_TRUE(waitFor([&] { return cached(late) && cached(lost); }));
    runWaitingTasks();
    EXPECT_EQ(view.image()->size(), (CGSize{3, 3}));
}

TEST_F(ViewLoading, OtherThreadsChangeTheViewOnTheMainLoop)
{
    ZelImageView view;
    view.setShownImage(old_->image);
    bool isDone = false, inLoop = false;
    std::thread other([&] {
        view.setPlaceholder(waiting_);
        XMain::sync([&] { inLoop = QThread::currentThread() == view.thread() && view.image() == waiting_->image; });
        XMain::execute([&] { isDone = true; });
    });
    EXPECT_EQ(view.image(), old_->image);
    EXPECT_TRUE(waitFor([&] { return isDone; }));
    other.join();
    EXPECT_TRUE(inLoop);
}

TEST(ViewDesktop, NamedImagesComeFromResourcesQtsToo)
{
    const std::string logo = png(flatImage(9, 9, {9, 9, 9, 255}));
    Resources::add("view logo", Data(std::vector<std::uint8_t>(logo.begin(), logo.end())));
    NSImageView view;
    struct Case {
        const char* name;
        std::optional<CGFloat> width;
    };
    for (const Case& row : {Case{"view logo", 9},
                            {"unknown", {}},
                            {"pictures/sample", 3},
                            {":/pictures/sample.ppm", 3},
                            {"pictures", {}},
                            {"", {}}}) {
        view.set(row.name);
        runWaitingTasks();
        EXPECT_EQ(view.image() ? view.image()->width() : 0, row.width.value_or(0)) << row.name;
    }
}

TEST(ViewDesktop, FileIconsComeFromTheThemeByContent)
{
    const TemporaryFolder folder;
    const NSImageView joins;
    std::filesystem::create_directories(folder / "icons/zeltest/16x16/mimetypes");
    folder.put("icons/zeltest/index.theme", "[Icon Theme]\nName=zeltest\nDirectories=16x16/mimetypes\n"
                                            "[16x16/mimetypes]\nSize=16\nType=Fixed\n");
    folder.put("icons/zeltest/16x16/mimetypes/text-x-generic.png", png(flatImage(16, 16, {10, 20, 30, 255})));
    QIcon::setThemeSearchPaths({QString::fromStdString((folder / "icons").string())});
    QIcon::setThemeName("zeltest");
    const URL text = folder.put("notes.txt", "words");
    const auto colorOf = [](const Ref<ZelImage>& icon) {
        return icon ? pixelAt(*icon->image->cgImage(), 8, 8) : Rgba{};
    };
    EXPECT_EQ(colorOf(makeZelImage({.forFile = text})), (Rgba{10, 20, 30, 255}));
    EXPECT_EQ(makeZelImage({.forFile = folder.put("unknown.bin", std::string(9, '\0'))}), nullptr);
    Ref<ZelImage> elsewhere;
    std::atomic<bool> isDone = false;
    std::thread other([&] {
        elsewhere = makeZelImage({.forFile = text});
        isDone = true;
    });
    EXPECT_TRUE(waitFor([&] { return isDone.load(); }));
    other.join();
    EXPECT_EQ(colorOf(elsewhere), (Rgba{10, 20, 30, 255}));
}

} // namespace
} // namespace zel
