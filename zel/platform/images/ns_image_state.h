#pragma once
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/documents/document_picture.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/images/ns_image.h>

#include <mutex>

// What `ns_image.cpp` and `draw.cpp` share; nobody else includes it.
namespace zel {

struct NSImage::State {
    CGSize points;
    Ref<const CGImage> bitmap;           // null: blank, or drawn by the handler
    Ref<const ByteSource> source;        // of an encoded picture, else null
    Ref<const DocumentPicture> document; // what `bitmap` shows, where that is a page or a drawing
    std::function<bool(CGRect)> handler;
    std::optional<std::pair<int, int>> pixels; // set where the pixel size does not follow the display scale
    std::mutex filling;
};

/// The pixel sides of an image without a bitmap: points × display scale rounded up (a millionth counts as nothing).
/// Absent, with the reason noted, where a side is 0 or the picture is too large.
std::optional<std::pair<int, int>> pixelSides(CGSize points, CGFloat scale);

struct NSImageAccess {
    static NSImage::State& state(const NSImage& image) { return *image.state_; }
    static Ref<NSImage> create(CGSize points)
    {
        Ref<NSImage> image(new NSImage);
        image->state_->points = points;
        return image;
    }
};

} // namespace zel
