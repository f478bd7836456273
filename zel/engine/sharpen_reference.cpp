#include <zel/engine/sharpen_kernels.h>

#include <algorithm>

namespace zel::engine {
namespace {

int product(int a, int b)
{
    return (a * b + (1 << 14)) >> 15;
}

std::int16_t narrowed(int value)
{
    return static_cast<std::int16_t>(value);
}

} // namespace

void lumaRowReference(const std::uint8_t* pixels, std::int16_t* luma, std::size_t count)
{
    for (std::size_t x = 0; x < count; ++x, pixels += 4)
        luma[x] = narrowed((54 * pixels[0] + 183 * pixels[1] + 19 * pixels[2] + 2) >> 2);
}

void alphaRowReference(const std::uint8_t* pixels, std::int16_t* alpha, std::size_t count)
{
    for (std::size_t x = 0; x < count; ++x)
        alpha[x] = narrowed(pixels[4 * x + 3] * 64);
}

void blurAcrossReference(const std::int16_t* row, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    for (std::size_t x = 0; x < count; ++x, ++row) {
        int sum = *row;
        for (int k = 1; k <= gaussian.reach; ++k)
            sum += product(row[-k] + row[k] - 2 * *row, gaussian.weights[static_cast<std::size_t>(k - 1)]);
        to[x] = narrowed(sum);
    }
}

void blurDownReference(const std::int16_t* const* rows, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    const std::int16_t* const* middle = rows + gaussian.reach;
    for (std::size_t x = 0; x < count; ++x) {
        int sum = middle[0][x];
        for (int k = 1; k <= gaussian.reach; ++k)
            sum += product(middle[-k][x] + middle[k][x] - 2 * middle[0][x],
                           gaussian.weights[static_cast<std::size_t>(k - 1)]);
        to[x] = narrowed(sum);
    }
}

void lumaUnderAlphaReference(const std::int16_t* alpha, const std::int16_t* cover, std::int16_t* luma,
                             std::size_t count)
{
    for (std::size_t x = 0; x < count; ++x) {
        if (cover[x] <= 0 || luma[x] <= 0) {
            luma[x] = 0;
            continue;
        }
        const float own = static_cast<float>(alpha[x]);
        const float scaled = own * static_cast<float>(luma[x]) / static_cast<float>(cover[x]);
        luma[x] = static_cast<std::int16_t>(std::min(scaled, own) + 0.5F);
    }
}

void addDetailReference(const std::uint8_t* pixels, const std::int16_t* luma, const std::int16_t* soft, Gain gain,
                        std::uint8_t* to, std::size_t count)
{
    const int half = (1 << gain.shift) >> 1;
    for (std::size_t x = 0; x < count; ++x, pixels += 4, to += 4) {
        const int detail = (product(2 * (luma[x] - soft[x]), gain.factor) + half) >> gain.shift;
        const std::uint8_t alpha = pixels[3];
        for (int i = 0; i < 3; ++i)
            to[i] = static_cast<std::uint8_t>(std::clamp<int>(pixels[i] + detail, 0, alpha));
        to[3] = alpha;
    }
}

} // namespace zel::engine
