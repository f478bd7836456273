#include "opening.h"

#include <zel/io/documents.h>
#include <zel/io/remote.h>
#include <zel/operations/resize.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <algorithm>
#include <array>
#include <fstream>

namespace zel::viewer {
namespace {

constexpr double pageResolution = 150; // dots an inch: enough to read, and to print in a hurry

bool isPdf(const URL& file)
{
    std::array<char, 1024> head{};
    std::ifstream stream(file.filePath(), std::ios::binary);
    stream.read(head.data(), head.size());
    return std::string_view(head.data(), static_cast<std::size_t>(stream.gcount())).find("%PDF-") !=
           std::string_view::npos;
}

/// Asks for small pages, and for no more than the first one, which comes with their number.
int pagesOf(const URL& document)
{
    constexpr std::int64_t dpi = 36;
    std::int64_t pages = 0;
    std::stop_source first;
    {
        const ZelProgress progress({}, first.get_token());
        pdfDocumentToZelImagesAsync({.pdfDocumentUrl = document,
                                     .dpi = dpi,
                                     .callback =
                                         [&](std::int64_t, std::int64_t count, const Ref<ZelImage>&) {
                                             pages = count;
                                             first.request_stop();
                                         },
                                     .finalCallback = {}});
    }
    if (pages > 0)
        ZelFailure::clear(); // that we stopped is no failure
    return static_cast<int>(pages);
}

void openPage(Opened& opened)
{
    opened.pages = pagesOf(opened.place.address);
    if (opened.pages == 0)
        return;
    opened.place.page = std::clamp(opened.place.page, 0, opened.pages - 1);
    // The library counts dots of a display; an inch of paper has as many pixels on every one.
    const auto dpi = static_cast<std::int64_t>(pageResolution * Screens::displayScale());
    opened.picture =
        pdfDocumentToZelImage({.pdfDocumentUrl = opened.place.address, .pageN = opened.place.page, .dpi = dpi});
}

/// What is drawn and not stored is as sharp as the screen is large.
void openFile(Opened& opened, double longestSide)
{
    opened.picture = makeZelImage(opened.place.address);
    if (!opened.picture)
        return;
    const CGSize size = opened.picture->size;
    const double scale = longestSide / std::max(size.width, size.height);
    if (!(scale > 1))
        return;
    const auto large = opened.picture->image->cgImage(CGRect{{0, 0}, {size.width * scale, size.height * scale}});
    if (large && large->width() > size.width)
        opened.picture = makeZelImage(large);
}

void openAddress(Opened& opened)
{
    const ZelLimits::Scope limits(ZelLimits::untrusted());
    opened.picture = makeZelImage(HttpUrl{opened.place.address});
}

void reduce(Opened& opened, double longestSide)
{
    const double side = std::max(opened.picture->size.width, opened.picture->size.height);
    opened.reduced = resize(opened.picture, {.withMaxSide = longestSide});
    opened.scale = std::min(1.0, longestSide / side);
    if (!opened.reduced)
        opened.picture = nullptr; // what cannot be reduced cannot be shown either
}

QString sentence(const QString& text)
{
    return text.isEmpty() ? text : text.left(1).toUpper() + text.mid(1);
}

/// The reason why there is no picture; else the first thing that is wrong with the one there is.
QString messageOf(const Opened& opened, const ZelReport& report)
{
    if (!opened.picture) {
        const QString reason = QString::fromStdString(ZelFailure::last().message);
        return nameOf(opened.place) + " cannot be shown.\n" + sentence(reason);
    }
    for (const ZelNote& note : report.notes())
        if (note.severity == ZelSeverity::warning)
            return sentence(QString::fromStdString(note.message));
    return {};
}

} // namespace

Opened open(const Place& place, double longestSide)
{
    ZelFailure::clear();
    const ZelReport report;
    Opened opened;
    opened.place = place;
    if (!place.address.isFile())
        openAddress(opened);
    else if (isPdf(place.address))
        openPage(opened);
    else
        openFile(opened, longestSide);
    if (opened.picture)
        reduce(opened, longestSide);
    opened.message = messageOf(opened, report);
    if (opened.picture)
        opened.facts = factsOf(opened.place, opened.pages, opened.picture);
    return opened;
}

} // namespace zel::viewer
