#include <zel/platform/graphics/image_part.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <utility>

namespace zel {
namespace {

/// From the upright picture of that size to the stored one.
PixelArea storedArea(const PixelArea& area, Orientation orientation, int width, int height)
{
    const int right = width - area.left - area.width, bottom = height - area.top - area.height;
    switch (orientation) {
    case Orientation::mirrored:
        return {right, area.top, area.width, area.height};
    case Orientation::down:
        return {right, bottom, area.width, area.height};
    case Orientation::downMirrored:
        return {area.left, bottom, area.width, area.height};
    case Orientation::transposed:
        return {area.top, area.left, area.height, area.width};
    case Orientation::right:
        return {area.top, right, area.height, area.width};
    case Orientation::transverse:
        return {bottom, right, area.height, area.width};
    case Orientation::left:
        return {bottom, area.left, area.height, area.width};
    case Orientation::up:
        break;
    }
    return area;
}

/// Rows and columns of another provider's stored picture.
class PartProvider final : public PixelProvider {
public:
    PartProvider(Ref<const PixelProvider> whole, const PixelArea& stored)
        : whole_(std::move(whole)), area_(stored), facts_(whole_->facts())
    {
        facts_.layout.width = stored.width;
        facts_.layout.height = stored.height;
    }

    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool usesSecondThread() const override { return whole_->usesSecondThread(); }

    // A reduced pixel may mix nothing from beyond the part: its edges lie between reduced pixels, or are the picture's.
    [[nodiscard]] bool canReduce(int denominator) const override
    {
        const CGImage::Layout& all = whole_->facts().layout;
        const auto fits = [&](int first, int length, int whole) {
            return first % denominator == 0 && (length % denominator == 0 || first + length == whole);
        };
        return denominator >= 1 && fits(area_.left, area_.width, all.width) &&
               fits(area_.top, area_.height, all.height) && whole_->canReduce(denominator);
    }

    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override
    {
        const int denominator = request.denominator;
        if (!canReduce(denominator))
            return fail(ZelFailureCode::invalidArgument, "crop", fmt::format("cannot decode at 1/{}", denominator));
        const auto reduced = [&](int side) { return (side - 1) / denominator + 1; };
        const int height = reduced(area_.height);
        const int count =
            request.rowCount < 0 ? height - request.firstRow : std::min(request.rowCount, height - request.firstRow);
        if (request.firstRow < 0 || count < 0)
            return fail(ZelFailureCode::invalidArgument, "crop",
                        fmt::format("rows from {} of a part of {} rows", request.firstRow, height));
        const int top = area_.top / denominator, left = area_.left / denominator;
        return whole_->decode({denominator, top + request.firstRow, count},
                              [&](int first, const engine::ConstPixels& rows) {
                                  return sink(first - top, rows.part(left, 0, reduced(area_.width), rows.height));
                              });
    }

    /// A part of this part, in the stored picture.
    [[nodiscard]] Ref<const PixelProvider> part(const PixelArea& stored) const
    {
        return std::make_shared<PartProvider>(
            whole_, PixelArea{area_.left + stored.left, area_.top + stored.top, stored.width, stored.height});
    }

private:
    Ref<const PixelProvider> whole_;
    PixelArea area_;
    PictureFacts facts_;
};

} // namespace

std::optional<PixelArea> pixelArea(const CGRect& rect, int width, int height)
{
    constexpr double tolerance = 1e-6;
    const double right = rect.maxX(), bottom = rect.maxY();
    if (std::isnan(right) || std::isnan(bottom) || !(rect.width() > 0 && rect.height() > 0))
        return std::nullopt;
    const int left = truncated(std::floor(rect.minX() + tolerance), 0, width);
    const int top = truncated(std::floor(rect.minY() + tolerance), 0, height);
    const PixelArea area{left, top, truncated(std::ceil(right - tolerance), 0, width) - left,
                         truncated(std::ceil(bottom - tolerance), 0, height) - top};
    return area.width > 0 && area.height > 0 ? std::optional(area) : std::nullopt;
}

Ref<const PixelProvider> partOf(const Ref<const PixelProvider>& provider, const PixelArea& area)
{
    const PictureFacts& facts = provider->facts();
    const bool swapped = swapsSides(facts.orientation);
    const PixelArea stored = storedArea(area, facts.orientation, swapped ? facts.layout.height : facts.layout.width,
                                        swapped ? facts.layout.width : facts.layout.height);
    if (const auto* part = dynamic_cast<const PartProvider*>(provider.get()))
        return part->part(stored);
    return std::make_shared<PartProvider>(provider, stored);
}

Ref<const CGImage> imageInRect(const Ref<const CGImage>& image, const CGRect& rect)
{
    if (!image)
        return failAbsentInput("crop");
    const auto area = pixelArea(rect, image->width(), image->height());
    if (!area)
        return fail(ZelFailureCode::invalidArgument, "crop",
                    fmt::format("no pixel of {} x {} at {}, {} lies in the picture of {} x {}", rect.size.width,
                                rect.size.height, rect.origin.x, rect.origin.y, image->width(), image->height()));
    return partOf(image, *area);
}

} // namespace zel
