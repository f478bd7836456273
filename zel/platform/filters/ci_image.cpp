#include <zel/platform/filters/ci_image.h>

#include <zel/platform/codecs/codec.h>
#include <zel/platform/filters/exposure_table.h>
#include <zel/platform/filters/expression.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/notes.h>

#include <cmath>

namespace zel {
namespace {

bool isFinite(const CGRect& rect)
{
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
           std::isfinite(rect.size.height);
}

} // namespace

CIImage::CIImage() = default;

const Expression& CIImageAccess::expression(const CIImage& image)
{
    return image.node_->expression;
}

Ref<const CIImage> CIImageAccess::make(Expression expression)
{
    Ref<CIImage> result(new CIImage);
    result->node_ = std::make_shared<CIImage::Node>(CIImage::Node{std::move(expression)});
    return result;
}

Ref<const CIImage> CIImage::make(const Ref<const CGImage>& image)
{
    if (!image)
        return failAbsentInput("filter image");
    Ref<CIImage> result(new CIImage);
    result->node_ = std::make_shared<Node>(Node{Expression::of(image), image});
    return result;
}

Ref<const CIImage> CIImage::make(const Data& encoded)
{
    return make(CGImage::make(openPicture(ByteSource::of(encoded))));
}

Ref<const CGImage> untouchedSource(const CIImage& image)
{
    return image.node_->untouched;
}

CGRect CIImage::extent() const
{
    return node_->expression.extent;
}

Ref<const CIImage> CIImage::transformed(const CGAffineTransform& transform) const
{
    return CIImageAccess::make(node_->expression.transformed(transform));
}

Ref<const CIImage> CIImage::cropped(CGRect rect) const
{
    if (!isFinite(rect))
        return fail(ZelFailureCode::invalidArgument, "crop", "the rectangle's figures are not finite");
    return CIImageAccess::make(node_->expression.cropped(rect));
}

Ref<const CIImage> CIImage::straightened(CGFloat radians) const
{
    if (!std::isfinite(radians))
        return fail(ZelFailureCode::invalidArgument, "straighten", "the angle is not finite");
    return CIImageAccess::make(node_->expression.straightened(radians));
}

Ref<const CIImage> CIImage::exposed(double ev) const
{
    if (!std::isfinite(ev))
        return fail(ZelFailureCode::invalidArgument, "exposure", "the exposure value is not finite");
    if (ev == 0)
        return CIImageAccess::make(node_->expression);
    return CIImageAccess::make(
        node_->expression.filtered(std::make_shared<const engine::ToneTable>(exposureTable(ev))));
}

Ref<const CIImage> CIImage::luminanceSharpened(float sharpness) const
{
    if (!std::isfinite(sharpness))
        return fail(ZelFailureCode::invalidArgument, "sharpen", "the sharpness is not finite");
    if (sharpness == 0)
        return CIImageAccess::make(node_->expression);
    return CIImageAccess::make(node_->expression.filtered(LumaSharpening{sharpness}));
}

} // namespace zel
