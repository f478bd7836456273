#include "document.h"
#include "rows.h"

#include <QBuffer>
#include <QByteArray>
#include <QCoreApplication>
#include <QImage>
#include <QPdfDocument>
#include <QPdfDocumentRenderOptions>

namespace zel::documents {
namespace {

class PdfDocument : public Document {
public:
    explicit PdfDocument(std::span<const std::uint8_t> bytes)
        : bytes_(QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()),
                                         static_cast<qsizetype>(bytes.size())))
    {
        device_.setBuffer(&bytes_);
        device_.open(QIODevice::ReadOnly);
        document_.load(&device_);
    }

    Status status() const
    {
        // Not its status: that counts a document as failed where one of the first two pages is missing.
        if (document_.error() == QPdfDocument::Error::None)
            return Status::done;
        const bool locked = document_.error() == QPdfDocument::Error::IncorrectPassword ||
                            document_.error() == QPdfDocument::Error::UnsupportedSecurityScheme;
        return locked ? Status::locked : Status::notADocument;
    }

    int pages() const override { return document_.pageCount(); }

    std::optional<PointSize> size(int page) override
    {
        if (page < 0 || page >= pages())
            return std::nullopt;
        const QSizeF size = document_.pagePointSize(page);
        if (!size.isValid())
            return std::nullopt; // what the list of pages names is none
        return PointSize{size.width(), size.height()};
    }

    bool render(int page, int width, int height) override
    {
        drawn_ = {};
        if (page < 0 || page >= pages())
            return false;
        QPdfDocumentRenderOptions options;
        options.setRenderFlags(QPdfDocumentRenderOptions::RenderFlag::Annotations);
        drawn_ = document_.render(page, QSize(width, height), options);
        return drawn_.width() == width && drawn_.height() == height && drawn_.format() == QImage::Format_ARGB32;
    }

    void copyRow(int y, Paper paper, std::uint8_t* to) const override
    {
        // By hand: QImage would start threads to convert, and those need more of the system than is left here.
        takeStraightRow(reinterpret_cast<const QRgb*>(drawn_.constScanLine(y)), drawn_.width(), paper, to);
    }

private:
    QByteArray bytes_;
    QBuffer device_;
    QPdfDocument document_;
    QImage drawn_;
};

// The smallest document, so that everything is loaded before files are out of reach.
constexpr char emptyPage[] = "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                             "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
                             "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 8 8]>>endobj\ntrailer<</Root 1 0 R>>\n";

} // namespace

void prepare()
{
    // What Qt wants to be there before anything of it is used.
    static char name[] = "zel-documents";
    static char* arguments[] = {name, nullptr};
    static int count = 1;
    static const QCoreApplication application(count, arguments);
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(emptyPage), sizeof emptyPage - 1);
    PdfDocument(bytes).render(0, 1, 1);
}

Opened openDocument(std::span<const std::uint8_t> bytes)
{
    auto document = std::make_unique<PdfDocument>(bytes);
    const Status status = document->status();
    if (status != Status::done)
        return {nullptr, status};
    return {std::move(document), status};
}

} // namespace zel::documents
