#include <zel/engine/pixel_buffer.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/codecs/webp_chunks.h>
#include <zel/platform/foundation/notes.h>

#include <webp/decode.h>

#include <cstring>
#include <new>

// WebP through libwebp, which is given the pixels' own chunks in pieces: rows are handed on as they come, and what a
// file holds that was cut is not lost.
namespace zel {
namespace {

constexpr std::string_view name = "WebP";
constexpr std::size_t leastPiece = std::size_t{64} << 10U;
constexpr std::size_t pieces = 32; // in which larger ones are given
// Smaller pictures are decoded before a second thread has begun to help.
constexpr std::int64_t threadsFrom = std::int64_t{256} << 10U;
// Larger buffers are fresh from the system, which gives zeros.
constexpr std::size_t freshFrom = std::size_t{4} << 20U;

/// The bytes of the pixels' chunks, in place or read.
class Payload {
public:
    Payload(const ByteSource& source, const webp::Picture& picture)
    {
        const std::uint64_t size = std::min(picture.size, source.size() - picture.at);
        if (const std::span<const std::uint8_t> whole = source.whole(); !whole.empty()) {
            bytes_ = whole.subspan(picture.at, size);
            return;
        }
        buffer_.resize(static_cast<std::size_t>(size));
        bytes_ = std::span(buffer_).first(source.read(picture.at, buffer_));
    }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> buffer_;
    std::span<const std::uint8_t> bytes_;
};

class WebpPicture final : public SourcePicture {
public:
    WebpPicture(Ref<const ByteSource> source, PictureFacts facts, webp::Picture picture)
        : SourcePicture(name, std::move(source), std::move(facts)), picture_(std::move(picture))
    {
    }
    [[nodiscard]] bool usesSecondThread() const override
    {
        return !picture_.isLossless && std::int64_t{picture_.width} * picture_.height >= threadsFrom;
    }

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override;
    [[nodiscard]] bool deliverFrame(const Delivery& delivery, int first, const engine::ConstPixels& rows) const;

    webp::Picture picture_;
};

/// Rows of the frame, the first of which is row `first` of it, laid on the clear canvas.
bool WebpPicture::deliverFrame(const Delivery& delivery, int first, const engine::ConstPixels& rows) const
{
    const int at = picture_.top + first;
    if (picture_.width == picture_.canvasWidth)
        return delivery.deliver(at, rows);
    const std::size_t rowBytes = delivery.rowBytes();
    std::vector<std::uint8_t> row(rowBytes);
    for (int y = 0; y < rows.height; ++y) {
        std::memcpy(row.data() + std::size_t{4} * static_cast<std::size_t>(picture_.left), rows.row(y),
                    rows.rowBytes());
        const engine::ConstPixels one = {row.data(), static_cast<std::ptrdiff_t>(rowBytes), delivery.width(), 1, 4};
        if (!delivery.deliver(at + y, one))
            return false;
    }
    return true;
}

bool WebpPicture::decodeRows(const Delivery& delivery) const
{
    engine::PixelBuffer buffer(picture_.width, picture_.height, 4);
    WebPDecoderConfig config;
    if (buffer.empty() || WebPInitDecoderConfig(&config) == 0)
        throw std::bad_alloc();
    if (buffer.sizeInBytes() < freshFrom)
        std::memset(buffer.pixels().data, 0, buffer.sizeInBytes());
    config.options.use_threads = usesSecondThread() ? 1 : 0;
    config.output.colorspace = MODE_RGBA;
    config.output.is_external_memory = 1;
    config.output.u.RGBA = {buffer.pixels().data, static_cast<int>(buffer.pixels().stride), buffer.sizeInBytes()};

    if (!delivery.deliverZeros(0, picture_.top))
        return false;
    const Payload payload(source(), picture_);
    const std::unique_ptr<WebPIDecoder, void (*)(WebPIDecoder*)> decoder(WebPIDecode(nullptr, 0, &config), WebPIDelete);
    if (!decoder)
        throw std::bad_alloc();
    const std::size_t size = payload.bytes().size(), piece = std::max(leastPiece, size / pieces);
    int done = 0; // rows of the picture
    VP8StatusCode status = VP8_STATUS_SUSPENDED;
    // Cropping by libwebp would give other rows where the data are damaged: parts are decoded like the whole, so far.
    // A first row has to be there, even where none but clear ones above it are wanted.
    const auto isWanted = [&] { return done == 0 || picture_.top + done < delivery.end(); };
    for (std::size_t given = 0; given < size && status == VP8_STATUS_SUSPENDED && isWanted();) {
        given += std::min(piece, size - given);
        status = WebPIUpdate(decoder.get(), payload.bytes().data(), given);
        int last = 0;
        if (status == VP8_STATUS_OK)
            last = picture_.height;
        else if (WebPIDecGetRGB(decoder.get(), &last, nullptr, nullptr, nullptr) == nullptr)
            last = 0;
        if (last <= done) {
            if (!delivery.mayGoOn(0))
                return false;
            continue;
        }
        if (!deliverFrame(delivery, done, buffer.pixels().rows(done, last - done)))
            return false;
        done = last;
    }
    if (status == VP8_STATUS_OUT_OF_MEMORY)
        throw std::bad_alloc();
    if (status == VP8_STATUS_OK)
        return delivery.deliverZeros(picture_.top + picture_.height, delivery.height());
    const Ending ending = status == VP8_STATUS_SUSPENDED ? Ending::truncated : Ending::damaged;
    return delivery.settle(ending, done == 0 ? 0 : picture_.top + done);
}

bool recognises(std::span<const std::uint8_t> head)
{
    constexpr std::string_view container = "RIFF", kind = "WEBP";
    return head.size() >= 12 && std::equal(container.begin(), container.end(), head.begin()) &&
           std::equal(kind.begin(), kind.end(), head.begin() + 8);
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    std::optional<webp::Picture> picture = webp::readChunks(*source);
    if (!picture)
        return nullptr;
    PictureFacts facts;
    facts.layout.width = picture->canvasWidth;
    facts.layout.height = picture->canvasHeight;
    facts.hasAlpha = !picture->isOpaque();
    facts.layout.alphaInfo = facts.hasAlpha ? CGAlphaInfo::last : CGAlphaInfo::noneSkipLast;
    facts.layout.colorSpace = picture->profile;
    facts.orientation = picture->exif.orientation;
    facts.dpiX = plausibleDpi(picture->exif.dpiX);
    facts.dpiY = plausibleDpi(picture->exif.dpiY);
    facts.format = "webp";
    facts.frames = picture->frames;
    return SourcePicture::opened(std::make_shared<WebpPicture>(source, facts, std::move(*picture)));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "WebP: no memory to read the header with");
}

} // namespace

const Codec webpCodec = {"webp", "webp", recognises, open};

} // namespace zel
