#include <zel/io/documents.h>

#include <zel/platform/documents/document.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/cg_context.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace zel {
namespace {

constexpr std::string_view operation = "document";
constexpr std::int64_t mostDpi = 9600;
constexpr std::uint64_t mostListBytes = std::uint64_t{2} << 30;

struct Sides {
    int width = 0, height = 0;
};

Sides sidesAt(CGSize points, double scale)
{
    constexpr int most = std::numeric_limits<int>::max();
    constexpr double rounding = 1e-9; // 25.4 mm are 96 units, whatever the division left
    return {truncated(points.width * scale + rounding, 0, most), truncated(points.height * scale + rounding, 0, most)};
}

Sides atLeastOne(Sides sides)
{
    return {std::max(sides.width, 1), std::max(sides.height, 1)};
}

Ref<Document> openPdf(const URL& file, Document::Expecting expecting)
{
    const Ref<const ByteSource> source = ByteSource::openWhole(file);
    if (!source)
        return nullptr;
    if (Document::kindOf(*source) != Document::Kind::pdf)
        return fail(ZelFailureCode::notAnImage, operation, "this is no PDF document", source->subject());
    return Document::open(source, Document::Kind::pdf, expecting);
}

/// Pixels a point; 0 where no page is to be rendered (noted).
double renderFactor(std::int64_t dpi)
{
    if (dpi >= 1 && dpi <= mostDpi)
        return static_cast<double>(dpi) / (72 * Screens::displayScale());
    if (dpi > mostDpi)
        fail(ZelFailureCode::limit, operation, fmt::format("{} dots an inch exceed the limit of {}", dpi, mostDpi));
    else
        fail(ZelFailureCode::invalidArgument, operation, fmt::format("there are no pages at {} dots an inch", dpi));
    return 0;
}

std::optional<Sides> sidesOf(Document& document, int page, double factor)
{
    const std::optional<CGSize> points = document.pageSize(page);
    return points ? std::optional(sidesAt(*points, factor)) : std::nullopt;
}

/// Renders all pages in order, those that come next beside what the sink does with one. The sink says whether to go on.
/// False where the work was stopped.
bool renderPages(Document& document, double factor, const std::function<bool(int, const Ref<ZelImage>&)>& sink)
{
    const int pages = factor > 0 ? document.pageCount() : 0;
    std::vector<std::optional<Sides>> sides; // of the pages up to the last one that was begun
    const auto begin = [&](int page) {
        if (page >= pages)
            return;
        while (sides.size() <= static_cast<std::size_t>(page))
            sides.push_back(sidesOf(document, static_cast<int>(sides.size()), factor));
        if (const auto& known = sides[static_cast<std::size_t>(page)])
            document.renderAhead(page, known->width, known->height);
    };
    for (int page = 0; page < pages; ++page) {
        if (!keepGoing(static_cast<double>(page) / pages, operation))
            return false;
        for (int next = page; next < page + Document::pagesAhead; ++next)
            begin(next);
        const std::optional<Sides> known = sides[static_cast<std::size_t>(page)];
        const Ref<const CGImage> rendered =
            known ? document.render(page, known->width, known->height) : Ref<const CGImage>();
        begin(page + Document::pagesAhead);
        if (rendered && !sink(page, makeZelImage(rendered)))
            break;
    }
    return true;
}

/// The drawing in a file, or null where it is an encoded picture or nothing.
struct Drawing {
    Ref<Document> document;
    CGSize points;
    bool isDrawing = false; ///< also where it does not open
};

Drawing openDrawing(const URL& file)
{
    Drawing drawing;
    const Ref<const ByteSource> source = ByteSource::open(file);
    if (!source)
        return drawing;
    const auto kind = Document::kindOf(*source);
    if (!kind)
        return drawing;
    drawing.isDrawing = true;
    const Ref<Document> document = Document::open(source, *kind);
    const std::optional<CGSize> points = document ? document->pageSize(0) : std::nullopt;
    if (!points || !(points->width > 0 && points->height > 0))
        return drawing;
    drawing.document = document;
    drawing.points = *points;
    return drawing;
}

Ref<CGContext> contextOf(Sides sides)
{
    CGImage::Layout layout;
    layout.width = sides.width;
    layout.height = sides.height;
    return CGContext::make(layout); // draws with high interpolation from the start
}

Ref<const CIImage> saidFailed(std::string_view line)
{
    Console::print(line);
    return nullptr;
}

} // namespace

std::optional<std::vector<Ref<ZelImage>>> pdfDocumentToZelImages(PdfDocument document)
{
    const Ref<Document> opened = openPdf(document.pdfDocumentUrl, Document::Expecting::severalPages);
    if (!opened)
        return std::nullopt;
    const SubjectScope subject(document.pdfDocumentUrl.filePath().string());
    std::vector<Ref<ZelImage>> images;
    std::uint64_t bytes = 0;
    const bool whole = renderPages(*opened, renderFactor(document.dpi), [&](int page, const Ref<ZelImage>& image) {
        bytes += checkedBytes(image->cgImage->width(), image->cgImage->height(), 4, 1).value_or(mostListBytes);
        if (bytes > mostListBytes)
            return static_cast<bool>(
                fail(ZelFailureCode::limit, operation,
                     fmt::format("from page {} on the list exceeds the limit of {} bytes", page + 1, mostListBytes)));
        images.push_back(image);
        return true;
    });
    return whole ? std::optional(std::move(images)) : std::nullopt;
}

void pdfDocumentToZelImagesAsync(PdfDocumentAsync document)
{
    const Ref<Document> opened = openPdf(document.pdfDocumentUrl, Document::Expecting::severalPages);
    bool success = false;
    if (opened) {
        const SubjectScope subject(document.pdfDocumentUrl.filePath().string());
        success = renderPages(*opened, renderFactor(document.dpi), [&](int page, const Ref<ZelImage>& image) {
            if (document.callback)
                document.callback(page, opened->pageCount(), image);
            return true;
        });
    }
    if (document.finalCallback)
        document.finalCallback(success);
}

Ref<ZelImage> pdfDocumentToZelImage(PdfDocumentPage page)
{
    const Ref<Document> opened = openPdf(page.pdfDocumentUrl, Document::Expecting::onePage);
    if (!opened)
        return nullptr;
    const SubjectScope subject(page.pdfDocumentUrl.filePath().string());
    if (page.pageN < 0 || page.pageN >= opened->pageCount())
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("there is no page {} in a document of {}", page.pageN, opened->pageCount()));
    const double factor = renderFactor(page.dpi);
    const int number = static_cast<int>(page.pageN);
    const std::optional<Sides> sides = factor > 0 ? sidesOf(*opened, number, factor) : std::nullopt;
    const Ref<const CGImage> rendered =
        sides ? opened->render(number, sides->width, sides->height) : Ref<const CGImage>();
    return rendered ? makeZelImage(rendered) : nullptr;
}

Ref<const CIImage> loadCIImage(AiUrl drawing)
{
    const Ref<NSImage> image = NSImage::make(drawing.aiUrl);
    const Ref<const CGImage> bitmap = image ? image->cgImage() : nullptr;
    return bitmap ? CIImage::make(bitmap) : nullptr;
}

Ref<const CIImage> loadCIImage(AiUrl drawing, CGFloat scaleFactor)
{
    const Ref<NSImage> found = NSImage::make(drawing.aiUrl);
    if (!found)
        return saidFailed("Failed to load AI file as NSImage.");
    const CGSize points = found->size();
    const Ref<const CGImage> bitmap = found->cgImage(CGRect{{0, 0}, points});
    if (!bitmap)
        return saidFailed("Failed to create CGImage from original NSImage.");
    const Ref<CGContext> context = contextOf(sidesAt(points, scaleFactor));
    if (!context)
        return saidFailed("Failed to create CGContext.");
    context->draw(bitmap, {{0, 0}, {points.width * scaleFactor, points.height * scaleFactor}});
    const Ref<const CGImage> image = context->makeImage();
    return image ? CIImage::make(image) : saidFailed("Failed to create upscaled CGImage from context.");
}

Ref<const CGImage> loadCGImage(AiUrlScaled drawing)
{
    const CGFloat scale = drawing.scaleFactor.value_or(1);
    if (!(scale > 0))
        return fail(ZelFailureCode::invalidArgument, operation, "a drawing has no pixels at a scale of 0 or less");
    const Drawing vector = openDrawing(drawing.aiUrl);
    if (vector.document) {
        const Sides sides = atLeastOne(sidesAt(vector.points, scale));
        return vector.document->render(0, sides.width, sides.height);
    }
    const Ref<NSImage> image = vector.isDrawing ? nullptr : NSImage::make(drawing.aiUrl);
    if (!image || !(image->size().width > 0 && image->size().height > 0))
        return nullptr;
    const Ref<const CGImage> bitmap = image->cgImage();
    const Sides sides = atLeastOne(sidesAt(image->size(), scale));
    const Ref<CGContext> context = bitmap ? contextOf(sides) : nullptr;
    if (!context)
        return nullptr;
    context->draw(bitmap, {{0, 0}, {static_cast<CGFloat>(sides.width), static_cast<CGFloat>(sides.height)}});
    return context->makeImage();
}

} // namespace zel
