#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/png_fast.h>
#include <zel/platform/codecs/png_libpng.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <new>

// PNG (ISO/IEC 15948). Our own reader walks the chunks; the pixels of the usual pictures are decoded by a path of our
// own, those of the others by libpng.
namespace zel {
namespace {

class PngPicture final : public PixelProvider {
public:
    PngPicture(Ref<const ByteSource> source, png::Header header)
        : source_(std::move(source)), header_(std::move(header))
    {
    }
    [[nodiscard]] const PictureFacts& facts() const override { return header_.facts; }
    [[nodiscard]] bool usesSecondThread() const override { return isCommon(header_) && png::usesSecondThread(header_); }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override;

private:
    Ref<const ByteSource> source_;
    png::Header header_;
};

bool PngPicture::decode(const Request& request, const RowSink& sink) const
{
    if (request.denominator != 1)
        return fail(ZelFailureCode::invalidArgument, "decode", "PNG: no reduced sizes");
    const SubjectScope subject(source_->subject());
    const png::RowDelivery delivery(header_, request, sink);
    if (delivery.first() == delivery.end())
        return true;
    try {
        return isCommon(header_) ? decodeCommon(*source_, header_, delivery)
                                 : decodeWithLibpng(*source_, header_, delivery);
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "decode", "PNG: no memory to decode with");
    }
}

bool recognises(std::span<const std::uint8_t> head)
{
    return head.size() >= png::signature.size() &&
           std::equal(png::signature.begin(), png::signature.end(), head.begin());
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
{
    const SubjectScope subject(source->subject());
    try {
        auto header = png::readHeader(*source);
        if (!header)
            return nullptr;
        const bool isSound = isCommon(*header) ? png::firstRowDecodes(*source, *header)
                                               : png::firstRowDecodesWithLibpng(*source, *header);
        if (!isSound)
            return nullptr;
        return std::make_shared<PngPicture>(source, std::move(*header));
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "decode", "PNG: no memory to read the header with");
    }
}

} // namespace

const Codec pngCodec = {"png", "png", recognises, open};

} // namespace zel
