#include "film_strip.h"

#include "appearance.h"

#include <view/image_view.h>

#include <QFile>
#include <QFileInfo>
#include <QPainter>

#include <algorithm>

namespace zel::viewer {
namespace {

constexpr int thumbnailWidth = 92, thumbnailHeight = 66, spacing = 6, margin = 8;

} // namespace

/// One picture of the strip; a plain tile while it loads, and for what the view cannot show.
class Thumbnail : public ZelImageView {
public:
    explicit Thumbnail(QWidget* parent) : ZelImageView(parent)
    {
        setFixedSize(thumbnailWidth, thumbnailHeight);
        setRadius(4);
        setBorder(2);
    }
    void present(const QString& path, bool isCurrent)
    {
        setBorderColor(isCurrent ? Appearance::accent : QColor(0, 0, 0, 0));
        if (path == path_)
            return;
        path_ = path;
        setToolTip(QFileInfo(path).fileName());
        setImage(URL::file(QFile::encodeName(path).toStdString()), {});
    }
    std::function<void()> pressed;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Appearance::panel);
        painter.drawRoundedRect(rect(), 4, 4);
        if (!image()) {
            painter.setPen(Appearance::quietText);
            painter.drawText(rect(), Qt::AlignCenter, QFileInfo(path_).suffix().toUpper());
        }
        painter.end();
        ZelImageView::paintEvent(event);
    }
    void mousePressEvent(QMouseEvent*) override
    {
        const auto act = pressed; // which may be given another one meanwhile
        if (act)
            act();
    }

private:
    QString path_;
};

FilmStrip::FilmStrip(QWidget* parent) : QWidget(parent)
{
    setObjectName("strip");
    setAttribute(Qt::WA_StyledBackground);
    setFixedHeight(thumbnailHeight + 2 * margin);
}

void FilmStrip::setList(const FolderList& list)
{
    list_ = list;
    arrange();
}

void FilmStrip::resizeEvent(QResizeEvent*)
{
    arrange();
}

void FilmStrip::arrange()
{
    const int room = std::max(1, (width() - 2 * margin + spacing) / (thumbnailWidth + spacing));
    const int count = std::min(room, list_.size());
    const int first = std::clamp(list_.place() - count / 2, 0, list_.size() - count);
    while (thumbnails_.size() < count)
        thumbnails_.append(new Thumbnail(this));
    const int start = (width() - count * (thumbnailWidth + spacing) + spacing) / 2;
    for (int i = 0; i < static_cast<int>(thumbnails_.size()); ++i) {
        Thumbnail& thumbnail = *thumbnails_[i];
        thumbnail.setVisible(i < count);
        if (i >= count)
            continue;
        const int place = first + i;
        thumbnail.move(start + i * (thumbnailWidth + spacing), margin);
        thumbnail.present(list_.at(place), place == list_.place());
        thumbnail.pressed = [this, place] { emit chosen(place); };
    }
}

} // namespace zel::viewer
