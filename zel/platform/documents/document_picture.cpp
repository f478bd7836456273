#include <zel/platform/documents/document_picture.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

/// A side that is not whole still shows all of the page.
int pixelsOf(CGFloat points)
{
    return truncated(std::ceil(points - 1e-6), 1, std::numeric_limits<int>::max());
}

bool hasSides(const Ref<const CGImage>& image, int width, int height)
{
    return image && image->width() == width && image->height() == height;
}

} // namespace

Ref<const DocumentPicture> DocumentPicture::open(const Ref<const ByteSource>& source, Document::Kind kind)
{
    const Ref<Document> document = Document::open(source, kind);
    const std::optional<CGSize> points = document ? document->pageSize(0) : std::nullopt;
    if (!points)
        return nullptr;
    const SubjectScope subject(source->subject());
    if (!(points->width > 0 && points->height > 0))
        return fail(ZelFailureCode::notAnImage, "document", "the first page has no area");
    const Ref<DocumentPicture> picture(new DocumentPicture(source, kind));
    picture->points_ = *points;
    picture->natural_ = document->render(0, pixelsOf(points->width), pixelsOf(points->height));
    return picture->natural_ ? picture : nullptr;
}

Ref<const CGImage> DocumentPicture::bitmap(int width, int height) const
{
    if (hasSides(natural_, width, height))
        return natural_;
    const std::scoped_lock lock(mutex_);
    if (hasSides(last_, width, height))
        return last_;
    const Ref<Document> document = Document::open(source_, kind_);
    Ref<const CGImage> rendered = document ? document->render(0, width, height) : nullptr;
    if (rendered)
        last_ = rendered;
    return rendered;
}

} // namespace zel
