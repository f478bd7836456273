#pragma once
#include <zel/platform/images/ns_image.h>

#include <QImage>

// Between this library's bitmaps and Qt's.
namespace zel {

/// The whole picture at that many pixels, premultiplied, sRGB; null where it cannot be decoded. Decodes no more than
/// the size needs. Any thread.
QImage scaledPixels(const Ref<const CGImage>& image, QSize pixels);
/// A copy; null when the picture is.
Ref<const CGImage> pixelsOf(const QImage& image);

} // namespace zel
