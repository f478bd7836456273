#include <zel/cache/image_cache.h>

#include <common/pictures.h>
#include <zel/platform/foundation/failure.h>

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <list>
#include <random>
#include <stdexcept>
#include <thread>

namespace zel {
namespace {

using test::positions;

/// The identifiers in list order: "C A".
std::string listed(const ZelImageCache& cache)
{
    std::string text;
    for (const auto& entry : cache.cachedImageList())
        text += (text.empty() ? "" : " ") + entry->id;
    return text;
}

/// A cache and how often it had to compute.
struct Counted {
    explicit Counted(std::optional<std::int64_t> most) : cache({.maxImagesInCache = most}) {}
    Ref<ZelImage> operator()(const std::string& id, std::optional<CGFloat> maxSize = {}, CGSize size = {8, 4})
    {
        return cache.getImageOrCalc({.withId = id, .maxSize = maxSize, .calcClosure = [&] {
                                         ++computed;
                                         last = makeZelImage(positions(int(size.width), int(size.height)));
                                         return last;
                                     }});
    }
    ZelImageCache cache;
    std::atomic<int> computed = 0;
    Ref<ZelImage> last;
};

TEST(ImageCache, KeepsWhatWasRequestedLast)
{
    const struct {
        const char* name;
        std::optional<std::int64_t> most;
        const char* requests;
        const char* list;
        int computed;
    } cases[] = {
        {"no bound keeps the order of insertion", {}, "ABCAB", "A B C", 3},
        {"the least recently requested goes", 2, "ABAC", "C A", 3},
        {"hits alone move nothing", 3, "ABCA", "A B C", 3},
        {"one too many sorts", 3, "ABCAD", "D A C", 4},
        {"and so on", 3, "ABCADBE", "E B D", 6},
        {"as many as there may be", 2, "AB", "A B", 2},
        {"nothing is kept", 0, "AAB", "", 3},
        {"below nothing", -5, "AA", "", 2},
    };
    for (const auto& c : cases) {
        Counted cache(c.most);
        for (const char* id = c.requests; *id != 0; ++id)
            EXPECT_NE(cache(std::string(1, *id)), nullptr) << c.name;
        EXPECT_EQ(listed(cache.cache), c.list) << c.name;
        EXPECT_EQ(cache.computed, c.computed) << c.name;
        EXPECT_EQ(cache.cache.maxImagesInCache(), c.most);
    }
}

TEST(ImageCache, BoundsWhatItComputes)
{
    const struct {
        const char* name;
        CGSize size;
        std::optional<CGFloat> most;
        std::optional<CGSize> kept;
    } cases[] = {
        {"reduced", {400, 200}, 100, CGSize{100, 50}},
        {"upright", {50, 100}, 50, CGSize{25, 50}},
        {"small enough, and new all the same", {80, 60}, 100, CGSize{80, 60}},
        {"no bound", {80, 60}, {}, CGSize{80, 60}},
        {"a bound of 0", {80, 60}, 0, std::nullopt},
        {"a bound that is no number", {80, 60}, std::numeric_limits<double>::quiet_NaN(), std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Counted cache({});
        const auto image = cache("x", c.most, c.size);
        ASSERT_EQ(image != nullptr, c.kept.has_value());
        if (image) {
            EXPECT_EQ(image->size, *c.kept);
        }
        EXPECT_EQ(image == cache.last, !c.most);
        // Again, whatever is asked for now: what is kept.
        EXPECT_EQ(cache("x", 3), image);
        EXPECT_EQ(cache.computed, 1);
    }
}

TEST(ImageCache, RemembersThatThereIsNothing)
{
    ZelImageCache cache({.maxImagesInCache = {}});
    int calls = 0;
    const auto nothing = [&] { return ++calls, Ref<ZelImage>(); };
    ZelFailure::clear();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(cache.getImageOrCalc({.withId = "x", .maxSize = 10, .calcClosure = nothing}), nullptr);
    EXPECT_EQ(calls, 1);
    EXPECT_NE(ZelFailure::last().code, ZelFailureCode::none);
    EXPECT_EQ(cache.getImageOrCalc({.withId = "y", .calcClosure = nullptr}), nullptr);
    EXPECT_THROW(
        cache.getImageOrCalc({.withId = "z", .calcClosure = []() -> Ref<ZelImage> { throw std::runtime_error("no"); }}),
        std::runtime_error);
    EXPECT_EQ(listed(cache), "x y");
}

TEST(ImageCache, ClosuresMayUseTheCache)
{
    ZelImageCache cache({.maxImagesInCache = {}});
    const auto picture = makeZelImage(positions(3, 3));
    // The inner request misses the same identifier: both are kept, the first in the list is found.
    const auto outer = cache.getImageOrCalc(
        {.withId = "x", .calcClosure = [&] {
             EXPECT_EQ(cache.getImageOrCalc({.withId = "x", .calcClosure = [&] { return picture; }}), picture);
             return makeZelImage(positions(4, 4));
         }});
    EXPECT_EQ(listed(cache), "x x");
    EXPECT_NE(outer, picture);
    EXPECT_EQ(cache.getImageOrCalc({.withId = "x", .calcClosure = nullptr}), picture);
}

/// The description word for word: a list that is walked, sorted and cut.
class PlainCache {
public:
    explicit PlainCache(std::size_t most) : most_(most) {}
    /// True on a hit.
    bool request(const std::string& id)
    {
        ++time_;
        for (auto& entry : list_)
            if (entry.id == id) {
                entry.time = time_;
                return true;
            }
        list_.push_back({id, time_});
        if (list_.size() > most_) {
            list_.sort([](const Entry& a, const Entry& b) { return a.time > b.time; });
            while (list_.size() > most_)
                list_.pop_back();
        }
        return false;
    }
    [[nodiscard]] std::string listed() const
    {
        std::string text;
        for (const auto& entry : list_)
            text += (text.empty() ? "" : " ") + entry.id;
        return text;
    }

private:
    struct Entry {
        std::string id;
        int time;
    };
    std::size_t most_;
    int time_ = 0;
    std::list<Entry> list_;
};

TEST(ImageCache, IsTheListThatIsDescribed)
{
    std::mt19937 random(7);
    for (const int most : {1, 2, 7, 30}) {
        Counted cache(most);
        PlainCache plain(static_cast<std::size_t>(most));
        for (int i = 0; i < 2000; ++i) {
            const auto id = std::to_string(random() % 40);
            const int before = cache.computed;
            (void)cache(id, {}, {1, 1});
            ASSERT_EQ(cache.computed == before, plain.request(id)) << i;
            if (i % 16 == 0) {
                ASSERT_EQ(listed(cache.cache), plain.listed()) << i;
            }
        }
        const auto list = cache.cache.cachedImageList();
        for (std::size_t i = 1; i < list.size(); ++i)
            EXPECT_NE(list[i]->lastRequested, list[i - 1]->lastRequested);
    }
}

TEST(ImageCache, ServesManyThreads)
{
    const auto picture = makeZelImage(positions(2, 2));
    ZelImageCache cache({.maxImagesInCache = 40});
    std::atomic<int> calls = 0, wrong = 0;
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < 8; ++thread)
        threads.emplace_back([&, thread] {
            std::mt19937 random(thread);
            for (int i = 0; i < 5000; ++i) {
                const auto image = cache.getImageOrCalc({.withId = std::to_string(random() % 50), .calcClosure = [&] {
                                                             ++calls;
                                                             return picture;
                                                         }});
                wrong += image != picture;
                if (i % 500 == 0)
                    for (const auto& entry : cache.cachedImageList())
                        wrong += entry->image != picture;
            }
        });
    threads.clear();
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(calls, 50);
    EXPECT_EQ(cache.cachedImageList().size(), 40U);
}

TEST(ImageCache, HoldsThousandsWithoutABound)
{
    Counted cache({});
    for (int round = 0; round < 2; ++round)
        for (int i = 0; i < 1000; ++i)
            (void)cache(std::to_string(i), {}, {1, 1});
    EXPECT_EQ(cache.computed, 1000);
    EXPECT_EQ(cache.cache.cachedImageList().size(), 1000U);
}

} // namespace
} // namespace zel
