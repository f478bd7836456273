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
    /// Draws the whole page, and keeps it until the next one.
    virtual bool render(int page, int width, int height) = 0;
    /// A row of the page that was drawn, on the paper, as the protocol has it.
    virtual void copyRow(int y, Paper paper, std::uint8_t* to) const = 0;
};

/// What opening gave: a document, or why there is none.
struct Opened {
    std::unique_ptr<Document> document;
    Status status = Status::notADocument;
};

// Each program has its own: pdf.cpp or svg.cpp, so that neither loads what only the other needs.

/// Has the libraries read what they read at their start; the files are out of reach later.
void prepare();
/// The bytes must outlive the document.
Opened openDocument(std::span<const std::uint8_t> bytes);

} // namespace zel::documents
