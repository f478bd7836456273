#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/dib.h>
#include <zel/platform/codecs/png_chunks.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <new>

// Icons and cursors: a directory of pictures of several sizes, each a PNG or a bitmap without its file header, with a
// mask of one bit a pixel behind it. The largest one is read. What is neither, an icon within an icon above all, is
// passed over.
namespace zel {
namespace {

constexpr std::size_t directoryHead = 6, entryBytes = 16;
constexpr std::string_view name = "ICO";

/// The part of a source that holds one picture.
class SourcePart final : public ByteSource {
public:
    SourcePart(Ref<const ByteSource> source, std::uint64_t at, std::uint64_t size)
        : source_(std::move(source)), at_(at), size_(size)
    {
        subject_ = source_->subject();
    }
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const override
    {
        if (offset >= size_)
            return 0;
        return source_->read(
            at_ + offset, into.first(static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), size_ - offset))));
    }
    [[nodiscard]] std::span<const std::uint8_t> whole() const override
    {
        const std::span<const std::uint8_t> all = source_->whole();
        return all.empty() ? all : all.subspan(at_, size_);
    }

private:
    Ref<const ByteSource> source_;
    std::uint64_t at_, size_; ///< within the source
};

struct Entry {
    std::uint64_t at = 0, size = 0; ///< within the file
    std::uint64_t area = 0;         ///< in pixels; 0: nothing that can be read
    std::uint32_t bits = 0;         ///< a pixel
    bool isPng = false;
};

/// What the picture itself says: sizes in the directory end at 256, and cursors state other things in place of depths.
void measure(const ByteSource& source, Entry& entry)
{
    std::array<std::uint8_t, 26> head{};
    if (entry.size < head.size() || source.read(entry.at, head) < head.size())
        return;
    std::uint64_t width = 0, height = 0;
    entry.isPng = std::equal(png::signature.begin(), png::signature.end(), head.begin());
    if (entry.isPng) {
        constexpr std::array<std::uint8_t, 7> samples = {1, 0, 3, 1, 2, 0, 4}; // of each colour type
        width = big32(head.data() + 16);
        height = big32(head.data() + 20);
        entry.bits = head[24] * (head[25] < samples.size() ? samples[head[25]] : 0U);
    } else if (const std::uint32_t size = little32(head.data()); size >= 16 && size <= 124) {
        width = little32(head.data() + 4);
        height = little32(head.data() + 8) / 2;
        entry.bits = little16(head.data() + 14);
    }
    constexpr std::uint64_t mostSide = 0x7FFFFFFF;
    entry.area = width <= mostSide && height <= mostSide ? width * height : 0;
}

struct Directory {
    int count = 0;
    Entry largest; ///< by pixels, then by bits; the first one of several
};

std::optional<Directory> readDirectory(const ByteSource& source)
{
    std::array<std::uint8_t, directoryHead> head{};
    if (source.read(0, head) < head.size())
        return fail(ZelFailureCode::truncated, "decode", "ICO: the file ends in its header");
    Directory directory;
    directory.count = static_cast<int>(little16(head.data() + 4));
    if (directory.count == 0)
        return fail(ZelFailureCode::unreadable, "decode", "ICO: no picture in the file");
    const int most = std::clamp(ZelLimits::current().frames, 1, 0xFFFF);
    ByteReader reader(source, directoryHead);
    bool isCut = false;
    for (int i = 0; i < std::min(directory.count, most); ++i) {
        std::array<std::uint8_t, entryBytes> bytes{};
        if (!reader.read(bytes)) {
            isCut = true;
            break;
        }
        Entry entry;
        entry.at = little32(bytes.data() + 12);
        const std::uint64_t stated = little32(bytes.data() + 8);
        if (entry.at >= source.size()) {
            isCut = true;
            continue;
        }
        isCut = isCut || stated > source.size() - entry.at;
        entry.size = std::min(stated, source.size() - entry.at);
        measure(source, entry);
        if (std::pair(entry.area, entry.bits) > std::pair(directory.largest.area, directory.largest.bits))
            directory.largest = entry;
    }
    if (directory.largest.area == 0)
        return fail(isCut ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
                    fmt::format("ICO: {}neither a PNG nor a bitmap among its {} entries",
                                isCut ? "the file ends early, " : "", directory.count));
    return directory;
}

/// A PNG in an icon: the PNG's own decoder under the icon's name.
class PngInIcon final : public PixelProvider {
public:
    PngInIcon(Ref<const PixelProvider> picture, int frames) : picture_(std::move(picture)), facts_(picture_->facts())
    {
        facts_.format = "ico";
        facts_.frames = frames;
    }
    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool canReduce(int denominator) const override { return picture_->canReduce(denominator); }
    [[nodiscard]] bool usesSecondThread() const override { return picture_->usesSecondThread(); }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override
    {
        return picture_->decode(request, sink);
    }

private:
    Ref<const PixelProvider> picture_;
    PictureFacts facts_;
};

class BitmapInIcon final : public SourcePicture {
public:
    BitmapInIcon(Ref<const ByteSource> part, PictureFacts facts, dib::Bitmap bitmap)
        : SourcePicture(name, std::move(part), std::move(facts)),
          bitmap_(std::move(bitmap)),
          maskAt_(bitmap_.pixels + bitmap_.rowBytes() * static_cast<std::uint64_t>(bitmap_.height)),
          usesMask_(!bitmap_.hasAlpha() || isClear())
    {
    }

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override;
    [[nodiscard]] bool isClear() const;
    void applyMask(int place, std::uint8_t* row) const;

    dib::Bitmap bitmap_;
    std::uint64_t maskAt_;
    bool usesMask_; ///< the mask tells what shows: there is no alpha, or all of it is 0
};

bool BitmapInIcon::isClear() const
{
    const dib::Channel& alpha = bitmap_.channels[3];
    std::array<std::uint8_t, 4> bytes{};
    const auto pixelBytes = static_cast<std::size_t>(bitmap_.bits) / 8;
    ByteReader reader(source(), bitmap_.pixels, maskAt_); // rows of whole 32 bits have no gaps; those of 16 may
    while (reader.read(std::span(bytes).first(pixelBytes)))
        if ((little32(bytes.data()) & alpha.mask) != 0)
            return false;
    return true;
}

void BitmapInIcon::applyMask(int place, std::uint8_t* row) const
{
    const std::uint64_t rowBytes = (static_cast<std::uint64_t>(bitmap_.width) + 31) / 32 * 4;
    std::vector<std::uint8_t> mask(static_cast<std::size_t>(rowBytes));
    mask.resize(source().read(maskAt_ + rowBytes * static_cast<std::uint64_t>(place), mask));
    mask.resize(static_cast<std::size_t>(rowBytes)); // what is missing hides nothing
    const int bytesPerPixel = bitmap_.bitsPerComponent() / 2;
    for (int x = 0; x < bitmap_.width; ++x) {
        const bool isHidden = (mask[static_cast<std::size_t>(x) / 8] >> (7 - x % 8) & 1) != 0;
        std::uint8_t* const pixel = row + std::ptrdiff_t{x} * bytesPerPixel;
        std::fill(pixel + bytesPerPixel * 3 / 4, pixel + bytesPerPixel, static_cast<std::uint8_t>(isHidden ? 0 : 255));
    }
}

bool BitmapInIcon::decodeRows(const Delivery& delivery) const
{
    std::vector<std::uint8_t> stored(static_cast<std::size_t>(bitmap_.rowBytes()));
    bool isShort = false;
    const bool isDelivered = delivery.deliverRows(delivery.first(), [&](int y, std::uint8_t* row) {
        const int place = bitmap_.topDown ? y : bitmap_.height - 1 - y;
        if (source().read(bitmap_.pixels + static_cast<std::uint64_t>(place) * stored.size(), stored) < stored.size()) {
            isShort = true;
            std::fill_n(row, delivery.rowBytes(), std::uint8_t{0});
            return Ending::whole;
        }
        unpackRow(bitmap_, stored.data(), row);
        if (usesMask_)
            applyMask(place, row);
        return Ending::whole;
    });
    if (isDelivered && isShort)
        warn(ZelFailureCode::truncated, "decode", "ICO: the file ends early, rows of the picture are missing");
    return isDelivered;
}

Ref<const PixelProvider> openBitmap(const Ref<const ByteSource>& part, int frames)
{
    std::optional<dib::Bitmap> bitmap = dib::readInIcon(*part, name);
    if (!bitmap)
        return nullptr;
    if (part->size() < bitmap->pixels + bitmap->rowBytes())
        return fail(ZelFailureCode::truncated, "decode", "ICO: the file ends early, before the first row");
    PictureFacts facts;
    facts.layout.width = bitmap->width;
    facts.layout.height = bitmap->height;
    facts.layout.bitsPerComponent = bitmap->bitsPerComponent();
    facts.layout.alphaInfo = CGAlphaInfo::last;
    facts.layout.colorSpace = bitmap->profile;
    facts.format = "ico";
    facts.frames = frames;
    facts.bits = bitmap->fileBits();
    facts.hasAlpha = true;
    return std::make_shared<BitmapInIcon>(part, std::move(facts), std::move(*bitmap));
}

bool recognises(std::span<const std::uint8_t> head)
{
    constexpr std::uint8_t icon = 1, cursor = 2;
    return head.size() >= 4 && head[0] == 0 && head[1] == 0 && (head[2] == icon || head[2] == cursor) && head[3] == 0;
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    const std::optional<Directory> directory = readDirectory(*source);
    if (!directory)
        return nullptr;
    const Entry& entry = directory->largest;
    const auto part = std::make_shared<SourcePart>(source, entry.at, entry.size);
    Ref<const PixelProvider> picture;
    if (!entry.isPng)
        picture = openBitmap(part, directory->count);
    else if (const Ref<const PixelProvider> inner = pngCodec.open(part))
        picture = std::make_shared<PngInIcon>(inner, directory->count);
    if (picture && directory->count > 1)
        warn(ZelFailureCode::unsupported, "decode",
             fmt::format("ICO: only the largest of {} pictures is used", directory->count));
    return picture;
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "ICO: no memory to read the header with");
}

} // namespace

const Codec icoCodec = {"ico", "ico cur", recognises, open};

} // namespace zel
