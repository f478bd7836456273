#include "pixels.h"

#include <algorithm>

using namespace zel;

QImage toQImage(const Ref<ZelImage>& image)
{
    if (!image || !image->cgImage)
        return {};
    const ZelContextImage context(image);
    const std::span<const std::uint8_t> bytes = context.bitmap();
    if (bytes.empty())
        return {};
    const auto width = static_cast<int>(context.width), height = static_cast<int>(context.height);
    const QImage view(bytes.data(), width, height, qsizetype{width} * 4, QImage::Format_RGBA8888_Premultiplied);
    return view.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

Ref<ZelImage> fromQImage(const QImage& image)
{
    const QImage rows = image.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    if (rows.isNull())
        return nullptr;
    CGImage::Layout layout;
    layout.width = rows.width();
    layout.height = rows.height();
    const std::uint8_t* const first = rows.constBits();
    return makeZelImage(CGImage::make(layout, Data(std::vector<std::uint8_t>(first, first + rows.sizeInBytes())),
                                      static_cast<std::size_t>(rows.bytesPerLine())));
}

QColor toQColor(const ZelColor& color)
{
    return {color.redB255(), color.greenB255(), color.blueB255(), color.alphaB255()};
}

ZelColor fromQColor(const QColor& color)
{
    const auto byte = [](int part) { return static_cast<std::uint8_t>(part); };
    return ZelColor::fromBytes(byte(color.red()), byte(color.green()), byte(color.blue()), byte(color.alpha()));
}
