#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>
#include <zel/platform/graphics/color.h>

#include <functional>

namespace zel {

class URL;

/// A bitmap that can be written to and encoded.
class NSBitmapImageRep {
public:
    static Ref<NSBitmapImageRep> make(const Ref<const CGImage>& image);
    int pixelsWide() const;
    int pixelsHigh() const;
    CGSize size = {};                                  ///< in points; decides the resolution that encoders record
    Ref<const CGImage> cgImage() const;
    NSColor colorAt(int x, int y) const;               ///< origin top left; transparent black outside
    void setColor(const NSColor& color, int x, int y);

private:
    NSBitmapImageRep();
    struct State;
    Ref<State> state_;
};

/// The platform image: a size in points and representations of it.
class NSImage {
public:
    static Ref<NSImage> make(CGSize size);                                        ///< blank
    static Ref<NSImage> make(const Ref<const CGImage>& image, CGSize size);
    static Ref<NSImage> make(const Data& encoded);                                ///< null when no image
    static Ref<NSImage> make(const URL& file);
    static Ref<NSImage> named(std::string_view name);
    static Ref<NSImage> make(CGSize size, std::function<bool(CGRect)> drawingHandler);

    CGSize size() const;
    CGFloat width() const;
    CGFloat height() const;
    Ref<const CGImage> cgImage(std::optional<CGRect> proposedRect = {}) const;

private:
    NSImage();
    struct State;
    Ref<State> state_;
};

namespace Screens {
void set(std::vector<CGFloat> backingScaleFactors);    ///< of the attached screens, by the host
CGFloat displayScale();                                ///< the largest, at least 1.0
} // namespace Screens

namespace Resources {
void addFolder(const std::string& folder);
void add(const std::string& name, Data encoded);
} // namespace Resources

} // namespace zel
