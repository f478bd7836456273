#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/heif_colors.h>
#include <zel/platform/codecs/heif_rows.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/stated_colors.h>

#include <fmt/format.h>

#include <algorithm>
#include <new>

// HEIF and AVIF: the primary picture. Its transforms (clap, irot, imir) are applied once; an EXIF block's orientation
// tells the same a second time and is not looked at.
namespace zel {
namespace {

// Proving that the first pixels decode costs a whole coded picture; of a large one that is too much for opening a file.
constexpr long long mostProvenPixels = 1LL << 20;

class HeifPicture final : public PixelProvider {
public:
    HeifPicture(Ref<const ByteSource> source, heif::Contents contents, PictureFacts facts)
        : source_(std::move(source)), contents_(std::move(contents)), facts_(std::move(facts))
    {
    }
    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool usesSecondThread() const override { return true; }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override;

private:
    Ref<const ByteSource> source_;
    heif::Contents contents_;
    PictureFacts facts_;
};

bool HeifPicture::decode(const Request& request, const RowSink& sink) const
{
    const int height = facts_.layout.height;
    if (request.denominator != 1)
        return fail(ZelFailureCode::invalidArgument, "decode", "HEIF: no reduced sizes");
    const int first = std::clamp(request.firstRow, 0, height);
    const int end = request.rowCount < 0 ? height : first + std::min(request.rowCount, height - first);
    if (first == end)
        return true;
    const SubjectScope subject(source_->subject());
    try {
        return heif::decodeRows(*source_, contents_, facts_.layout, first, end, sink);
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "decode", "HEIF: no memory to decode with");
    }
}

Ref<const CGColorSpace> colorSpaceOf(const heif::Contents& contents, bool isGray)
{
    if (!contents.profile.empty()) {
        // A grey picture may carry a profile for colours: its grey is then the same in all of them.
        constexpr std::size_t kindAt = 16;
        const bool isOfGray = contents.profile.size() > kindAt + 4 && contents.profile[kindAt] == 'G' &&
                              contents.profile[kindAt + 1] == 'R';
        return CGColorSpace::fromProfile(Data(contents.profile), isGray && isOfGray ? 1 : 3, "decode");
    }
    if (!contents.colors)
        return nullptr;
    return spaceOfStatedColors(contents.colors->primaries, contents.colors->transfer, "decode");
}

/// Of a picture alone nothing can be shown when a part is missing; of a grid, what stands above the first missing tile.
bool isThereAtAll(const heif::Contents& contents)
{
    const heif::Mosaic& mosaic = contents.picture;
    const auto firstRow = mosaic.tiles.begin() + (mosaic.tiles.size() == 1 ? 0 : mosaic.columns);
    const bool rowIsCut =
        std::any_of(mosaic.tiles.begin(), firstRow, [](const Ref<const heif::Tile>& tile) { return tile->isCut; });
    return (!rowIsCut && (mosaic.tiles.size() > 1 || !contents.isCut)) ||
           fail(ZelFailureCode::truncated, "decode", "HEIF: the file ends before its pictures do");
}

PictureFacts factsOf(const heif::Contents& contents, bool isAv1)
{
    const heif::Mosaic& mosaic = contents.picture;
    PictureFacts facts;
    facts.layout.width = contents.crop.width;
    facts.layout.height = contents.crop.height;
    facts.layout.bitsPerComponent = mosaic.bits > 8 ? 16 : 8;
    facts.layout.alphaInfo = !contents.alpha            ? CGAlphaInfo::noneSkipLast
                             : contents.isPremultiplied ? CGAlphaInfo::premultipliedLast
                                                        : CGAlphaInfo::last;
    facts.layout.isGray = !mosaic.hasColor;
    facts.layout.colorSpace = colorSpaceOf(contents, facts.layout.isGray);
    facts.orientation = contents.orientation;
    facts.format = isAv1 ? "avif" : "heif";
    facts.frames = contents.pictures;
    facts.bits = mosaic.bits;
    facts.hasAlpha = contents.alpha.has_value();
    const ExifFacts exif = readExifFacts(contents.exif);
    facts.dpiX = exif.dpiX;
    facts.dpiY = exif.dpiY;
    return facts;
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    std::optional<heif::Contents> contents = heif::readContents(*source);
    if (!contents || !isThereAtAll(*contents))
        return nullptr;
    const heif::Mosaic& mosaic = contents->picture;
    if (mosaic.bits > 12)
        return fail(ZelFailureCode::unsupported, "decode", fmt::format("HEIF: {} bits a sample", mosaic.bits));
    if (heif::module() == nullptr)
        return nullptr;
    if (static_cast<long long>(mosaic.tileWidth()) * mosaic.tileHeight() <= mostProvenPixels &&
        !heif::firstTileDecodes(*source, *contents))
        return nullptr;
    PictureFacts facts = factsOf(*contents, mosaic.tiles.front()->coding == heif::Coding::av1);
    if (facts.frames > 1)
        warn(ZelFailureCode::unsupported, "decode",
             fmt::format("HEIF: only the primary one of {} pictures is used", facts.frames));
    if (contents->colors && !heif::isKnownMatrix(contents->colors->matrix))
        warn(ZelFailureCode::unsupported, "decode",
             fmt::format("HEIF: its colours are coded in a way that is not known ({})", contents->colors->matrix));
    return std::make_shared<HeifPicture>(source, std::move(*contents), std::move(facts));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "HEIF: no memory to read its tables with");
}

/// The first box, "ftyp", lists the brands that a file is readable as.
bool hasBrand(std::span<const std::uint8_t> head, std::span<const std::string_view> brands)
{
    constexpr std::string_view name = "ftyp";
    if (head.size() < 12 || !std::equal(name.begin(), name.end(), head.begin() + 4))
        return false;
    const std::size_t size = std::min<std::size_t>(
        head.size(), std::size_t{head[0]} << 24U | std::size_t{head[1]} << 16U | std::size_t{head[2]} << 8U | head[3]);
    for (std::size_t at = 8; at + 4 <= size; at += at == 8 ? 8 : 4) // a version stands behind the first one
        for (const std::string_view brand : brands)
            if (std::equal(brand.begin(), brand.end(), head.begin() + static_cast<std::ptrdiff_t>(at)))
                return true;
    return false;
}

constexpr std::string_view avifBrands[] = {"avif", "avis"};
constexpr std::string_view heifBrands[] = {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1"};

bool recognisesAvif(std::span<const std::uint8_t> head)
{
    return hasBrand(head, avifBrands);
}

bool recognisesHeif(std::span<const std::uint8_t> head)
{
    return hasBrand(head, heifBrands) && !recognisesAvif(head);
}

bool isInstalled()
{
    return heif::module() != nullptr;
}

} // namespace

const Codec heifCodec = {"heif", "heic heif hif", recognisesHeif, open, isInstalled};
const Codec avifCodec = {"avif", "avif", recognisesAvif, open, isInstalled};

} // namespace zel
