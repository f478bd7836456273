#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace zel {
namespace {

constexpr std::int64_t two31 = std::int64_t{1} << 31, two32 = std::int64_t{1} << 32, two62 = std::int64_t{1} << 62;
constexpr std::int64_t most64 = std::numeric_limits<std::int64_t>::max(),
                       least64 = std::numeric_limits<std::int64_t>::min();
constexpr int mostInt = std::numeric_limits<int>::max();

TEST(CheckedBytes, MultipliesOrGivesNothing)
{
    struct Case {
        const char* name;
        std::int64_t width, height;
        int channels, bytes;
        std::optional<std::uint64_t> expected;
    };
    const Case cases[] = {
        {"one pixel", 1, 1, 1, 1, 1},
        {"RGBA of 16 bits", 3, 5, 4, 2, 120},
        {"past 31 bits", two31, 1, 4, 1, std::uint64_t{1} << 33},
        {"past 32 bits", two32, two31 / 2, 1, 1, std::uint64_t{1} << 62},
        {"the largest", two62, 1, 1, 1, std::uint64_t{1} << 62},
        {"one past the largest", two62, 1, 2, 1, std::nullopt},
        {"by one pixel past the largest", two62 + 1, 1, 1, 1, std::nullopt},
        {"would wrap to 0 in 64 bits", two32, two32, 1, 1, std::nullopt},
        {"would wrap to something small", two32, two32, mostInt, mostInt, std::nullopt},
        {"largest of all", most64, most64, mostInt, mostInt, std::nullopt},
        {"no width", 0, 5, 4, 1, std::nullopt},
        {"no height", 5, 0, 4, 1, std::nullopt},
        {"no channel", 5, 5, 0, 1, std::nullopt},
        {"no bytes", 5, 5, 4, 0, std::nullopt},
        {"negative sides whose product is positive", -5, -5, 4, 1, std::nullopt},
        {"most negative", least64, 1, 1, 1, std::nullopt},
    };
    for (const Case& row : cases)
        EXPECT_EQ(checkedBytes(row.width, row.height, row.channels, row.bytes), row.expected) << row.name;
}

TEST(Limits, RefusePicturesAndSayWhy)
{
    ZelLimits limits;
    limits.pixels = 1'000'000;
    limits.side = 10'000;
    limits.decodeBytes = 3'000'000;
    limits.operationBytes = 2'000'000;
    const ZelLimits::Scope scope(limits);
    struct Case {
        const char* name;
        std::int64_t width, height;
        int bytesPerPixel;
        ZelFailureCode code; ///< none: allowed
        const char* message;
    };
    const Case cases[] = {
        {"small", 10, 10, 4, ZelFailureCode::none, ""},
        {"as many pixels as allowed", 1'000, 1'000, 3, ZelFailureCode::none, ""},
        {"one row more", 1'000, 1'001, 1, ZelFailureCode::limit,
         "1000 x 1001 are 1001000 pixels, the limit is 1000000"},
        {"as long as allowed", 10'000, 1, 4, ZelFailureCode::none, ""},
        {"longer", 10'001, 1, 4, ZelFailureCode::limit, "a side of 10001 pixels exceeds the limit of 10000"},
        {"higher", 1, 10'001, 4, ZelFailureCode::limit, "a side of 10001 pixels exceeds the limit of 10000"},
        {"too many bytes", 1'000, 1'000, 4, ZelFailureCode::limit,
         "1000 x 1000 pixels need 4.0 MB, the limit is 3.0 MB"},
        {"no width", 0, 10, 4, ZelFailureCode::unreadable, "0 x 10 pixels make no picture"},
        {"negative height", 10, -1, 4, ZelFailureCode::unreadable, "10 x -1 pixels make no picture"},
        {"no bytes", 10, 10, 0, ZelFailureCode::unreadable, "10 x 10 pixels make no picture"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        ZelFailure::clear();
        EXPECT_EQ(withinDecodeLimits(row.width, row.height, row.bytesPerPixel, "decode"),
                  row.code == ZelFailureCode::none);
        EXPECT_EQ(ZelFailure::last().code, row.code);
        EXPECT_EQ(ZelFailure::last().message, row.message);
        EXPECT_EQ(ZelFailure::last().operation, row.code == ZelFailureCode::none ? "" : "decode");
    }
}

TEST(Limits, OfOperationsTakeAnyNumber)
{
    ZelLimits limits;
    limits.operationBytes = 2'000'000;
    const ZelLimits::Scope scope(limits);
    constexpr double infinite = std::numeric_limits<double>::infinity();
    struct Case {
        const char* name;
        CGSize size;
        int bytesPerPixel;
        ZelFailureCode code;
        const char* message;
    };
    const Case cases[] = {
        {"small", {10, 10}, 4, ZelFailureCode::none, ""},
        {"fractions are cut off", {1000.9, 500.9}, 4, ZelFailureCode::none, ""},
        {"more bytes",
         {1000, 501},
         4,
         ZelFailureCode::limit,
         "1000 x 501 pixels need 2004000 bytes, the limit is 2000000"},
        {"less than a pixel", {0.9, 10}, 4, ZelFailureCode::invalidArgument, "0.9 x 10.0 pixels make no picture"},
        {"no number", {10, std::nan("")}, 4, ZelFailureCode::invalidArgument, "10.0 x nan pixels make no picture"},
        {"negative", {-10, -10}, 4, ZelFailureCode::invalidArgument, "-10.0 x -10.0 pixels make no picture"},
        {"no bytes", {10, 10}, 0, ZelFailureCode::invalidArgument, "10.0 x 10.0 pixels make no picture"},
        {"infinite",
         {infinite, 10},
         4,
         ZelFailureCode::limit,
         "a side of 9223372036854775807 pixels exceeds the limit of 1000000"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        ZelFailure::clear();
        EXPECT_EQ(withinOperationLimits(row.size, row.bytesPerPixel, "resize"), row.code == ZelFailureCode::none);
        EXPECT_EQ(ZelFailure::last().code, row.code);
        EXPECT_EQ(ZelFailure::last().message, row.message);
    }
    // Without limits it is the product itself that is refused.
    const ZelLimits::Scope none([] {
        ZelLimits all = ZelLimits::unlimited();
        all.side = all.pixels = std::numeric_limits<std::uint64_t>::max();
        return all;
    }());
    EXPECT_FALSE(withinOperationLimits({infinite, infinite}, 4, "resize"));
    EXPECT_EQ(ZelFailure::last().message, "9223372036854775807 x 9223372036854775807 pixels cannot be held");
    EXPECT_FALSE(withinDecodeLimits(two31, two31, 8, "decode"));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
}

TEST(Truncated, GoesTowardZeroAndSaturates)
{
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const std::pair<double, std::int64_t> wide[] = {
        {0.0, 0},
        {-0.0, 0},
        {1.999, 1},
        {-1.999, -1},
        {0.5, 0},
        {-0.5, 0},
        {4294967296.5, 4294967296},
        {9007199254740993.0, 9007199254740992},
        {9223372036854774784.0, 9223372036854774784},
        {9223372036854775808.0, most64},
        {1e300, most64},
        {infinite, most64},
        {-9223372036854775808.0, least64},
        {-1e300, least64},
        {-infinite, least64},
        {std::nan(""), 0},
    };
    for (const auto& [value, expected] : wide)
        EXPECT_EQ(truncated(value), expected) << value;
    const std::pair<double, int> held[] = {
        {-0.1, 0},    {-1.0, 0},    {0.0, 0},    {0.999, 0},      {1.0, 1},       {254.999, 254},
        {255.0, 255}, {255.5, 255}, {1e30, 255}, {infinite, 255}, {-infinite, 0}, {std::nan(""), 0},
    };
    for (const auto& [value, expected] : held)
        EXPECT_EQ(truncated(value, 0, 255), expected) << value;
    EXPECT_EQ(truncated(-7.9, -10, 10), -7);
    EXPECT_EQ(truncated(1e12, -mostInt, mostInt), mostInt);
    EXPECT_EQ(truncated(std::nan(""), -3, 3), -3);
}

TEST(Deadline, PassesWhenItsTimeIsOver)
{
    using std::chrono::milliseconds;
    EXPECT_FALSE(Deadline(milliseconds(60'000)).passed());
    EXPECT_FALSE(Deadline(milliseconds(0)).passed());
    EXPECT_FALSE(Deadline(milliseconds(-5)).passed());
    EXPECT_FALSE(Deadline(milliseconds::max()).passed());
    const Deadline soon{milliseconds(1)};
    std::this_thread::sleep_for(milliseconds(3));
    EXPECT_TRUE(soon.passed());
    ZelLimits limits;
    limits.decodeTime = milliseconds(1234);
    const ZelLimits::Scope scope(limits);
    EXPECT_EQ(Deadline().allowed(), milliseconds(1234));
}

TEST(SafeComponent, IsOneNameInOneFolder)
{
    using namespace std::string_view_literals;
    const std::pair<std::string_view, bool> cases[] = {
        {"photo.png", true},   {"a", true},        {".hidden", true},     {"...", true},
        {"..a", true},         {"-rf", true},      {"with space", true},  {"line\nbreak", true},
        {"back\\slash", true}, {"\xFF\xFE", true}, {"caf\xC3\xA9", true}, {"", false},
        {".", false},          {"..", false},      {"/", false},          {"a/b", false},
        {"/etc", false},       {"a/", false},      {"../a", false},       {"nul\0inside"sv, false},
        {"\0"sv, false},
    };
    for (const auto& [name, safe] : cases) {
        EXPECT_EQ(isSafeComponent(name), safe) << name;
        const std::optional<std::string> joined = joinPath("/folder", name);
        EXPECT_EQ(joined.has_value(), safe) << name;
        if (joined) {
            EXPECT_EQ(*joined, "/folder/" + std::string(name));
        }
    }
    EXPECT_TRUE(isSafeComponent(std::string(255, 'n')));
    EXPECT_FALSE(isSafeComponent(std::string(256, 'n')));
    EXPECT_EQ(joinPath("/folder/", "name"), "/folder/name");
    EXPECT_EQ(joinPath("", "name"), "name");
    EXPECT_EQ(joinPath("/", "name"), "/name");
}

} // namespace
} // namespace zel
