#include <zel/composition/composer.h>

namespace zel {

CGFloat normalize(CGFloat value, NormalizeTo size)
{
    return value / size.to.width;
}
CGPoint normalize(CGPoint point, NormalizeTo size)
{
    return point / size.to.width;
}
CGFloat deNormalize(CGFloat value, NormalizeTo size)
{
    return value * size.to.width;
}
CGPoint deNormalize(CGPoint point, NormalizeTo size)
{
    return point * size.to.width;
}

} // namespace zel
