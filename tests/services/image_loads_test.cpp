#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/threads.h>
#include <zel/platform/services/image_loads.h>

#include <common/http_server.h>
#include <foundation/temporary_folder.h>

#include <cstdlib>
#include <future>
#include <gtest/gtest.h>

namespace zel {
namespace {

using test::HttpServer;
using testing::TemporaryFolder;

/// A picture of that many columns, one row.
std::string picture(int width)
{
    std::string text = "P3 " + std::to_string(width) + " 1 255\n";
    for (int x = 0; x < width; ++x)
        text += "1 2 3 ";
    return text;
}

class ImageLoads : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", caches_.path().c_str(), 1); }
    void TearDown() override { unsetenv("XDG_CACHE_HOME"); }
    static ImageLoad::Loaded load(const URL& address)
    {
        auto loaded = std::make_shared<std::promise<ImageLoad::Loaded>>();
        std::future<ImageLoad::Loaded> result = loaded->get_future();
        ImageLoad::begin(address, [loaded](const ImageLoad::Loaded& now) { loaded->set_value(now); });
        return result.get();
    }
    [[nodiscard]] std::ptrdiff_t keptFiles() const
    {
        std::ptrdiff_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(caches_.path()))
            count += entry.is_regular_file() ? 1 : 0;
        return count;
    }

    TemporaryFolder caches_, folder_;
};

TEST_F(ImageLoads, AreImagesOfFilesAndAnswers)
{
    const HttpServer server([](const HttpServer::Request& request) {
        return request.target == "/words" ? HttpServer::ok("words") : HttpServer::ok(picture(5));
    });
    const ZelReport report;
    const ImageLoad::Loaded file = load(folder_.put("file.ppm", picture(3)));
    ASSERT_TRUE(file.image);
    EXPECT_EQ(file.image->width(), 3);
    EXPECT_EQ(load(*URL::parse(server.address("/picture"))).image->width(), 5);
    EXPECT_EQ(load(*URL::parse(server.address("/picture"))).image->width(), 5);
    EXPECT_EQ(server.requests().size(), 1U); // the second came from the caches folder
    EXPECT_EQ(keptFiles(), 1);
    EXPECT_TRUE(report.notes().empty());

    EXPECT_FALSE(load(folder_.url("missing.ppm")).image);
    EXPECT_FALSE(load(*URL::parse(server.address("/words"))).image);
    EXPECT_FALSE(load(*URL::parse(server.address("/words"))).image);
    EXPECT_EQ(server.requests().size(), 3U); // what is no picture is asked for again
    ASSERT_EQ(report.notes().size(), 3U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::notFound);
    EXPECT_EQ(report.notes()[1].code, ZelFailureCode::notAnImage);
}

TEST_F(ImageLoads, TwoAtAPlaceAndTheHurriedFirst)
{
    std::promise<void> release;
    const std::shared_future<void> released(release.get_future());
    const HttpServer server([&](const auto&) {
        released.wait();
        return HttpServer::ok(picture(2));
    });
    std::mutex mutex;
    std::vector<int> order;
    std::promise<void> all;
    const auto begin = [&](int number) {
        return ImageLoad::begin(*URL::parse(server.address("/" + std::to_string(number))), [&, number](const auto&) {
            const std::scoped_lock lock(mutex);
            order.push_back(number);
            if (order.size() == 6)
                all.set_value();
        });
    };
    std::vector<Ref<ImageLoad>> loads;
    for (int number = 0; number < 6; ++number)
        loads.push_back(begin(number));
    loads[5]->hurry();
    loads[0]->hurry();                                            // under way: nothing changes
    EXPECT_TRUE(load(folder_.put("file.ppm", picture(3))).image); // another place does not wait for this one
    release.set_value();
    all.get_future().wait();
    const std::scoped_lock lock(mutex);
    // 2 begins together with 5, 4 behind both of them and 3.
    EXPECT_LT(std::find(order.begin(), order.end(), 5), std::find(order.begin(), order.end(), 4));
}

} // namespace
} // namespace zel
