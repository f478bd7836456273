#include <zel/platform/foundation/base64.h>
#include <zel/platform/foundation/memory_budget.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/foundation/utf8.h>

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace zel {
namespace {

using namespace std::string_view_literals;

TEST(ShortestDecimal, ReadsBackToTheSameValue)
{
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const std::pair<double, std::string_view> cases[] = {
        {0.5, "0.5"},
        {2048, "2048.0"},
        {0, "0.0"},
        {-0.0, "-0.0"},
        {1, "1.0"},
        {-7, "-7.0"},
        {0.1, "0.1"},
        {1.0 / 3, "0.3333333333333333"},
        {0.3359375, "0.3359375"},
        {123456789.125, "123456789.125"},
        {0.0001, "0.0001"},
        {0.00012345678901234567, "0.00012345678901234567"},
        {-0.00012345678901234567, "-0.00012345678901234567"},
        {0.00001, "1e-05"},
        {9999999999999998.0, "9999999999999998.0"},
        {1e15, "1000000000000000.0"},
        {1e16, "1e+16"},
        {1.5e300, "1.5e+300"},
        {5e-324, "5e-324"},
        {infinite, "inf"},
        {-infinite, "-inf"},
        {std::nan(""), "nan"},
        {-std::nan(""), "nan"},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(shortestDecimal(value), text);
    std::mt19937_64 random(1);
    for (int i = 0; i < 20'000; ++i) {
        const double value = std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 200) - 150);
        EXPECT_EQ(std::stod(shortestDecimal(value)), value);
    }
}

TEST(ByteText, RoundsToOneDecimal)
{
    const std::pair<std::uint64_t, std::string_view> cases[] = {
        {0, "0 bytes"},
        {999, "999 bytes"},
        {1'000, "1.0 kB"},
        {1'449, "1.4 kB"},
        {999'949, "999.9 kB"},
        {999'950, "1.0 MB"},
        {3'221'225'472, "3.2 GB"},
        {1'500'000'000'000, "1.5 TB"},
        {std::numeric_limits<std::uint64_t>::max(), "18.4 EB"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(byteText(bytes), text);
}

std::vector<std::uint8_t> bytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

TEST(Base64, IsThatOfTheStandard)
{
    // RFC 4648 section 10.
    const std::pair<std::string_view, std::string_view> vectors[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {"\xFB\xFF\xBF", "+/+/"},
        {"\0\0\0"sv, "AAAA"},
    };
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(base64Encoded(bytesOf(bytes)), text);
        EXPECT_EQ(base64Decoded(text), bytesOf(bytes));
    }
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 100; ++size) {
        std::vector<std::uint8_t> bytes(size);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes);
    }
}

TEST(Base64, RefusesEverythingElse)
{
    for (const std::string_view text : {"Z", "Zg", "Zg=", "Zg= =", "Z===", "====", "=", "Zg==Zg==", "Zm=v", "Zm9v\n",
                                        "Zm 9", "Zm9_", "Zm9-", "Zm9v=", "Zh==", "Zm9=", "\xC3\xA9gg", "Zg=a"})
        EXPECT_EQ(base64Decoded(text), std::nullopt) << text;
}

TEST(Utf8, IsWellFormedOrNot)
{
    const std::pair<std::string_view, bool> cases[] = {
        {"", true},
        {"plain\n\x7F", true},
        {"\0"sv, true},
        {"\xC2\x80", true},
        {"\xDF\xBF", true},
        {"\xE0\xA0\x80", true},
        {"\xED\x9F\xBF", true},
        {"\xEE\x80\x80", true},
        {"\xEF\xBF\xBF", true},
        {"\xF0\x90\x80\x80", true},
        {"\xF4\x8F\xBF\xBF", true},
        {"\x80", false},
        {"\xBF", false},
        {"\xC0\x80", false},
        {"\xC1\xBF", false},
        {"\xC2", false},
        {"\xC2\x41", false},
        {"\xC2\xC0", false},
        {"\xE0\x9F\xBF", false},
        {"\xE0\xA0", false},
        {"\xE1\x80\x41", false},
        {"\xED\xA0\x80", false},
        {"\xF0\x8F\xBF\xBF", false},
        {"\xF4\x90\x80\x80", false},
        {"\xF5\x80\x80\x80", false},
        {"\xFF", false},
        {"\xF0\x90\x80", false},
        {"\xF1\x80\x80\x7F", false},
        {"ok\xFF", false},
    };
    for (const auto& [text, valid] : cases) {
        EXPECT_EQ(isUtf8(text), valid) << text;
        EXPECT_EQ(toUtf8(text) == text, valid) << text;
        EXPECT_TRUE(isUtf8(toUtf8(text)));
    }
    EXPECT_EQ(toUtf8("a\xFFz\xC3\xA9\xE2\x82"), "a\xEF\xBF\xBDz\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(utf8Length("\xE2\x82\xAC!"), 3U);
    EXPECT_EQ(utf8Length(""), 0U);
}

TEST(AvailableMemory, IsReadFromTheKernelsTexts)
{
    EXPECT_EQ(availableOf("MemTotal:  1000 kB\nMemFree: 1 kB\nMemAvailable:    512 kB\n"), 512U * 1024);
    EXPECT_EQ(availableOf("MemAvailable: many"), std::nullopt);
    EXPECT_EQ(availableOf("MemTotal: 5 kB"), std::nullopt);
    EXPECT_EQ(availableOf(""), std::nullopt);
    EXPECT_EQ(groupLimitOf("1048576\n"), 1'048'576U);
    EXPECT_EQ(groupLimitOf("max\n"), std::nullopt);
    EXPECT_EQ(groupLimitOf("9223372036854771712\n"), std::nullopt);
    EXPECT_EQ(groupLimitOf(""), std::nullopt);
    EXPECT_EQ(unifiedGroupOf("0::/user.slice/a\n"), "/user.slice/a");
    EXPECT_EQ(unifiedGroupOf("12:memory:/x\n0::/y\n1:name=z:/w\n"), "/y");
    EXPECT_EQ(unifiedGroupOf("0::/\n"), "");
    EXPECT_EQ(unifiedGroupOf("10::/x\n"), "");
    EXPECT_EQ(unifiedGroupOf(""), "");
    const std::optional<std::uint64_t> here = availableMemory();
    ASSERT_TRUE(here);
    EXPECT_GT(*here, std::uint64_t{1} << 20);
}

} // namespace
} // namespace zel
