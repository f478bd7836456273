#include "layer_text.h"
#include "pixels.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace zel;

namespace {

using Text = ZelComposer::Layer::Text;

constexpr double pointsAcross = 1000;  // of a composition
constexpr double largestFont = 10'000; // points; Qt's own arithmetic ends somewhere above

QFont fontOf(const Text& text)
{
    QFont font(QString::fromStdString(text.font.name));
    font.setHintingPreference(QFont::PreferNoHinting); // letters keep their places at every size
    const double size = std::isfinite(text.font.size) ? text.font.size : 0;
    font.setPixelSize(static_cast<int>(std::clamp(size, 1.0, largestFont)));
    return font;
}

int flagsOf(const Text& text)
{
    switch (text.alignment) {
    case Text::Alignment::left:
        return Qt::AlignLeft;
    case Text::Alignment::center:
        return Qt::AlignHCenter;
    case Text::Alignment::right:
        break;
    }
    return Qt::AlignRight;
}

QSizeF pointsOf(const Text& text)
{
    const QString words = text.text.empty() ? QStringLiteral(" ") : QString::fromStdString(text.text);
    return QFontMetricsF(fontOf(text)).size(0, words);
}

} // namespace

CGSize sizeOfText(const Text& text)
{
    const QSizeF points = pointsOf(text);
    return {points.width() / pointsAcross, points.height() / pointsAcross};
}

Ref<ZelImage> drawText(const Text& text, std::int64_t width, std::int64_t height)
{
    QImage image(static_cast<int>(width), static_cast<int>(height), QImage::Format_RGBA8888_Premultiplied);
    if (image.isNull())
        return nullptr;
    image.fill(Qt::transparent);
    const QSizeF points = pointsOf(text);
    {
        QPainter painter(&image);
        painter.scale(static_cast<double>(width) / points.width(), static_cast<double>(height) / points.height());
        painter.setFont(fontOf(text));
        painter.setPen(toQColor(text.color));
        painter.drawText(QRectF(QPointF(), points), flagsOf(text), QString::fromStdString(text.text));
    }
    return fromQImage(image);
}
