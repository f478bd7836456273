#pragma once
#include <zel/core/image.h>

#include <functional>

// Pages of PDF documents and vector drawings as pictures. A page of w × h points as displayed (crop box, turn) gives
// w × f by h × f pixels, truncated, with f = dpi ÷ (72 × display scale), on transparent paper. Documents are rendered
// by a process of their own, which ends with the call; absent results and what is skipped say why (`missingPart` where
// the package libzelimaging-documents0 is not installed, `unsupported` for a password, `limit` for a page that takes
// longer than `ZelLimits::decodeTime` or is too large).
namespace zel {

/// Label of `pdfDocumentToZelImages`; the resolution in dots an inch, at most 9600.
struct PdfDocument {
    URL pdfDocumentUrl;
    std::int64_t dpi;
};
/// Label of `pdfDocumentToZelImagesAsync`.
struct PdfDocumentAsync {
    URL pdfDocumentUrl;
    std::int64_t dpi;
    std::function<void(std::int64_t page, std::int64_t pageCount, Ref<ZelImage> image)> callback; ///< pages from 0
    std::function<void(bool success)> finalCallback;
};
/// Label of `pdfDocumentToZelImage`; pages count from 0.
struct PdfDocumentPage {
    URL pdfDocumentUrl;
    std::int64_t pageN;
    std::int64_t dpi;
};
/// Label of `loadCIImage`.
struct AiUrl {
    URL aiUrl;
};
/// Label of `loadCGImage`; 1 where no scale is given.
struct AiUrlScaled {
    URL aiUrl;
    std::optional<CGFloat> scaleFactor = {};
};

/// The pages that render, in order; those that do not are skipped (noted), and so is what passes 2 GiB in all. Empty
/// where `dpi` is 0 or less. Absent when the file cannot be read or is no PDF document.
ZEL_API std::optional<std::vector<Ref<ZelImage>>> pdfDocumentToZelImages(PdfDocument document);
/// The same, page by page, on the calling thread and before it returns: `callback` for each page that rendered, then
/// `finalCallback` with true, or with false alone where there is no document. The next page renders beside `callback`;
/// no page is kept here.
ZEL_API void pdfDocumentToZelImagesAsync(PdfDocumentAsync document);
/// Null for a page that is not there or does not render.
ZEL_API Ref<ZelImage> pdfDocumentToZelImage(PdfDocumentPage page);

/// The first picture in the file: that of an encoded picture, the first page of a PDF document, an SVG drawing, the
/// latter two at one pixel a point.
ZEL_API Ref<const CIImage> loadCIImage(AiUrl drawing);
/// That picture's bitmap drawn scaled into sides × `scaleFactor`, truncated. What fails is printed as a line as well.
ZEL_API Ref<const CIImage> loadCIImage(AiUrl drawing, CGFloat scaleFactor);
/// The drawing rendered at its sides in points × `scaleFactor`, truncated, at least 1 pixel each; encoded pictures are
/// resampled. Null also where the scale is not above 0.
ZEL_API Ref<const CGImage> loadCGImage(AiUrlScaled drawing);

} // namespace zel
