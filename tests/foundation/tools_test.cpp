#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/memo.h>
#include <zel/platform/foundation/perf.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numbers>
#include <set>
#include <thread>

namespace zel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

void onThreads(int count, const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread)
        threads.emplace_back(work, thread);
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Identifiers, AreUniqueAcrossThreads)
{
    std::vector<std::vector<std::string>> made(4);
    onThreads(4, [&](int thread) {
        for (int i = 0; i < 5'000; ++i)
            made[static_cast<std::size_t>(thread)].push_back(ZelId::newId({.useCounter = i % 2 == 0}));
    });
    std::set<std::string> all;
    for (const auto& list : made)
        all.insert(list.begin(), list.end());
    EXPECT_EQ(all.size(), 20'000U);
    for (const std::string& id : all)
        EXPECT_EQ(id.find_first_not_of("0123456789abcdef-"), std::string::npos) << id;
}

TEST(Identifiers, BeginWithWhatWasAskedFor)
{
    EXPECT_TRUE(ZelId::newId({.prefix = "", .infix = "zelcl", .useCounter = true}).starts_with("zelcl-"));
    EXPECT_TRUE(ZelId::newId({.prefix = "a", .infix = "b"}).starts_with("a-b-"));
    const std::string older = ZelId::newId(), newer = ZelId::newId();
    EXPECT_LT(older, newer);
    EXPECT_EQ(ZelId::newId({.useCounter = false}).size(), 32U);
}

TEST(Identifiers, HaveTheDigestOfTheStandard)
{
    // RFC 1321, A.5.
    EXPECT_EQ(ZelId::md5(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(ZelId::md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(ZelId::md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
    EXPECT_NE(ZelId::md5(std::string_view("a\0b", 3)), ZelId::md5("a"));
}

TEST(Console, GoesWhereTheHostWants)
{
    std::vector<std::string> lines;
    ::testing::internal::CaptureStdout();
    Console::print("to standard output");
    const Console::Sink before = Console::setSink([&](std::string_view line) { lines.emplace_back(line); });
    Console::print("to the host");
    Console::print("");
    Console::setSink({});
    Console::print("nowhere");
    Console::setSink([](std::string_view) {
        // A sink may print, or put another one in its place.
        Console::setSink({});
        Console::print("nowhere");
    });
    Console::print("inside");
    Console::setSink(before);
    Console::print("again");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "to standard output\nagain\n");
    EXPECT_THAT(lines, ElementsAre("to the host", ""));
}

TEST(Console, KeepsLinesWhole)
{
    ::testing::internal::CaptureStdout();
    onThreads(4, [](int thread) {
        for (int i = 0; i < 200; ++i)
            Console::print(std::string(50, static_cast<char>('a' + thread)));
    });
    std::string text = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(text.size(), 4U * 200 * 51);
    for (std::size_t at = 0; at < text.size(); at += 51)
        EXPECT_EQ(text.substr(at, 51), std::string(50, text[at]) + "\n");
}

TEST(Precalc, ComputesOnce)
{
    ZelPrecalc memo({.listBound = 256, .cacheSubfolder = ""});
    int calls = 0;
    const auto value = [&](const std::string& key) {
        return std::any_cast<double>(
            memo.getValueOrCalc(key, {.deferred = false}, [&] { return std::any(++calls * 1.0); }));
    };
    EXPECT_EQ(value("0.5"), 1);
    EXPECT_EQ(value("0.25"), 2);
    EXPECT_EQ(value("0.5"), 1);
    EXPECT_EQ(calls, 2);
    ZelPrecalc same = memo;
    EXPECT_EQ(std::any_cast<double>(same.getValueOrCalc("0.25", {}, [] { return std::any(9.0); })), 2);
    // An empty value is a value, too.
    EXPECT_FALSE(memo.getValueOrCalc("empty", {}, [] { return std::any(); }).has_value());
    EXPECT_FALSE(memo.getValueOrCalc("empty", {}, [] { return std::any(1); }).has_value());
}

TEST(Precalc, DropsTheLeastRecentlyUsed)
{
    ZelPrecalc memo({.listBound = 3});
    std::vector<std::string> computed;
    const auto ask = [&](const std::string& key) {
        memo.getValueOrCalc(key, {}, [&] {
            computed.push_back(key);
            return std::any(1);
        });
    };
    for (const char* key : {"a", "b", "c", "a", "d"})
        ask(key);
    computed.clear();
    for (const char* key : {"a", "c", "d", "b", "a"})
        ask(key);
    EXPECT_THAT(computed, ElementsAre("b", "a"));
    ZelPrecalc none({.listBound = 0});
    int calls = 0;
    for (int i = 0; i < 3; ++i)
        none.getValueOrCalc("a", {}, [&] { return std::any(++calls); });
    EXPECT_EQ(calls, 3);
}

TEST(Precalc, ClosuresMayUseTheTableOrThrow)
{
    ZelPrecalc memo({});
    const auto inner = [&] { return memo.getValueOrCalc("a", {}, [] { return std::any(1); }); };
    EXPECT_EQ(std::any_cast<int>(memo.getValueOrCalc("b", {}, inner)), 1);
    // The first result stands: here that of the call within.
    EXPECT_EQ(std::any_cast<int>(memo.getValueOrCalc("c", {},
                                                     [&] {
                                                         memo.getValueOrCalc("c", {}, [] { return std::any(7); });
                                                         return std::any(8);
                                                     })),
              7);
    EXPECT_THROW(memo.getValueOrCalc("d", {}, []() -> std::any { throw std::runtime_error("x"); }), std::runtime_error);
    EXPECT_EQ(std::any_cast<int>(memo.getValueOrCalc("d", {}, [] { return std::any(2); })), 2);
}

TEST(Precalc, GivesAllThreadsTheSameValue)
{
    ZelPrecalc memo({.listBound = 50});
    std::vector<std::vector<int>> seen(4, std::vector<int>(20));
    std::atomic<int> next = 0;
    onThreads(4, [&](int thread) {
        for (int i = 0; i < 2'000; ++i) {
            const int key = i % 20;
            const int value =
                std::any_cast<int>(memo.getValueOrCalc(std::to_string(key), {}, [&] { return std::any(++next); }));
            int& known = seen[static_cast<std::size_t>(thread)][static_cast<std::size_t>(key)];
            EXPECT_TRUE(known == 0 || known == value);
            known = value;
        }
    });
    for (const auto& values : seen)
        EXPECT_EQ(values, seen[0]);
}

TEST(ThreadSafeDictionary, KeepsTheNewestValue)
{
    ZelThreadSafeDictionary<std::string, int> dictionary({{"a", 1}});
    const std::string a = "a", b = "b";
    EXPECT_EQ(dictionary.value({.for_ = a}), 1);
    EXPECT_EQ(dictionary.value({.for_ = b}), std::nullopt);
    dictionary.set({.key = "a", .value = 2, .deferred = true});
    dictionary.set({.key = "b", .value = 3});
    EXPECT_EQ(dictionary.value({.for_ = a}), 2);
    EXPECT_EQ(dictionary.value({.for_ = b}), 3);
    onThreads(4, [&](int thread) {
        for (int i = 0; i < 1'000; ++i) {
            dictionary.set({.key = std::to_string(i % 7), .value = thread});
            EXPECT_TRUE(dictionary.value({.for_ = std::to_string(i % 7)}).has_value());
        }
    });
}

TEST(PerfAn, MeasuresWhenAskedTo)
{
    std::vector<std::string> names;
    double longest = 0;
    PerfAn::end();
    PerfAn::start("before");
    PerfAn::setObserver([&](std::string_view name, double seconds) {
        names.emplace_back(name);
        longest = std::max(longest, seconds);
    });
    {
        const PerfAn::Scope outer("outer");
        const PerfAn::Scope inner("inner");
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    PerfAn::end(); // of "before", which nobody measured
    PerfAn::end(); // of nothing
    EXPECT_THAT(names, ElementsAre("inner", "outer"));
    EXPECT_GE(longest, 0.002);
    names.clear();
    {
        const PerfAn::Scope outer("ended without an observer");
        PerfAn::setObserver({});
        const PerfAn::Scope inner("begun without one");
    }
    EXPECT_THAT(names, IsEmpty());
}

TEST(Geometry, MeasuresTheStandardisedRectangle)
{
    struct Case {
        const char* name;
        CGRect rect;
        double minX, minY, midX, midY, maxX, maxY, width, height;
        bool empty;
    };
    const Case cases[] = {
        {"usual", {{1, 2}, {3, 5}}, 1, 2, 2.5, 4.5, 4, 7, 3, 5, false},
        {"negative width", {{4, 2}, {-3, 5}}, 1, 2, 2.5, 4.5, 4, 7, 3, 5, false},
        {"negative sides", {{4, 7}, {-3, -5}}, 1, 2, 2.5, 4.5, 4, 7, 3, 5, false},
        {"no width", {{1, 2}, {0, 5}}, 1, 2, 1, 4.5, 1, 7, 0, 5, true},
        {"nothing", {}, 0, 0, 0, 0, 0, 0, 0, 0, true},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.rect.minX(), row.minX);
        EXPECT_EQ(row.rect.minY(), row.minY);
        EXPECT_EQ(row.rect.midX(), row.midX);
        EXPECT_EQ(row.rect.midY(), row.midY);
        EXPECT_EQ(row.rect.maxX(), row.maxX);
        EXPECT_EQ(row.rect.maxY(), row.maxY);
        EXPECT_EQ(row.rect.width(), row.width);
        EXPECT_EQ(row.rect.height(), row.height);
        EXPECT_EQ(row.rect.isEmpty(), row.empty);
    }
    EXPECT_TRUE((CGRect{{0, 0}, {std::numeric_limits<double>::quiet_NaN(), 1}}.isEmpty()));
}

TEST(Geometry, ComputesWithPointsSizesAndTransforms)
{
    EXPECT_EQ((CGPoint{1, 2} * 3), (CGPoint{3, 6}));
    EXPECT_EQ((CGPoint{3, 6} / 2), (CGPoint{1.5, 3}));
    EXPECT_EQ((CGPoint{1, 2} + CGSize{3, 4}), (CGPoint{4, 6}));
    EXPECT_EQ((CGSize{1, 2} * 3), (CGSize{3, 6}));
    EXPECT_EQ((CGSize{200, 100} / 2), (CGSize{100, 50}));
    const auto apply = [](const CGAffineTransform& t, CGPoint p) {
        return CGPoint{t.a * p.x + t.c * p.y + t.tx, t.b * p.x + t.d * p.y + t.ty};
    };
    // Moved first, then scaled; turned first, then moved.
    EXPECT_EQ(apply(CGAffineTransform::scale(2, 3).translated(10, 20), {1, 1}), (CGPoint{22, 63}));
    const CGPoint turned = apply(CGAffineTransform{}.translated(5, 0).rotated(std::numbers::pi / 2), {1, 0});
    EXPECT_NEAR(turned.x, 5, 1e-12);
    EXPECT_NEAR(turned.y, 1, 1e-12);
}

} // namespace
} // namespace zel
