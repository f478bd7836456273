#pragma once
#include <zel/platform/documents/protocol.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace zel::documents {

struct PointSize {
    double width = 0, height = 0;
};

/// A document that is rendered page by page.
class Document {
public:
    virtual ~Document() = default;
    virtual int pages() const = 0;
    /// As displayed: crop box, turn. Absent where the page is not there.
    virtual std::optional<PointSize> size(int page) = 0;
    /// Fills `rows` (width × height × 4 bytes; RGBA, premultiplied) with the whole page on transparent paper.
    virtual bool render(int page, int width, int height, std::span<std::uint8_t> rows) = 0;
};

/// What opening gave: a document, or why there is none.
struct Opened {
    std::unique_ptr<Document> document;
    Status status = Status::notADocument;
};

// What the libraries read at their start; the files are out of reach later.
void preparePdf();
void prepareSvg();
/// The bytes must outlive the document.
Opened openPdf(std::span<const std::uint8_t> bytes);
Opened openSvg(std::span<const std::uint8_t> bytes);

} // namespace zel::documents
