#include "facts.h"

#include <zel/core/geometry.h>
#include <zel/io/exif.h>

#include <QDateTime>
#include <QFileInfo>
#include <QLocale>

#include <cmath>

namespace zel::viewer {
namespace {

/// One field of a file's properties as a value of a type; absent where it is not there or of another.
template <class T>
std::optional<T> fieldOf(const PropertyDictionary& properties, const char* name)
{
    const auto found = properties.find(name);
    const T* const value = found == properties.end() ? nullptr : std::get_if<T>(&found->second);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

PropertyDictionary groupOf(const PropertyDictionary& properties, const char* name)
{
    return fieldOf<PropertyDictionary>(properties, name).value_or(PropertyDictionary());
}

std::optional<double> numberOf(const PropertyDictionary& properties, const char* name)
{
    if (const auto whole = fieldOf<std::int64_t>(properties, name))
        return static_cast<double>(*whole);
    return fieldOf<double>(properties, name);
}

QString textOf(const PropertyDictionary& properties, const char* name)
{
    return QString::fromStdString(fieldOf<std::string>(properties, name).value_or("")).trimmed();
}

QString sizeText(CGSize size)
{
    return QString("%1 × %2  (%3, %4 MP)")
        .arg(size.width, 0, 'f', 0)
        .arg(size.height, 0, 'f', 0)
        .arg(QString::fromStdString(ZelImageHelper::getReadableRatio(ZelImageHelper::OfSize{.of = size})))
        .arg(size.width * size.height / 1e6, 0, 'f', 1);
}

QString dateText(const std::optional<Date>& date)
{
    if (!date)
        return {};
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(date->time_since_epoch()).count();
    return QDateTime::fromSecsSinceEpoch(seconds).toString("d MMMM yyyy, HH:mm:ss");
}

/// The hemisphere where the file tells it; the degrees never do.
QString positionText(const ZelExif::BasicData::Coordinates& at, const PropertyDictionary& gps)
{
    if (!at.lat || !at.lon)
        return {};
    return QString("%1° %2, %3° %4")
        .arg(*at.lat, 0, 'f', 5)
        .arg(textOf(gps, "LatitudeRef"))
        .arg(*at.lon, 0, 'f', 5)
        .arg(textOf(gps, "LongitudeRef"));
}

QString cameraText(const PropertyDictionary& tiff)
{
    const QString make = textOf(tiff, "Make"), model = textOf(tiff, "Model");
    return model.startsWith(make, Qt::CaseInsensitive) ? model : make + ' ' + model;
}

QString exposureText(const PropertyDictionary& exif)
{
    QStringList parts;
    if (const auto seconds = numberOf(exif, "ExposureTime"); seconds && *seconds > 0)
        parts.append(*seconds < 1 ? QString("1/%1 s").arg(std::round(1 / *seconds)) : QString("%1 s").arg(*seconds));
    if (const auto aperture = numberOf(exif, "FNumber"))
        parts.append(QString("f/%1").arg(*aperture));
    if (const auto length = numberOf(exif, "FocalLength"))
        parts.append(QString("%1 mm").arg(*length));
    return parts.join(", ");
}

QString resolutionText(const PropertyDictionary& properties)
{
    const auto x = numberOf(properties, "DPIWidth"), y = numberOf(properties, "DPIHeight");
    if (!x || !y)
        return {};
    return *x == *y ? QString("%1 dpi").arg(*x) : QString("%1 × %2 dpi").arg(*x).arg(*y);
}

QString colorsText(const PropertyDictionary& properties)
{
    QStringList parts{textOf(properties, "ColorModel"), textOf(properties, "ProfileName")};
    if (const auto depth = numberOf(properties, "Depth"))
        parts.append(QString("%1 bits").arg(*depth));
    parts.removeAll(QString());
    return parts.join(", ");
}

} // namespace

QList<Fact> factsOf(const Place& place, int pages, const Ref<ZelImage>& picture)
{
    QList<Fact> facts;
    const auto add = [&](const char* name, const QString& value) {
        if (!value.isEmpty())
            facts.append({name, value});
    };
    add("Name", nameOf(place));
    if (pages > 1)
        add("Page", QString("%1 of %2").arg(place.page + 1).arg(pages));
    if (picture)
        add("Size", sizeText(picture->size));
    if (!place.address.isFile()) {
        add("Address", QString::fromStdString(place.address.absoluteString()));
        return facts;
    }
    const PropertyDictionary properties = ZelExif::exifDict({.of = place.address});
    const ZelExif::BasicData basics = ZelExif::basicData({.of = place.address});
    const PropertyDictionary exif = groupOf(properties, "{Exif}");
    add("Taken", dateText(basics.shotDate));
    add("Position", positionText(basics.coordinates, groupOf(properties, "{GPS}")));
    add("Camera", cameraText(groupOf(properties, "{TIFF}")));
    add("Exposure", exposureText(exif));
    add("Resolution", resolutionText(properties));
    add("Colours", colorsText(properties));
    const QFileInfo file(pathOf(place));
    add("File", QLocale::c().formattedDataSize(file.size(), 1, QLocale::DataSizeSIFormat));
    add("Folder", file.absolutePath());
    return facts;
}

} // namespace zel::viewer
