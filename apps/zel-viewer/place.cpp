#include "place.h"

#include <QFile>
#include <QFileInfo>

namespace zel::viewer {

std::optional<Place> placeOf(const QString& text)
{
    const QString trimmed = text.trimmed();
    const bool isOfTheWeb = trimmed.startsWith("http://") || trimmed.startsWith("https://");
    if (isOfTheWeb || trimmed.startsWith("file:")) {
        const auto address = URL::parse(trimmed.toStdString());
        return address ? std::optional(Place{*address}) : std::nullopt;
    }
    if (text.isEmpty() || trimmed.contains("://")) // of a kind that nothing here reads
        return std::nullopt;
    return Place{URL::file(QFile::encodeName(text).toStdString())};
}

QString pathOf(const Place& place)
{
    return place.address.isFile() ? QFile::decodeName(place.address.filePath().c_str()) : QString();
}

QString nameOf(const Place& place)
{
    const QString name = QFileInfo(QString::fromStdString(place.address.path())).fileName();
    return name.isEmpty() ? QString::fromStdString(place.address.absoluteString()) : name;
}

} // namespace zel::viewer
