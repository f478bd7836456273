#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

namespace zel {

/// An immutable expression that yields a picture when a CIContext renders it.
class CIImage {
public:
    static Ref<const CIImage> make(const Ref<const CGImage>& image);
    static Ref<const CIImage> make(const Data& encoded);
    CGRect extent() const;
    Ref<const CIImage> transformed(const CGAffineTransform& transform) const;
    Ref<const CIImage> cropped(CGRect rect) const;
    Ref<const CIImage> straightened(CGFloat radians) const;
    Ref<const CIImage> exposed(double ev) const;
    Ref<const CIImage> luminanceSharpened(float sharpness) const;

private:
    CIImage();
    struct Node;
    Ref<const Node> node_;
};

class CIContext {
public:
    CIContext();
    Ref<const CGImage> createCGImage(const Ref<const CIImage>& image, CGRect from) const;

private:
    struct State;
    Ref<State> state_;
};

} // namespace zel
