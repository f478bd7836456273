#include <zel/engine/parallel.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/codecs/heif_planes.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <algorithm>
#include <new>

// Colours become luma and differences once, in the encoder's own planes, as the picture's rows arrive; every quality is
// encoded from there.
namespace zel {

struct HeifEncoder::State {
    heif::Coding coding = heif::Coding::hevc;
    const heif::EncoderApi* api = nullptr;
    heif::Picture* picture = nullptr;

    ~State()
    {
        if (picture != nullptr)
            api->release(picture);
    }
};

namespace {

constexpr int mostSide = 16384; // of pictures that other programs read as well
constexpr int rowsAtOnce = 16;

const char* nameOf(heif::Coding coding)
{
    return coding == heif::Coding::av1 ? "AVIF" : "HEIF";
}

/// The module; null, noted, where it or the encoder is not installed.
const heif::EncoderApi* moduleFor(heif::Coding coding)
{
    const auto* const api = openModule<heif::EncoderApi>("heif-encoder", "libzelimaging-heif0");
    if (api == nullptr || api->canEncode(coding))
        return api;
    fail(ZelFailureCode::missingPart, "encode",
         coding == heif::Coding::av1 ? "AVIF: libheif has no encoder of AV1: install the package libheif-plugin-aomenc"
                                     : "HEIF: libheif has no encoder of HEVC: install the package libheif-plugin-x265");
    return nullptr;
}

/// Gives rows as straight RGBA; grey ones of a profile of their own as sRGB, since coded colours are never grey.
class StraightRows {
public:
    StraightRows(const CGImage::Layout& layout, int bits)
        : from_(pixelLayout(layout)),
          toSrgb_(layout.colorSpace && layout.colorSpace->channels() != 3 ? ColorTransform::toSrgb(layout.colorSpace)
                                                                          : nullptr)
    {
        to_.alpha = from_.alpha == engine::PixelLayout::Alpha::skip ? engine::PixelLayout::Alpha::skip
                                                                    : engine::PixelLayout::Alpha::straight;
        to_.bytesPerComponent = bits == 8 ? 1 : 2;
    }

    /// Calls `take` for the rows in parts that hold until it returns. False where memory is short.
    template <class Take>
    bool forParts(const engine::ConstPixels& rows, Take take)
    {
        if (from_ == to_ && !toSrgb_) {
            take(rows);
            return true;
        }
        for (int first = 0; first < rows.height; first += rowsAtOnce) {
            const int count = std::min(rowsAtOnce, rows.height - first);
            if (buffer_.empty())
                buffer_ = engine::PixelBuffer(rows.width, rowsAtOnce, 4 * to_.bytesPerComponent);
            if (buffer_.empty())
                return false;
            const engine::Pixels part = buffer_.pixels().rows(0, count);
            if (!engine::convert(rows.rows(first, count), from_, part, to_))
                return false;
            if (toSrgb_)
                toSrgb_->apply(part, part);
            take(engine::ConstPixels(part));
        }
        return true;
    }

private:
    engine::PixelLayout from_, to_;
    Ref<const ColorTransform> toSrgb_;
    engine::PixelBuffer buffer_;
};

/// The file that the encoder writes, in memory.
struct Growing {
    std::vector<std::uint8_t> bytes;

    static bool write(void* self, const void* from, std::size_t count) noexcept
    {
        try {
            std::vector<std::uint8_t>& bytes = static_cast<Growing*>(self)->bytes;
            const auto* const begin = static_cast<const std::uint8_t*>(from);
            bytes.insert(bytes.end(), begin, begin + count);
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }
};

heif::NewPicture describe(const CGImage::Layout& layout, const HeifOptions& options)
{
    heif::NewPicture picture;
    picture.width = layout.width;
    picture.height = layout.height;
    picture.bits = options.bits;
    picture.hasAlpha = hasAlpha(layout.alphaInfo) && options.bits == 8;
    if (layout.colorSpace && layout.colorSpace->channels() == 3) {
        picture.profile = layout.colorSpace->profile().data();
        picture.profileSize = layout.colorSpace->profile().size();
    }
    return picture;
}

} // namespace

Ref<HeifEncoder> HeifEncoder::make(const Ref<const CGImage>& image, const HeifOptions& options)
try {
    if (!image)
        return failAbsentInput("encode");
    const char* const name = nameOf(options.coding);
    // Of 10 bits, libheif 1.15 asks libaom for a profile that libaom ends the process for.
    const bool isAv1 = options.coding == heif::Coding::av1;
    if (options.bits != 8 && (options.bits != 10 || isAv1))
        return fail(ZelFailureCode::invalidArgument, "encode",
                    fmt::format("{}: {} bits a component, not 8{}", name, options.bits, isAv1 ? "" : " or 10"));
    const CGImage::Layout& layout = image->layout();
    if (layout.width > mostSide || layout.height > mostSide)
        return fail(ZelFailureCode::limit, "encode",
                    fmt::format("{}: {} x {} pixels, a side may have {}", name, layout.width, layout.height, mostSide));
    const auto* const api = moduleFor(options.coding);
    if (api == nullptr)
        return nullptr;
    if (layout.bitsPerComponent == 16 && options.bits == 8)
        warn(ZelFailureCode::unsupported, "encode", fmt::format("{}: 16 bits a component are written as 8", name));
    const Ref<HeifEncoder> encoder(new HeifEncoder);
    encoder->state_ = std::make_shared<State>();
    encoder->state_->api = api;
    encoder->state_->coding = options.coding;
    const heif::NewPicture picture = describe(layout, options);
    heif::WritablePlanes planes;
    encoder->state_->picture = api->create(picture, planes);
    if (encoder->state_->picture == nullptr)
        return fail(ZelFailureCode::outOfMemory, "encode",
                    fmt::format("{}: no memory for the picture's samples", name));
    heif::PlaneWriter writer(picture, planes);
    StraightRows straight(layout, options.bits);
    bool hasMemory = true;
    const bool good = readRows(*image, [&](int first, const engine::ConstPixels& rows) {
        hasMemory = straight.forParts(rows, [&](const engine::ConstPixels& part) { writer.put(part); });
        return hasMemory && keepGoing(static_cast<double>(first + rows.height) / layout.height, "encode");
    });
    if (!hasMemory)
        return fail(ZelFailureCode::outOfMemory, "encode", fmt::format("{}: no memory for a band of rows", name));
    return good ? encoder : nullptr;
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "encode", "HEIF: no memory for the picture's samples");
}

std::optional<Data> HeifEncoder::encode(double quality) const
try {
    Growing growing;
    heif::NewFile file;
    file.context = &growing;
    file.write = Growing::write;
    file.coding = state_->coding;
    file.quality = quality >= 0 ? std::min(quality, 1.0) : 0;
    file.threads = engine::concurrency();
    if (!keepGoing(0, "encode"))
        return std::nullopt;
    if (!state_->api->encode(state_->picture, file))
        return fail(ZelFailureCode::writeFailed, "encode",
                    fmt::format("{}: it cannot be written ({})", nameOf(file.coding), file.trouble));
    return Data(std::move(growing.bytes));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "encode", "HEIF: no memory for the file");
}

} // namespace zel
