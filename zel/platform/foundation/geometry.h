#pragma once
#include <zel/export.h>

namespace zel {

using CGFloat = double;

struct CGPoint {
    CGFloat x = 0;
    CGFloat y = 0;
    friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
    CGFloat width = 0;
    CGFloat height = 0;
    friend bool operator==(const CGSize&, const CGSize&) = default;
};

ZEL_API CGPoint operator*(CGPoint point, CGFloat factor);
ZEL_API CGPoint operator/(CGPoint point, CGFloat divisor);
ZEL_API CGPoint operator+(CGPoint point, CGSize offset);
ZEL_API CGSize operator*(CGSize size, CGFloat factor);
ZEL_API CGSize operator/(CGSize size, CGFloat divisor);

/// The fields are as given; the measures are those of the standardised rectangle.
struct ZEL_API CGRect {
    CGPoint origin;
    CGSize size;

    CGFloat minX() const;
    CGFloat minY() const;
    CGFloat midX() const;
    CGFloat midY() const;
    CGFloat maxX() const;
    CGFloat maxY() const;
    CGFloat width() const;
    CGFloat height() const;
    bool isEmpty() const;
    friend bool operator==(const CGRect&, const CGRect&) = default;
};

/// x' = a x + c y + tx, y' = b x + d y + ty.
struct ZEL_API CGAffineTransform {
    CGFloat a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
    static CGAffineTransform scale(CGFloat sx, CGFloat sy);
    CGAffineTransform translated(CGFloat tx, CGFloat ty) const; ///< applied before this one
    CGAffineTransform rotated(CGFloat radians) const;
    friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

} // namespace zel
