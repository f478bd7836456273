#include "folder_list.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace zel::viewer {
namespace {

/// By which a folder's pictures are found; what is opened by name is told by its content.
bool looksLikeAPicture(const QFileInfo& file)
{
    static const QStringList extensions{"jpg",  "jpeg", "jpe", "png", "tif", "tiff", "heic", "heif", "avif",
                                        "webp", "gif",  "jxl", "jp2", "j2k", "jpx",  "bmp",  "dib",  "ico",
                                        "cur",  "pnm",  "ppm", "pgm", "pbm", "pam",  "pdf",  "svg"};
    return extensions.contains(file.suffix().toLower());
}

/// The digits from `place` on, without leading zeros.
QStringView digitsAt(const QString& text, qsizetype& place)
{
    const auto isDigit = [&] { return place < text.size() && text[place] >= u'0' && text[place] <= u'9'; };
    while (place < text.size() && text[place] == u'0')
        ++place;
    const qsizetype first = place;
    while (isDigit())
        ++place;
    return QStringView(text).mid(first, place - first);
}

} // namespace

bool comesBefore(const QString& one, const QString& other)
{
    const QString a = one.toCaseFolded(), b = other.toCaseFolded();
    const auto isDigit = [](QChar letter) { return letter >= u'0' && letter <= u'9'; };
    qsizetype i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const QStringView x = digitsAt(a, i), y = digitsAt(b, j);
            if (x.size() != y.size())
                return x.size() < y.size();
            if (const int order = x.compare(y); order != 0)
                return order < 0;
        } else if (a[i] != b[j]) {
            return a[i] < b[j];
        } else {
            ++i;
            ++j;
        }
    }
    const qsizetype restOfA = a.size() - i, restOfB = b.size() - j;
    return restOfA != restOfB ? restOfA < restOfB : one < other;
}

FolderList::FolderList(const QString& fileOrFolder)
{
    const QFileInfo given(fileOrFolder);
    const QDir folder(given.isDir() ? given.absoluteFilePath() : given.absolutePath());
    for (const QFileInfo& file : folder.entryInfoList(QDir::Files))
        if (looksLikeAPicture(file))
            paths_.append(file.absoluteFilePath());
    if (!given.isDir() && !paths_.contains(given.absoluteFilePath()))
        paths_.append(given.absoluteFilePath());
    std::sort(paths_.begin(), paths_.end(), comesBefore);
    if (!given.isDir())
        place_ = static_cast<int>(paths_.indexOf(given.absoluteFilePath()));
}

QString FolderList::at(int place) const
{
    return place >= 0 && place < size() ? paths_[place] : QString();
}

bool FolderList::moveTo(int place)
{
    if (place < 0 || place >= size() || place == place_)
        return false;
    place_ = place;
    return true;
}

} // namespace zel::viewer
