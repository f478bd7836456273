#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/geometry.h>

namespace zel {

struct NormalizeTo {
    CGSize to;
};
// Between pixels and fractions of a width: both coordinates are scaled by the size's width alone.
ZEL_API CGFloat normalize(CGFloat value, NormalizeTo size);
ZEL_API CGPoint normalize(CGPoint point, NormalizeTo size);
ZEL_API CGFloat deNormalize(CGFloat value, NormalizeTo size);
ZEL_API CGPoint deNormalize(CGPoint point, NormalizeTo size);

} // namespace zel
