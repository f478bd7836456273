#include "quantity.h"

#include "usage.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace zel::program {
namespace {

constexpr double maximumSide = 1'000'000;

/// The number that `text` begins with; what follows it is left in `text`.
std::optional<double> leadingNumber(std::string_view& text)
{
    double value = 0;
    const char* const first = text.data() + (text.starts_with('+') ? 1 : 0);
    const auto [end, error] = std::from_chars(first, text.data() + text.size(), value, std::chars_format::fixed);
    if (error != std::errc() || !std::isfinite(value))
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return value;
}

/// 1 for "", 1000 for "k", 1024 for "Ki", with or without a B behind; absent for anything else.
std::optional<double> unitOf(std::string_view suffix)
{
    if (suffix.ends_with('B') || suffix.ends_with('b'))
        suffix.remove_suffix(1);
    if (suffix.empty())
        return 1;
    constexpr std::string_view letters = "kKmMgGtT";
    const auto letter = letters.find(suffix.front());
    if (letter == std::string_view::npos || suffix.size() > 2 || (suffix.size() == 2 && suffix[1] != 'i'))
        return std::nullopt;
    return std::pow(suffix.size() == 2 ? 1024.0 : 1000.0, static_cast<double>(letter / 2 + 1));
}

std::optional<std::size_t> hexDigit(char c)
{
    constexpr std::string_view digits = "0123456789abcdef0123456789ABCDEF";
    const auto at = digits.find(c);
    return at == std::string_view::npos ? std::nullopt : std::optional(at % 16);
}

} // namespace

double readNumber(std::string_view text, double low, double high)
{
    auto rest = text;
    const auto value = leadingNumber(rest);
    if (!value || !rest.empty())
        throw UsageError(fmt::format("'{}' is no number", text));
    if (*value < low || *value > high)
        throw UsageError(fmt::format("{} is not between {} and {}", text, low, high));
    return *value;
}

std::int64_t readWhole(std::string_view text, std::int64_t low, std::int64_t high)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range)
        throw UsageError(fmt::format("{} is not between {} and {}", text, low, high));
    if (error != std::errc() || end != text.data() + text.size())
        throw UsageError(fmt::format("'{}' is no whole number", text));
    if (value < low || value > high)
        throw UsageError(fmt::format("{} is not between {} and {}", text, low, high));
    return value;
}

std::int64_t readSize(std::string_view text)
{
    auto rest = text;
    const auto value = leadingNumber(rest);
    const auto unit = value ? unitOf(rest) : std::nullopt;
    if (!unit)
        throw UsageError(fmt::format("'{}' is no size (200000, 200k, 1.5M, 4G, 512Mi)", text));
    constexpr double largest = 9e18;
    const double bytes = *value * *unit;
    if (bytes < 1 || bytes > largest)
        throw UsageError(fmt::format("{} is not between 1 and {:.0f}", text, largest));
    return static_cast<std::int64_t>(bytes);
}

std::chrono::milliseconds readDuration(std::string_view text)
{
    auto rest = text;
    const auto value = leadingNumber(rest);
    const double unit = rest.empty() || rest == "s" ? 1000 : rest == "ms" ? 1 : rest == "m" ? 60'000 : 0;
    if (!value || unit == 0)
        throw UsageError(fmt::format("'{}' is no time (8, 1.5, 500ms, 2m)", text));
    const double milliseconds = std::ceil(*value * unit);
    constexpr double longest = 1e12;
    if (milliseconds < 0 || milliseconds > longest)
        throw UsageError(fmt::format("{} is not between 0 and {:.0f} s", text, longest / 1000));
    return std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds));
}

CGSize readDimensions(std::string_view text)
{
    const auto cross = text.find_first_of("xX");
    if (cross == std::string_view::npos)
        throw UsageError(fmt::format("'{}' is no size in pixels (1600x1067)", text));
    constexpr auto largest = static_cast<std::int64_t>(maximumSide);
    return {static_cast<double>(readWhole(text.substr(0, cross), 1, largest)),
            static_cast<double>(readWhole(text.substr(cross + 1), 1, largest))};
}

double readAngle(std::string_view text)
{
    constexpr double largest = 360'000;
    return readNumber(text, -largest, largest);
}

double readStops(std::string_view text)
{
    constexpr double most = 32;
    return readNumber(text, -most, most);
}

double readAmount(std::string_view text)
{
    constexpr double most = 20;
    return readNumber(text, -most, most);
}

double readTolerance(std::string_view text)
{
    constexpr double most = 1000;
    return readNumber(text, 0, most);
}

std::vector<std::int16_t> readKernel(std::string_view text)
{
    constexpr std::size_t kernelSize = 9;
    using Limits = std::numeric_limits<std::int16_t>;
    constexpr std::string_view between = " \t\n,;";
    std::vector<std::int16_t> kernel;
    for (auto at = text.find_first_not_of(between); at != std::string_view::npos;
         at = text.find_first_not_of(between, at)) {
        const auto end = std::min(text.size(), text.find_first_of(between, at));
        kernel.push_back(static_cast<std::int16_t>(readWhole(text.substr(at, end - at), Limits::min(), Limits::max())));
        at = end;
    }
    if (kernel.size() != kernelSize)
        throw UsageError(fmt::format("a kernel has {} numbers, not {}", kernelSize, kernel.size()));
    return kernel;
}

CGRect readRect(std::string_view text)
{
    constexpr double farthest = 1e9;
    std::array<double, 4> figures{};
    auto rest = text;
    for (std::size_t i = 0; i < figures.size(); ++i) {
        const auto comma = rest.find(',');
        if ((comma == std::string_view::npos) != (i + 1 == figures.size()))
            throw UsageError(fmt::format("'{}' is no rectangle (X,Y,WIDTH,HEIGHT)", text));
        figures[i] = readNumber(rest.substr(0, comma), -farthest, farthest);
        rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
    }
    const auto [x, y, width, height] = figures;
    if (!(width > 0 && height > 0))
        throw UsageError(fmt::format("{}: a rectangle without area", text));
    return {{x, y}, {width, height}};
}

double readRatio(std::string_view text)
{
    constexpr double least = 1e-6, most = 1e6;
    const auto colon = text.find(':');
    const double width = readNumber(text.substr(0, colon), least, most);
    return colon == std::string_view::npos ? width : width / readNumber(text.substr(colon + 1), least, most);
}

ZelColor readColor(std::string_view text)
{
    if (text == "white")
        return ZelColor(1, 1, 1);
    if (text == "black")
        return ZelColor(0, 0, 0);
    if (text == "transparent")
        return ZelColor(0, 0, 0, 0);
    auto digits = text;
    if (digits.starts_with('#'))
        digits.remove_prefix(1);
    const bool isShort = digits.size() == 3;
    if (!isShort && digits.size() != 6 && digits.size() != 8)
        throw UsageError(fmt::format("'{}' is no colour (#fff, #ffffff, #ffffff80, white)", text));
    std::array<double, 4> components = {1, 1, 1, 1};
    const std::size_t width = isShort ? 1 : 2;
    for (std::size_t i = 0; i < digits.size() / width; ++i) {
        const auto high = hexDigit(digits[i * width]);
        const auto low = hexDigit(digits[i * width + width - 1]);
        if (!high || !low)
            throw UsageError(fmt::format("'{}' is no colour (#fff, #ffffff, #ffffff80, white)", text));
        components[i] = static_cast<double>(*high * 16 + *low) / 255;
    }
    return ZelColor(components[0], components[1], components[2], components[3]);
}

} // namespace zel::program
