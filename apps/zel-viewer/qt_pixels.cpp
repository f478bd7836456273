#include "qt_pixels.h"

namespace zel::viewer {

QImage qtPixels(const Ref<ZelImage>& picture)
{
    // What is rendered is sRGB of 8 bits, red first, premultiplied or opaque, whatever the picture is.
    const Ref<const CGImage> rendered = picture ? getCGImage(picture->ciImage()) : nullptr;
    const auto bytes = rendered ? rendered->bytes() : std::span<const std::uint8_t>();
    if (bytes.empty())
        return {};
    const bool isOpaque = rendered->layout().alphaInfo == CGAlphaInfo::noneSkipLast;
    const QImage view(bytes.data(), rendered->width(), rendered->height(),
                      static_cast<qsizetype>(rendered->bytesPerRow()),
                      isOpaque ? QImage::Format_RGBX8888 : QImage::Format_RGBA8888_Premultiplied);
    return view.convertToFormat(isOpaque ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied); // a copy
}

} // namespace zel::viewer
