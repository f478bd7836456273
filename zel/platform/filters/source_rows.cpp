#include <zel/platform/filters/source_rows.h>

#include <zel/engine/parallel.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>

namespace zel {
namespace {

using Alpha = engine::PixelLayout::Alpha;

constexpr engine::PixelLayout premultiplied8{};
constexpr engine::PixelLayout straight8{.alpha = Alpha::straight};

/// What happens to a strip of stored rows until it is drawn.
class StripDrawing {
public:
    StripDrawing(const CGImage::Layout& layout, const PointFilters& filters)
        : layout_(pixelLayout(layout)), transform_(ColorTransform::toSrgb(layout.colorSpace)), filters_(filters)
    {
    }

    [[nodiscard]] int bytesPerComponent() const { return layout_.bytesPerComponent; }
    void operator()(const engine::ConstPixels& rows, const engine::Pixels& to) const
    {
        if (!transform_ && filters_.empty()) {
            (void)engine::convert(rows, layout_, to, premultiplied8);
            return;
        }
        (void)engine::convert(rows, layout_, to, straight8);
        if (transform_)
            transform_->apply(to, to);
        filters_.applyToStrip(to);
        if (layout_.alpha != Alpha::skip)
            (void)engine::convert(to, straight8, to, premultiplied8);
    }

private:
    engine::PixelLayout layout_;
    Ref<const ColorTransform> transform_;
    const PointFilters& filters_;
};

} // namespace

bool hasUprightRows(const CGImage& image)
{
    return image.isDecoded() || image.facts()->orientation == Orientation::up;
}

bool drawRows(const CGImage& image, int left, int top, const engine::Pixels& to, const PointFilters& filters)
{
    const bool decoded = image.isDecoded();
    const StripDrawing draw(decoded ? image.layout() : image.facts()->layout, filters);
    if (draw.bytesPerComponent() == 2)
        warn(ZelFailureCode::unsupported, "draw", "16 bits a component were reduced to 8");
    const int step = PointFilters::stripRows(to.width);
    const auto drawBand = [&](const engine::ConstPixels& rows, int at) {
        engine::parallelFor(rows.height, to.width, [&](int first, int last) {
            for (int y = first; y < last; y += step) {
                const int count = std::min(step, last - y);
                draw(rows.part(left, y, to.width, count), to.rows(at + y, count));
            }
        });
    };
    if (decoded) {
        drawBand(pixelsOf(image).rows(top, to.height), 0);
        return true;
    }
    const PixelProvider::Request request{.denominator = 1, .firstRow = top, .rowCount = to.height};
    return decodeBeside(*image.provider(), request, [&](int first, const engine::ConstPixels& rows) {
        drawBand(rows, first - top);
        return true;
    });
}

} // namespace zel
