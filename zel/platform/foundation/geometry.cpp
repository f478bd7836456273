#include <zel/platform/foundation/geometry.h>

#include <cmath>

namespace zel {

CGPoint operator*(CGPoint point, CGFloat factor)
{
    return {point.x * factor, point.y * factor};
}
CGPoint operator/(CGPoint point, CGFloat divisor)
{
    return {point.x / divisor, point.y / divisor};
}
CGPoint operator+(CGPoint point, CGSize offset)
{
    return {point.x + offset.width, point.y + offset.height};
}
CGSize operator*(CGSize size, CGFloat factor)
{
    return {size.width * factor, size.height * factor};
}
CGSize operator/(CGSize size, CGFloat divisor)
{
    return {size.width / divisor, size.height / divisor};
}

CGFloat CGRect::minX() const
{
    return size.width < 0 ? origin.x + size.width : origin.x;
}
CGFloat CGRect::minY() const
{
    return size.height < 0 ? origin.y + size.height : origin.y;
}
CGFloat CGRect::width() const
{
    return std::fabs(size.width);
}
CGFloat CGRect::height() const
{
    return std::fabs(size.height);
}
CGFloat CGRect::maxX() const
{
    return minX() + width();
}
CGFloat CGRect::maxY() const
{
    return minY() + height();
}
CGFloat CGRect::midX() const
{
    return minX() + width() * 0.5;
}
CGFloat CGRect::midY() const
{
    return minY() + height() * 0.5;
}
// Written so that a side that is not a number counts as empty.
bool CGRect::isEmpty() const
{
    return !(width() > 0 && height() > 0);
}

CGAffineTransform CGAffineTransform::scale(CGFloat sx, CGFloat sy)
{
    return {sx, 0, 0, sy, 0, 0};
}

CGAffineTransform CGAffineTransform::translated(CGFloat x, CGFloat y) const
{
    return {a, b, c, d, a * x + c * y + tx, b * x + d * y + ty};
}

CGAffineTransform CGAffineTransform::rotated(CGFloat radians) const
{
    const CGFloat cosine = std::cos(radians), sine = std::sin(radians);
    return {a * cosine + c * sine, b * cosine + d * sine, c * cosine - a * sine, d * cosine - b * sine, tx, ty};
}

} // namespace zel
