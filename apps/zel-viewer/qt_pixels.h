#pragma once
#include <zel/core/image.h>

#include <QImage>

namespace zel::viewer {

/// The whole picture, sRGB, premultiplied, as Qt paints it fastest; null where it cannot be decoded.
QImage qtPixels(const Ref<ZelImage>& picture);

} // namespace zel::viewer
