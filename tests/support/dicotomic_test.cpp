#include <zel/support/dicotomic.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

TEST(Dicotomic, FindsTheIndexOfTheNearestValue)
{
    const struct {
        const char* name;
        double target;
        std::function<double(double)> calculation;
        double found;
        std::size_t calls;
    } cases[] = {
        {"reached at a midpoint", 250, [](double x) { return 1000 * x; }, 0.25, 25},
        {"between two", 333, [](double x) { return 1000 * x; }, 0.3359375, 15},
        {"above every value", 2000, [](double x) { return 1000 * x; }, 1.0, 1},
        {"below every value", -5, [](double x) { return 1000 * x; }, 0.0, 1},
        {"falling, above", 2000, [](double x) { return 1000 - 1000 * x; }, 0.0, 1},
        {"falling, below", -5, [](double x) { return 1000 - 1000 * x; }, 1.0, 1},
        {"falling, between", 667, [](double x) { return 1000 - 1000 * x; }, 0.3359375, 15},
        {"constant: the whole tree, ties to the second", 5, [](double) { return 1.0; }, 1.0, 255},
        {"a target of zero: no error compares, so the second wins", 0, [](double x) { return x - 0.5; }, 0.75, 27},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        test::PrintedLines printed;
        const ZelDicotomic<double, double> search{.minIndexValue = 0,
                                                  .maxIndexValue = 1,
                                                  .target = c.target,
                                                  .tolerance = 0.001,
                                                  .indexTolerace = 0.01,
                                                  .calculation = c.calculation};
        EXPECT_EQ(search.search(), c.found);
        EXPECT_EQ(printed.lines().size(), c.calls);
        EXPECT_EQ(printed.lines().front(), "ZelDicotomic: 0.0 - 1.0");
        if (c.calls > 1) {
            EXPECT_EQ(printed.lines()[1], "ZelDicotomic: 0.0 - 0.5");
        }
    }
}

TEST(Dicotomic, EndsWithoutAToleranceToStopAt)
{
    test::PrintedLines quiet;
    const auto searchFor = [](double target, double indexTolerace) {
        return ZelDicotomic<double, double>{.minIndexValue = 0,
                                            .maxIndexValue = 1,
                                            .target = target,
                                            .tolerance = 0,
                                            .indexTolerace = indexTolerace,
                                            .calculation = [](double x) { return 1000 * x; }};
    };
    const auto search = searchFor(333, 0);
    EXPECT_NEAR(search.search(), 0.333, 1e-12);
    EXPECT_EQ(searchFor(700, 0.01).search({.minIndex = 0.5}), 0.703125);
    // Ends between which nothing lies: a midpoint that is no number would be split for ever.
    const double endless = std::numeric_limits<double>::infinity(), most = std::numeric_limits<double>::max();
    const std::pair<double, double> ends[] = {{-endless, endless}, {0, endless}, {std::nan(""), 1}, {most, most / 2}};
    for (const auto& [first, last] : ends) {
        const double found = search.search({.minIndex = first, .maxIndex = last});
        EXPECT_TRUE(found == first || found == last) << first << ", " << last;
    }
}

TEST(Dicotomic, TellsWholeNumbersAsSuch)
{
    test::PrintedLines printed;
    ZelDicotomic<int, double> search{}; // from 0 on
    search.maxIndexValue = 100;
    search.target = 33;
    search.indexTolerace = 1;
    search.calculation = [](int x) { return x; };
    EXPECT_EQ(search.search(), 33);
    EXPECT_EQ(printed.lines()[1], "ZelDicotomic: 0 - 50");
}

} // namespace
} // namespace zel
