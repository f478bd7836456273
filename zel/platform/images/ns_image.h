#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>
#include <zel/platform/graphics/color.h>

#include <functional>

namespace zel {

class URL;

/// A bitmap that can be written to and encoded. Copies nothing before it is written to.
class ZEL_API NSBitmapImageRep {
public:
    static Ref<NSBitmapImageRep> make(const Ref<const CGImage>& image); ///< null when `image` is
    int pixelsWide() const;
    int pixelsHigh() const;
    CGSize size = {}; ///< in points, at first one a pixel; decides the resolution that encoders record
    /// The pixels as they are now; the picture it was made from while nothing was written.
    Ref<const CGImage> cgImage() const;
    NSColor colorAt(int x, int y) const;               ///< straight, sRGB, origin top left; transparent black outside
    void setColor(const NSColor& color, int x, int y); ///< nothing outside

private:
    NSBitmapImageRep();
    struct State;
    Ref<State> state_;
};

/// A picture as a document or a window knows it: a size in points, and what shows itself there: nothing (blank),
/// pixels, or a handler that draws. May be used from any number of threads.
class ZEL_API NSImage {
public:
    static Ref<NSImage> make(CGSize size);                                  ///< blank
    static Ref<NSImage> make(const Ref<const CGImage>& image, CGSize size); ///< null when `image` is
    /// One point a pixel, or pixels × 72 ÷ the file's resolution. The first page of a PDF document and an SVG drawing
    /// are pictures too, on transparent paper, that measure as they are displayed and are rendered at the size at which
    /// they are needed. Null, with the reason noted, when it is no picture.
    static Ref<NSImage> make(const Data& encoded);
    static Ref<NSImage> make(const URL& file);
    static Ref<NSImage> named(std::string_view name); ///< one of the Resources, or null
    /// The handler draws through `Draw` into the rectangle it is given, in points; false means nothing was drawn.
    static Ref<NSImage> make(CGSize size, std::function<bool(CGRect)> drawingHandler);

    CGSize size() const;
    CGFloat width() const;
    CGFloat height() const;
    /// The pixels it holds, whatever the rectangle; what is blank or drawn gives points × display scale pixels, rounded
    /// up; pages and drawings give the rectangle's size in pixels, or without one a pixel a point. Null, with the
    /// reason noted, where a side is 0 or too large.
    Ref<const CGImage> cgImage(std::optional<CGRect> proposedRect = {}) const;

private:
    friend struct NSImageAccess;
    NSImage();
    struct State;
    Ref<State> state_;
};

namespace Screens {
/// The backing scale factors of the attached screens; set by the host, or by the view library. None at first.
ZEL_API void set(std::vector<CGFloat> backingScaleFactors);
/// Device pixels a point: the largest factor, at least 1.0.
ZEL_API CGFloat displayScale();
} // namespace Screens

/// The pictures that an application brings along, for `NSImage::named`.
namespace Resources {
/// Looked through, after the pictures that were added by name, in the order in which folders were added: for the name
/// itself, then with the extension of every format that this build reads.
ZEL_API void addFolder(const std::string& folder);
ZEL_API void add(const std::string& name, Data encoded);
/// Asked last, for the same names as the folders are: the encoded picture of a name, or nothing. Installed by hosts
/// with resources of their own kind, or by the view library; empty, as from the beginning: nobody is asked. Any thread.
using Provider = std::function<std::optional<Data>(std::string_view name)>;
ZEL_API void setProvider(Provider provider);
} // namespace Resources

} // namespace zel
