#include <zel/platform/graphics/mean_color.h>

#include <zel/engine/mean.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

namespace zel {
namespace {

constexpr engine::PixelLayout straight8 = {.alpha = engine::PixelLayout::Alpha::straight};
constexpr engine::PixelLayout straight16 = {.alpha = engine::PixelLayout::Alpha::straight, .bytesPerComponent = 2};

/// Rows as they come, brought to sRGB where the picture has a profile.
class Source {
public:
    explicit Source(const CGImage::Layout& layout)
        : layout_(pixelLayout(layout)), transform_(ColorTransform::toSrgb(layout.colorSpace))
    {
    }

    /// Calls `take` with the rows and their layout; false where there is no memory.
    template <class Take>
    bool hand(const engine::ConstPixels& rows, const Take& take)
    {
        if (!transform_) {
            take(rows, layout_);
            return true;
        }
        const auto straight = layout_.bytesPerComponent == 2 ? straight16 : straight8;
        if (buffer_.pixels().width != rows.width || buffer_.pixels().height < rows.height)
            buffer_ = engine::PixelBuffer(rows.width, rows.height, rows.bytesPerPixel);
        if (buffer_.empty())
            return fail(ZelFailureCode::outOfMemory, "average", "no memory for rows");
        const auto converted = buffer_.pixels().rows(0, rows.height);
        if (!engine::convert(rows, layout_, converted, straight))
            return false;
        transform_->apply(converted, converted);
        take(engine::ConstPixels(converted), straight);
        return true;
    }

private:
    engine::PixelLayout layout_;
    Ref<const ColorTransform> transform_;
    engine::PixelBuffer buffer_;
};

/// The mean of an opaque picture from its blocks' means. The last block of a row or column may stick out of the
/// picture: it counts for what lies inside.
std::optional<std::array<double, 4>> meanOfBlocks(const PixelProvider& provider)
{
    constexpr int block = 8;
    const auto& layout = provider.facts().layout;
    const int across = (layout.width + block - 1) / block, down = (layout.height + block - 1) / block;
    const double lastWidth = layout.width - (across - 1) * block, lastHeight = layout.height - (down - 1) * block;

    std::array<engine::MeanAccumulator, 4> parts; // inside, last column, last row, corner
    Source source(layout);
    const auto take = [&](int first, const engine::ConstPixels& rows, engine::PixelLayout of) {
        const int inner = std::min(rows.height, down - 1 - first); // rows that are not the last one
        const auto add = [&](std::size_t part, const engine::ConstPixels& band) {
            if (across > 1)
                parts[part].add(band.part(0, 0, across - 1, band.height), of);
            parts[part + 1].add(band.part(across - 1, 0, 1, band.height), of);
        };
        if (inner > 0)
            add(0, rows.rows(0, inner));
        if (inner < rows.height)
            add(2, rows.rows(std::max(inner, 0), 1));
    };
    const bool done = decodeBeside(provider, {.denominator = block}, [&](int first, const engine::ConstPixels& rows) {
        return source.hand(rows,
                           [&](const engine::ConstPixels& srgb, engine::PixelLayout of) { take(first, srgb, of); });
    });
    if (!done)
        return std::nullopt;

    const double innerWidth = (across - 1) * block, innerHeight = (down - 1) * block;
    const std::array<double, 4> areas = {innerWidth * innerHeight, lastWidth * innerHeight, innerWidth * lastHeight,
                                         lastWidth * lastHeight};
    std::array<double, 4> mean = {};
    for (std::size_t part = 0; part < parts.size(); ++part) {
        const auto of = parts[part].mean();
        for (std::size_t i = 0; i < mean.size(); ++i)
            mean[i] += of[i] * areas[part] / (static_cast<double>(layout.width) * layout.height);
    }
    return mean;
}

} // namespace

std::optional<std::array<double, 4>> meanColor(const CGImage& image)
{
    const auto& provider = image.provider();
    if (provider && !image.isDecoded() && provider->canReduce(8) && !hasAlpha(image.layout().alphaInfo))
        return meanOfBlocks(*provider);
    engine::MeanAccumulator mean;
    Source source(image.layout());
    const bool done = readRows(image, [&](int, const engine::ConstPixels& rows) {
        return source.hand(rows, [&](const engine::ConstPixels& srgb, engine::PixelLayout of) { mean.add(srgb, of); });
    });
    return done ? std::optional(mean.mean()) : std::nullopt;
}

} // namespace zel
