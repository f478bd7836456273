#include <zel/platform/codecs/jpeg_coefficients.h>

#include <zel/engine/block_kernels.h>

#include <algorithm>
#include <cmath>

namespace zel {
namespace {

constexpr std::int64_t mostPixels = std::int64_t{1} << 25; // three bytes each are then at most 96 MiB

bool isSampledAs(const jpeg_decompress_struct& info, JpegSampling sampling)
{
    if (sampling == JpegSampling::grey)
        return info.jpeg_color_space == JCS_GRAYSCALE;
    if (sampling != JpegSampling::half || info.jpeg_color_space != JCS_YCbCr)
        return false;
    const auto has = [&info](int component, int factor) {
        const jpeg_component_info& found = info.comp_info[component];
        return found.h_samp_factor == factor && found.v_samp_factor == factor;
    };
    return has(0, 2) && has(1, 1) && has(2, 1);
}

} // namespace

bool JpegCoefficients::read()
{
    if (!decoder_.readCoefficients())
        return false;
    jpeg_decompress_struct& info = decoder_.info();
    for (int component = 0; component < info.num_components; ++component) {
        std::vector<const JBLOCK*> rows(static_cast<std::size_t>(blocksHigh(component)));
        // A few rows at a time: libjpeg hands out as many as a row of coding units has.
        const bool found = guarded(decoder_.errors(), [this, &info, &rows, component] {
            for (std::size_t y = 0; y < rows.size(); ++y)
                rows[y] = info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info),
                                                       decoder_.coefficients()[component], static_cast<JDIMENSION>(y),
                                                       1, FALSE)[0];
        });
        if (!found)
            return false;
        rows_.push_back(std::move(rows));
    }
    return true;
}

int JpegCoefficients::blocksWide(int component) const
{
    return static_cast<int>(decoder_.info().comp_info[component].width_in_blocks);
}

int JpegCoefficients::blocksHigh(int component) const
{
    return static_cast<int>(decoder_.info().comp_info[component].height_in_blocks);
}

JpegRequantizer::JpegRequantizer(const JpegCoefficients& from, const JpegQuantizers& to) : from_(from)
{
    constexpr double one = 32768;
    for (int component = 0; component < from.decoder().info().num_components; ++component) {
        const JQUANT_TBL* const had = from.decoder().info().comp_info[component].quant_table;
        Factors& factors = factors_.emplace_back();
        for (std::size_t place = 0; place < 64; ++place) {
            const double had1 = had->quantval[place];
            factors.exact[place] = had1 / to[component == 0 ? 0 : 1][place];
            factors.areFixed = factors.areFixed && std::round(factors.exact[place] * one) < one;
        }
        for (std::size_t place = 0; factors.areFixed && place < 64; ++place)
            factors.fixed[place] = static_cast<std::int16_t>(std::round(factors.exact[place] * one));
    }
}

void JpegRequantizer::row(int component, int y, JBLOCK* to, std::size_t blocks) const
{
    const Factors& factors = factors_[static_cast<std::size_t>(component)];
    const JCOEF* const from = from_.row(component, y)[0];
    if (factors.areFixed) {
        engine::rescaleBlocks(from, factors.fixed.data(), to[0], blocks);
        return;
    }
    constexpr double most = engine::mostCoefficient;
    JCOEF* const coefficients = to[0];
    for (std::size_t i = 0; i < blocks * 64; ++i)
        coefficients[i] = static_cast<JCOEF>(std::nearbyint(std::clamp(from[i] * factors.exact[i % 64], -most, most)));
}

std::unique_ptr<JpegCoefficients> coefficientsOf(const CGImage& image, JpegSampling sampling)
{
    const auto* const picture = dynamic_cast<const JpegPicture*>(image.provider().get());
    if (picture == nullptr || picture->facts().orientation != Orientation::up ||
        static_cast<std::int64_t>(image.width()) * image.height() > mostPixels)
        return nullptr;
    auto coefficients = std::make_unique<JpegCoefficients>(*picture->source());
    if (!coefficients->readHeader(JpegDecoder::Segments::passed))
        return nullptr;
    const jpeg_decompress_struct& info = coefficients->decoder().info();
    const bool fits = static_cast<int>(info.image_width) == image.width() &&
                      static_cast<int>(info.image_height) == image.height() && isSampledAs(info, sampling);
    if (!fits || !coefficients->read() || !coefficients->isSound())
        return nullptr;
    return coefficients;
}

} // namespace zel
