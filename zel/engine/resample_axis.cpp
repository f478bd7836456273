#include <zel/engine/resample_axis.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

// Weights are evaluated in floating point, brought to a sum of 1, and rounded by way of their running sum: each is then
// off by less than one unit, the integers add up exactly, and the errors cancel between neighbours, so that even
// thousands of small weights keep their precision on pictures.
namespace zel::engine {
namespace {
constexpr int lobes = 3;

double radiusOf(Kernel kernel)
{
    return kernel == Kernel::lanczos3 ? lobes : 1;
}

/// Values of the kernel at `position`, `position` + step, …, not normalised.
void evaluate(Kernel kernel, double position, double step, std::vector<double>& values)
{
    if (kernel == Kernel::triangle) {
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = std::max(0.0, 1 - std::abs(position + step * static_cast<double>(i)));
        return;
    }
    // sinc(x) sinc(x/3) = 3 sin(πx) sin(πx/3) / (πx)². The sine of the triple angle is a polynomial of the single one,
    // and the latter turns by a constant angle from tap to tap: one sine and cosine a position instead of two a tap.
    constexpr double turn = std::numbers::pi / lobes;
    const double turnSine = std::sin(turn * step);
    const double turnCosine = std::cos(turn * step);
    double sine = std::sin(turn * position);
    double cosine = std::cos(turn * position);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double x = position + step * static_cast<double>(i);
        const double angle = std::numbers::pi * x;
        const double tripleSine = sine * (3 - 4 * sine * sine);
        const double value = std::abs(x) < 1e-5 ? 1 : lobes * tripleSine * sine / (angle * angle);
        values[i] = std::abs(x) < lobes ? value : 0;
        const double nextSine = sine * turnCosine + cosine * turnSine;
        cosine = cosine * turnCosine - sine * turnSine;
        sine = nextSine;
    }
}

/// Appends the values as integers of the sum 1 << weightBits.
void quantise(const std::vector<double>& values, int weightBits, std::vector<std::int32_t>& weights)
{
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    const double unit = static_cast<double>(1 << weightBits) / sum;
    double running = 0;
    std::int32_t before = 0;
    for (const double value : values) {
        running += value;
        const auto now = static_cast<std::int32_t>(std::lround(running * unit));
        weights.push_back(now - before);
        before = now;
    }
    weights.back() += (1 << weightBits) - before; // by rounding of the floating sums, if at all
}

void fillNearest(Axis& axis, int from, int to, double start, double scale, int weightBits)
{
    axis.weights.push_back(1 << weightBits);
    for (int i = 0; i < to; ++i) {
        const double position = std::floor(start + (i + 0.5) * scale);
        axis.taps.push_back({static_cast<int>(std::clamp(position, 0.0, from - 1.0)), 1, 0});
    }
}

void fillFiltered(Axis& axis, int from, int to, double start, double scale, Kernel kernel, int weightBits)
{
    const double width = std::max(1.0, scale);
    const double radius = radiusOf(kernel) * width;
    // Over a whole picture the phases repeat: as many positions as `to` has parts once the fraction is reduced.
    const bool repeats = start == 0 && scale == static_cast<double>(from) / to;
    const int common = std::gcd(from, to);
    const int period = repeats ? to / common : to;
    std::vector<double> values;
    const auto reaches = [&](double centre) { return centre - radius >= 0 && centre + radius <= from; };
    for (int i = 0; i < to; ++i) {
        const double wanted = start + (i + 0.5) * scale;
        if (i >= period && reaches(wanted) && reaches(wanted - from / common)) {
            Taps same = axis.taps[static_cast<std::size_t>(i - period)];
            same.first += from / common;
            axis.taps.push_back(same);
            continue;
        }
        const double centre = std::clamp(wanted, 0.0, static_cast<double>(from));
        // Pixel centres nearer than the radius: at the radius kernels are 0.
        const int first = static_cast<int>(std::max(0.0, std::floor(centre - radius - 0.5) + 1));
        const int last = static_cast<int>(std::min(from - 1.0, std::ceil(centre + radius - 0.5) - 1));
        values.resize(static_cast<std::size_t>(last - first + 1));
        evaluate(kernel, (first + 0.5 - centre) / width, 1 / width, values);
        axis.taps.push_back({first, last - first + 1, axis.weights.size()});
        quantise(values, weightBits, axis.weights);
    }
}
} // namespace

int Axis::mostTaps() const
{
    int most = 0;
    for (const Taps& t : taps)
        most = std::max(most, t.count);
    return most;
}

std::optional<Axis> makeAxis(int from, int to, double start, double length, Kernel kernel, int weightBits)
{
    if (length == std::numeric_limits<double>::infinity())
        length = from - start;
    if (from < 1 || to < 1 || !std::isfinite(start) || !std::isfinite(length) || !(length > 0))
        return {};
    Axis axis;
    axis.taps.reserve(static_cast<std::size_t>(to));
    const double scale = length / to;
    const bool wholePixels = scale == 1 && start == std::floor(start); // every kernel is 0 at whole distances but 0
    if (kernel == Kernel::nearest || wholePixels)
        fillNearest(axis, from, to, start, scale, weightBits);
    else
        fillFiltered(axis, from, to, start, scale, kernel, weightBits);
    axis.first = axis.taps.front().first;
    axis.end = axis.taps.back().end();
    axis.copies = std::adjacent_find(axis.taps.begin(), axis.taps.end(),
                                     [](const Taps& a, const Taps& b) {
                                         return a.count != 1 || b.count != 1 || b.first != a.first + 1;
                                     }) == axis.taps.end() &&
                  axis.taps.front().count == 1;
    return axis;
}

} // namespace zel::engine
