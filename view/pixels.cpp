#include <view/pixels.h>

#include <zel/platform/graphics/cg_context.h>

#include <new>

namespace zel {

QImage scaledPixels(const Ref<const CGImage>& image, QSize pixels)
{
    CGImage::Layout layout;
    layout.width = pixels.width();
    layout.height = pixels.height();
    try {
        const Ref<CGContext> context = image ? CGContext::make(layout) : nullptr;
        if (!context)
            return {};
        context->draw(image, {{0, 0}, {static_cast<CGFloat>(layout.width), static_cast<CGFloat>(layout.height)}});
        const auto bytes = context->bytes();
        if (bytes.empty())
            return {};
        const QImage view(bytes.data(), layout.width, layout.height,
                          static_cast<qsizetype>(bytes.size()) / layout.height, QImage::Format_RGBA8888_Premultiplied);
        return view.convertToFormat(QImage::Format_ARGB32_Premultiplied); // what Qt paints fastest; a copy
    } catch (const std::bad_alloc&) {
        return {};
    }
}

Ref<const CGImage> pixelsOf(const QImage& image)
{
    if (image.isNull())
        return nullptr;
    const QImage rows = image.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    CGImage::Layout layout;
    layout.width = rows.width();
    layout.height = rows.height();
    const auto rowBytes = static_cast<std::size_t>(rows.bytesPerLine());
    const std::uint8_t* first = rows.constBits();
    return CGImage::make(layout, Data(std::vector<std::uint8_t>(first, first + rows.sizeInBytes())), rowBytes);
}

} // namespace zel
