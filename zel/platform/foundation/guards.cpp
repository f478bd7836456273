#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>

namespace zel {
namespace {

constexpr std::uint64_t mostBytes = std::uint64_t{1} << 62;

bool within(std::int64_t width, std::int64_t height, int bytesPerPixel, std::uint64_t byteLimit,
            std::string_view operation)
{
    const ZelLimits limits = ZelLimits::current();
    const auto longer = static_cast<std::uint64_t>(std::max(width, height));
    if (longer > limits.side)
        return fail(ZelFailureCode::limit, operation,
                    fmt::format("a side of {} pixels exceeds the limit of {}", longer, limits.side));
    // Both sides are within a limit that a host may have set to anything, so the products are checked as well.
    const std::optional<std::uint64_t> pixels = checkedBytes(width, height, 1, 1);
    const std::optional<std::uint64_t> bytes = checkedBytes(width, height, 1, bytesPerPixel);
    if (!pixels || !bytes)
        return fail(ZelFailureCode::limit, operation, fmt::format("{} x {} pixels cannot be held", width, height));
    if (*pixels > limits.pixels)
        return fail(ZelFailureCode::limit, operation,
                    fmt::format("{} x {} are {} pixels, the limit is {}", width, height, *pixels, limits.pixels));
    if (*bytes <= byteLimit)
        return true;
    std::string need = byteText(*bytes), allowed = byteText(byteLimit);
    // Where rounding hides the difference, the figures in full.
    if (need == allowed) {
        need = fmt::format("{} bytes", *bytes);
        allowed = std::to_string(byteLimit);
    }
    return fail(ZelFailureCode::limit, operation,
                fmt::format("{} x {} pixels need {}, the limit is {}", width, height, need, allowed));
}

} // namespace

std::optional<std::uint64_t> checkedBytes(std::int64_t width, std::int64_t height, int channels, int bytesPerComponent)
{
    std::uint64_t product = 1;
    for (const std::int64_t factor : {width, height, std::int64_t{channels}, std::int64_t{bytesPerComponent}}) {
        if (factor < 1 || product > mostBytes / static_cast<std::uint64_t>(factor))
            return std::nullopt;
        product *= static_cast<std::uint64_t>(factor);
    }
    return product;
}

bool withinDecodeLimits(std::int64_t width, std::int64_t height, int bytesPerPixel, std::string_view operation)
{
    if (width < 1 || height < 1 || bytesPerPixel < 1)
        return fail(ZelFailureCode::unreadable, operation,
                    fmt::format("{} x {} pixels make no picture", width, height));
    return within(width, height, bytesPerPixel, ZelLimits::current().decodeBytes, operation);
}

bool withinOperationLimits(CGSize size, int bytesPerPixel, std::string_view operation)
{
    const std::int64_t width = truncated(size.width), height = truncated(size.height);
    if (width < 1 || height < 1 || bytesPerPixel < 1)
        return fail(
            ZelFailureCode::invalidArgument, operation,
            fmt::format("{} x {} pixels make no picture", shortestDecimal(size.width), shortestDecimal(size.height)));
    return within(width, height, bytesPerPixel, ZelLimits::current().operationBytes, operation);
}

std::int64_t truncated(double value)
{
    // 2^63 and its negative are exact as floating values; the largest 64-bit integer is not.
    constexpr double beyond = 9223372036854775808.0;
    if (value >= beyond)
        return std::numeric_limits<std::int64_t>::max();
    if (value <= -beyond)
        return std::numeric_limits<std::int64_t>::min();
    return value == value ? static_cast<std::int64_t>(value) : 0;
}

int truncated(double value, int low, int high)
{
    if (value >= high)
        return high;
    return value > low ? static_cast<int>(value) : low;
}

Deadline::Deadline() : Deadline(ZelLimits::current().decodeTime) {}

Deadline::Deadline(std::chrono::milliseconds time) : allowed_(time)
{
    // Where the clock would wrap, the time is endless for all that matters.
    const auto now = std::chrono::steady_clock::now();
    const bool none = time.count() <= 0 || time > std::chrono::hours(24 * 365);
    end_ = none ? std::chrono::steady_clock::time_point::max() : now + time;
}

bool Deadline::passed() const
{
    return end_ != std::chrono::steady_clock::time_point::max() && std::chrono::steady_clock::now() >= end_;
}

bool isSafeComponent(std::string_view name)
{
    if (name.empty() || name.size() > 255 || name == "." || name == "..")
        return false;
    return std::none_of(name.begin(), name.end(), [](char byte) { return byte == '/' || byte == '\0'; });
}

std::optional<std::string> joinPath(std::string_view folder, std::string_view name)
{
    if (!isSafeComponent(name))
        return std::nullopt;
    std::string path(folder);
    if (!path.empty() && path.back() != '/')
        path += '/';
    return path += name;
}

} // namespace zel
