#pragma once
#include <zel/zel.h>

#include <QColor>
#include <QImage>

// Between the library's pictures and Qt's.

/// What Qt paints fastest; a null image where there is no picture.
QImage toQImage(const zel::Ref<zel::ZelImage>& image);
zel::Ref<zel::ZelImage> fromQImage(const QImage& image);
QColor toQColor(const zel::ZelColor& color);
zel::ZelColor fromQColor(const QColor& color);
