#include <zel/platform/filters/ci_image.h>

#include <zel/platform/codecs/codec.h>
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

Ref<const CIImage> CIImage::make(const Ref<const CGImage>& image)
{
    if (!image)
        return failAbsentInput("filter image");
    Ref<CIImage> result(new CIImage);
    result->node_ = std::make_shared<Node>(Node{Expression::of(image)});
    return result;
}

Ref<const CIImage> CIImage::make(const Data& encoded)
{
    return make(CGImage::make(openPicture(ByteSource::of(encoded))));
}

CGRect CIImage::extent() const
{
    return node_->expression.extent;
}

Ref<const CIImage> CIImage::transformed(const CGAffineTransform& transform) const
{
    Ref<CIImage> result(new CIImage);
    result->node_ = std::make_shared<Node>(Node{node_->expression.transformed(transform)});
    return result;
}

Ref<const CIImage> CIImage::cropped(CGRect rect) const
{
    if (!isFinite(rect))
        return fail(ZelFailureCode::invalidArgument, "crop", "the rectangle's figures are not finite");
    Ref<CIImage> result(new CIImage);
    result->node_ = std::make_shared<Node>(Node{node_->expression.cropped(rect)});
    return result;
}

} // namespace zel
