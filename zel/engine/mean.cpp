#include <zel/engine/mean.h>
#include <zel/engine/mean_kernels.h>
#include <zel/engine/parallel.h>

#include <algorithm>
#include <mutex>

namespace zel::engine {

void MeanAccumulator::add(const ConstPixels& pixels, PixelLayout layout)
{
    if (pixels.empty() || pixels.bytesPerPixel != 4 * layout.bytesPerComponent)
        return;
    const WeightedSums sums = sumPixels(pixels, layout);
    const std::uint64_t widen = layout.bytesPerComponent == 1 ? 257 : 1; // 8-bit steps in 16-bit ones
    for (std::size_t i = 0; i < 3; ++i)
        colours_[i] += sums.colours[i] * widen * widen;
    alpha_ += sums.alpha * widen;
    pixels_ += static_cast<std::uint64_t>(pixels.width) * static_cast<std::uint64_t>(pixels.height);
}

void MeanAccumulator::add(const MeanAccumulator& other)
{
    for (std::size_t i = 0; i < 3; ++i)
        colours_[i] += other.colours_[i];
    alpha_ += other.alpha_;
    pixels_ += other.pixels_;
}

std::array<double, 4> MeanAccumulator::mean() const
{
    if (alpha_ == 0)
        return {};
    std::array<double, 4> result{};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = std::min(255.0, static_cast<double>(colours_[i]) / static_cast<double>(alpha_) / 257);
    result[3] = static_cast<double>(alpha_) / static_cast<double>(pixels_) / 257;
    return result;
}

std::array<double, 4> meanColor(const ConstPixels& pixels, PixelLayout layout)
{
    MeanAccumulator whole;
    std::mutex lock;
    parallelFor(pixels.height, pixels.width, [&](int first, int last) {
        MeanAccumulator band;
        band.add(pixels.rows(first, last - first), layout);
        const std::scoped_lock guard(lock);
        whole.add(band);
    });
    return whole.mean();
}

} // namespace zel::engine
