#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/dib.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <new>

// BMP: a file header of 14 bytes and a bitmap, whose rows mostly stand from the bottom to the top.
namespace zel {
namespace {

constexpr std::size_t fileHeaderBytes = 14;
constexpr std::string_view name = "BMP";

/// The rows of a bitmap that is coded in run lengths, in the order of the file: palette indices, a byte each. What the
/// file passes over has index 0.
class RunRows {
public:
    RunRows(const ByteSource& source, const dib::Bitmap& bitmap)
        : reader_(source, bitmap.pixels), bits_(bitmap.coding == dib::Coding::rle4 ? 4 : 8)
    {
    }
    Ending read(std::span<std::uint8_t> row);

private:
    void run(std::span<std::uint8_t> row, unsigned count, std::uint8_t value);
    bool literal(std::span<std::uint8_t> row, unsigned count);

    ByteReader reader_;
    int bits_;
    std::size_t x_ = 0;  ///< where the next pixel goes
    int rowsToSkip_ = 0; ///< that a jump left out
    bool ended_ = false; ///< by the code for it
};

void RunRows::run(std::span<std::uint8_t> row, unsigned count, std::uint8_t value)
{
    const std::uint8_t both[] = {bits_ == 4 ? static_cast<std::uint8_t>(value >> 4U) : value,
                                 bits_ == 4 ? static_cast<std::uint8_t>(value & 15U) : value};
    for (unsigned i = 0; i < count && x_ < row.size(); ++i)
        row[x_++] = both[i % 2];
}

bool RunRows::literal(std::span<std::uint8_t> row, unsigned count)
{
    std::array<std::uint8_t, 256> bytes{};
    const std::size_t held = bits_ == 4 ? (count + 1) / 2 : count;
    if (!reader_.read(std::span(bytes).first(held + held % 2))) // padded to 16 bits
        return false;
    for (unsigned i = 0; i < count && x_ < row.size(); ++i)
        row[x_++] = bits_ == 8 ? bytes[i] : static_cast<std::uint8_t>(bytes[i / 2] >> (i % 2 == 0 ? 4U : 0U) & 15U);
    return true;
}

Ending RunRows::read(std::span<std::uint8_t> row)
{
    std::fill(row.begin(), row.end(), std::uint8_t{0});
    if (ended_)
        return Ending::whole;
    if (rowsToSkip_ > 0) {
        --rowsToSkip_;
        return Ending::whole;
    }
    enum Escape { endOfRow, endOfBitmap, jump };
    for (std::array<std::uint8_t, 2> code{}; reader_.read(code);) {
        if (code[0] > 0) {
            run(row, code[0], code[1]);
            continue;
        }
        switch (code[1]) {
        case endOfRow:
            x_ = 0;
            return Ending::whole;
        case endOfBitmap:
            ended_ = true;
            return Ending::whole;
        case jump:
            if (!reader_.read(code))
                return Ending::truncated;
            x_ = std::min(x_ + code[0], row.size());
            if (code[1] > 0) {
                rowsToSkip_ = code[1] - 1;
                return Ending::whole;
            }
            break;
        default:
            if (!literal(row, code[1]))
                return Ending::truncated;
        }
    }
    return Ending::truncated;
}

class BmpPicture final : public SourcePicture {
public:
    BmpPicture(Ref<const ByteSource> source, PictureFacts facts, dib::Bitmap bitmap)
        : SourcePicture(name, std::move(source), std::move(facts)), bitmap_(std::move(bitmap))
    {
    }
    /// True when the row that stands first in the file is there.
    [[nodiscard]] bool beginsWell() const;

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override;
    [[nodiscard]] bool decodePlain(const Delivery& delivery) const;
    [[nodiscard]] bool decodeRuns(const Delivery& delivery) const;
    [[nodiscard]] int rowsHeld() const;

    dib::Bitmap bitmap_;
};

int BmpPicture::rowsHeld() const
{
    const std::uint64_t size = source().size();
    const std::uint64_t held = size > bitmap_.pixels ? (size - bitmap_.pixels) / bitmap_.rowBytes() : 0;
    return static_cast<int>(std::min<std::uint64_t>(held, static_cast<std::uint64_t>(bitmap_.height)));
}

bool BmpPicture::beginsWell() const
{
    Ending ending = rowsHeld() > 0 ? Ending::whole : Ending::truncated;
    if (bitmap_.coding != dib::Coding::plain) {
        std::vector<std::uint8_t> row(static_cast<std::size_t>(bitmap_.width));
        ending = RunRows(source(), bitmap_).read(row);
    }
    return ending == Ending::whole ||
           fail(ZelFailureCode::truncated, "decode", "BMP: the file ends early, before the first row");
}

bool BmpPicture::decodeRows(const Delivery& delivery) const
{
    return bitmap_.coding == dib::Coding::plain ? decodePlain(delivery) : decodeRuns(delivery);
}

/// Rows are read where they stand, whatever their order.
bool BmpPicture::decodePlain(const Delivery& delivery) const
{
    std::vector<std::uint8_t> stored(static_cast<std::size_t>(bitmap_.rowBytes()));
    const int held = rowsHeld();
    const auto read = [&](int y, std::uint8_t* row) {
        const int place = bitmap_.topDown ? y : bitmap_.height - 1 - y;
        if (place >= held ||
            source().read(bitmap_.pixels + static_cast<std::uint64_t>(place) * stored.size(), stored) < stored.size())
            return Ending::truncated;
        unpackRow(bitmap_, stored.data(), row);
        return Ending::whole;
    };
    // Of a picture that begins at its bottom, the rows that are missing are the upper ones.
    const int missing = bitmap_.topDown ? 0 : bitmap_.height - held;
    if (missing > delivery.first()) {
        warn(ZelFailureCode::truncated, "decode",
             fmt::format("BMP: the file ends early, {} of {} rows were read", held, bitmap_.height));
        if (!delivery.deliverZeros(0, missing))
            return false;
    }
    return delivery.deliverRows(std::max(missing, delivery.first()), read);
}

/// Rows have to be read in order, so that all of a picture that begins at its bottom is held, as indices.
bool BmpPicture::decodeRuns(const Delivery& delivery) const
{
    RunRows rows(source(), bitmap_);
    const auto width = static_cast<std::size_t>(bitmap_.width);
    if (bitmap_.topDown) {
        std::vector<std::uint8_t> indices(width);
        return delivery.deliverRows(0, [&](int, std::uint8_t* row) {
            const Ending ending = rows.read(indices);
            unpackIndices(bitmap_, indices.data(), row);
            return ending;
        });
    }
    std::vector<std::uint8_t> indices(width * static_cast<std::size_t>(bitmap_.height));
    const auto rowAt = [&](int y) { return std::span(indices).subspan(width * static_cast<std::size_t>(y), width); };
    int missing = bitmap_.height;
    for (Ending ending = Ending::whole; missing > 0; --missing) {
        ending = rows.read(rowAt(missing - 1));
        if (ending != Ending::whole)
            break;
        if (missing % 64 == 0 && !delivery.mayGoOn(0))
            return false;
    }
    if (missing > delivery.first()) {
        if (missing == bitmap_.height)
            return delivery.settle(Ending::truncated, 0);
        warn(
            ZelFailureCode::truncated, "decode",
            fmt::format("BMP: the file ends early, {} of {} rows were read", bitmap_.height - missing, bitmap_.height));
        if (!delivery.deliverZeros(0, missing))
            return false;
    }
    return delivery.deliverRows(std::max(missing, delivery.first()), [&](int y, std::uint8_t* row) {
        unpackIndices(bitmap_, rowAt(y).data(), row);
        return Ending::whole;
    });
}

bool recognises(std::span<const std::uint8_t> head)
{
    if (head.size() < 3 || head[0] != 'B' || head[1] != 'M')
        return false;
    // The bitmap's header has less than 256 bytes: that tells it from a text that begins with these letters.
    return head.size() < fileHeaderBytes + 4 || little32(head.data() + fileHeaderBytes) < 256;
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    std::array<std::uint8_t, fileHeaderBytes> header{};
    if (source->read(0, header) < header.size())
        return fail(ZelFailureCode::truncated, "decode", "BMP: the file ends in its header");
    std::optional<dib::Bitmap> bitmap = dib::read(*source, fileHeaderBytes, little32(header.data() + 10), name);
    if (!bitmap)
        return nullptr;
    PictureFacts facts;
    facts.layout.width = bitmap->width;
    facts.layout.height = bitmap->height;
    facts.layout.bitsPerComponent = bitmap->bitsPerComponent();
    facts.layout.alphaInfo = bitmap->hasAlpha() ? CGAlphaInfo::last : CGAlphaInfo::noneSkipLast;
    facts.layout.colorSpace = bitmap->profile;
    facts.dpiX = bitmap->dpiX;
    facts.dpiY = bitmap->dpiY;
    facts.format = "bmp";
    facts.bits = bitmap->fileBits();
    facts.hasAlpha = bitmap->hasAlpha();
    auto picture = std::make_shared<BmpPicture>(source, std::move(facts), std::move(*bitmap));
    return picture->beginsWell() ? picture : nullptr;
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "BMP: no memory to read the header with");
}

} // namespace

const Codec bmpCodec = {"bmp", "bmp dib", recognises, open};

} // namespace zel
