#pragma once
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/ref.h>

#include <chrono>
#include <cstdint>

// The guards between foreign figures and our memory. Each stands once; nothing else multiplies sizes, truncates
// floating values or joins paths.
namespace zel {

/// width × height × channels × bytes a component; absent when a factor is below 1 or the product passes 2^62.
std::optional<std::uint64_t> checkedBytes(std::int64_t width, std::int64_t height, int channels, int bytesPerComponent);

/// True when a picture of that size may be decoded under the current limits; else notes `limit` with need and limit.
bool withinDecodeLimits(std::int64_t width, std::int64_t height, int bytesPerPixel, std::string_view operation);
/// The same for pictures that an operation makes (`operationBytes`, side).
ZEL_API bool withinOperationLimits(CGSize size, int bytesPerPixel, std::string_view operation);

/// Toward zero, saturating at the 64-bit limits; not a number gives 0.
ZEL_API std::int64_t truncated(double value);
/// Toward zero, held to [low, high]; not a number gives low.
int truncated(double value, int low, int high);

/// Ends a decoding that takes longer than the limit of this thread allows.
class Deadline {
public:
    Deadline();                                        ///< from now, ZelLimits::current().decodeTime
    explicit Deadline(std::chrono::milliseconds time); ///< zero or below: none
    [[nodiscard]] bool passed() const;
    [[nodiscard]] std::chrono::milliseconds allowed() const { return allowed_; }

private:
    std::chrono::milliseconds allowed_;
    std::chrono::steady_clock::time_point end_;
};

/// True for 1 to 255 bytes without "/" and NUL that are neither "." nor "..".
bool isSafeComponent(std::string_view name);
/// The one place where a name from outside becomes part of a path; absent when the name is not safe.
ZEL_API std::optional<std::string> joinPath(std::string_view folder, std::string_view name);

} // namespace zel
