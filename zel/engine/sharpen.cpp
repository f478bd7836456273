#include <zel/engine/sharpen.h>

#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/engine/sharpen_kernels.h>

#include <algorithm>
#include <atomic>
#include <cmath>

// A band of rows keeps the last 2 reach + 1 rows of each plane, as it is and blurred across; a row of the result blurs
// them down. Planes are luma and, where the picture has transparency, alpha.
namespace zel::engine {
namespace {

constexpr double narrowest = 0.2;
constexpr double widest = 5;
constexpr double mostAmount = 127;

/// Weights of a Gaussian cut off at its reach, their sum (with the pixel's own) 1.
Gaussian gaussianOf(const Sharpening& sharpening)
{
    Gaussian gaussian;
    gaussian.reach = reachOf(sharpening);
    const auto height = [&](int distance) {
        return std::exp(-0.5 * distance * distance / (sharpening.sigma * sharpening.sigma));
    };
    double sum = 1;
    for (int k = 1; k <= gaussian.reach; ++k)
        sum += 2 * height(k);
    for (int k = 1; k <= gaussian.reach; ++k)
        gaussian.weights[static_cast<std::size_t>(k - 1)] =
            static_cast<std::int16_t>(std::lround(32768 * height(k) / sum));
    return gaussian;
}

/// Rows of one plane around the current one.
class Plane {
public:
    using Fill = void (*)(const std::uint8_t* pixels, std::int16_t* values, std::size_t count);

    Plane(int width, const Gaussian& gaussian, Fill fill)
        : width_(width),
          gaussian_(gaussian),
          fill_(fill),
          held_(2 * gaussian.reach + 1),
          stride_(width + 2 * gaussian.reach),
          values_(stride_ / 2 + 1, 2 * held_ + 1)
    {
    }

    [[nodiscard]] bool valid() const { return !values_.empty(); }
    /// The row as it is, then blurred; `y` may lie outside the picture, whose first or last row then counts.
    void take(const ConstPixels& from, int y)
    {
        std::int16_t* row = sharp(y) - gaussian_.reach;
        std::int16_t* first = row + gaussian_.reach;
        fill_(from.row(y), first, static_cast<std::size_t>(width_));
        std::fill(row, first, *first);
        std::fill_n(first + width_, gaussian_.reach, first[width_ - 1]);
        blurAcross(first, gaussian_, soft(y), static_cast<std::size_t>(width_));
    }
    [[nodiscard]] std::int16_t* sharp(int y) { return line(y % held_) + gaussian_.reach; }
    /// Blurred both ways.
    std::int16_t* blurredAt(int y, int height)
    {
        std::array<const std::int16_t*, 2 * Gaussian::furthest + 1> rows{};
        for (int k = 0; k < held_; ++k)
            rows[static_cast<std::size_t>(k)] = soft(std::clamp(y + k - gaussian_.reach, 0, height - 1));
        std::int16_t* result = line(2 * held_);
        blurDown(rows.data(), gaussian_, result, static_cast<std::size_t>(width_));
        return result;
    }

private:
    [[nodiscard]] std::int16_t* line(int index)
    {
        return reinterpret_cast<std::int16_t*>(values_.pixels().row(index)); // storage aligned to 64 bytes
    }
    [[nodiscard]] std::int16_t* soft(int y) { return line(held_ + y % held_); }

    int width_;
    const Gaussian& gaussian_;
    Fill fill_;
    int held_;
    int stride_;
    PixelBuffer values_; ///< rows of two values a pixel: as they are, blurred across, and one for results
};

bool sharpenBand(const ConstPixels& from, const Pixels& to, const Gaussian& gaussian, Gain gain, bool opaque, int first,
                 int last)
{
    Plane luma(from.width, gaussian, lumaRow);
    Plane alpha(opaque ? 1 : from.width, gaussian, alphaRow);
    if (!luma.valid() || !alpha.valid())
        return false;
    const auto count = static_cast<std::size_t>(from.width);
    int next = std::max(0, first - gaussian.reach);
    for (int y = first; y < last; ++y) {
        for (const int end = std::min(from.height, y + gaussian.reach + 1); next < end; ++next) {
            luma.take(from, next);
            if (!opaque)
                alpha.take(from, next);
        }
        std::int16_t* soft = luma.blurredAt(y, from.height);
        if (!opaque)
            lumaUnderAlpha(alpha.sharp(y), alpha.blurredAt(y, from.height), soft, count);
        addDetail(from.row(y), luma.sharp(y), soft, gain, to.row(y), count);
    }
    return true;
}

} // namespace

int reachOf(const Sharpening& sharpening)
{
    const double reach = std::round(3 * std::clamp(sharpening.sigma, narrowest, widest));
    return std::max(1, static_cast<int>(reach));
}

Gain gainOf(double amount)
{
    constexpr double most = 32767;
    Gain gain;
    double factor = std::clamp(amount, -mostAmount, mostAmount) * 256;
    while (gain.shift < 7 && std::fabs(factor) * 2 <= most) {
        factor *= 2;
        ++gain.shift;
    }
    gain.factor = static_cast<std::int16_t>(std::lround(factor));
    return gain;
}

bool sharpenLuma(const ConstPixels& from, const Pixels& to, const Sharpening& sharpening, bool opaque)
{
    if (from.empty() || from.width != to.width || from.height != to.height || from.bytesPerPixel != 4 ||
        to.bytesPerPixel != 4 || !(sharpening.sigma >= narrowest && sharpening.sigma <= widest) ||
        !std::isfinite(sharpening.amount))
        return false;
    const Gaussian gaussian = gaussianOf(sharpening);
    const Gain gain = gainOf(sharpening.amount);
    std::atomic<bool> good{true};
    parallelFor(from.height, from.width, [&](int first, int last) {
        if (!sharpenBand(from, to, gaussian, gain, opaque, first, last))
            good = false;
    });
    return good;
}

} // namespace zel::engine
