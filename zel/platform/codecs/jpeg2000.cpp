#include <zel/engine/parallel.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/codecs/jpeg2000_header.h>
#include <zel/platform/codecs/modules/jpeg2000_module.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <fmt/format.h>

#include <cstring>
#include <new>

// JPEG 2000 (ISO/IEC 15444-1), a bare codestream or in boxes, through OpenJPEG in a module. It gives planes of samples,
// all of them at once, at half the sides as often as there are levels: reduced sizes cost what they show. What samples
// mean is told by the boxes that only the decoding reads, so that opening decodes the picture at its smallest.
namespace zel {
namespace {

constexpr std::string_view name = "JPEG 2000";

/// Smaller pictures are decoded before a second thread has begun to help.
int threadsFor(const PictureFacts& facts)
{
    constexpr std::int64_t threadsFrom = std::int64_t{256} << 10U;
    return std::int64_t{facts.layout.width} * facts.layout.height < threadsFrom ? 1 : engine::concurrency();
}

const jpeg2000::Api* module()
{
    return openModule<jpeg2000::Api>("jpeg2000", "zelimaging-jpeg2000");
}

constexpr std::uint32_t blockRows = 64; // of coded blocks, which are not decoded twice where parts begin with them

/// Rows of the grid to be decoded at once, of a picture that is one large tile at that size; else 0.
std::uint32_t stripRowsFor(const jpeg2000::Header& header, int reduction)
{
    constexpr std::uint64_t wantedPixels = std::uint64_t{1} << 21U;
    const std::uint64_t width = static_cast<std::uint64_t>(header.width) >> reduction;
    const std::uint64_t pixels = width * (static_cast<std::uint64_t>(header.height) >> reduction);
    if (header.tiles != 1 || header.isRearranged || pixels <= jpeg2000::mostPixelsAtOnce)
        return 0;
    const std::uint64_t blocks = std::max<std::uint64_t>(1, wantedPixels / (width * blockRows));
    return static_cast<std::uint32_t>((blocks * blockRows * header.unitY) << reduction);
}

/// The beginning that is decoded when a picture is opened, where even its smallest form is large; else 0.
std::uint32_t proofRowsFor(const jpeg2000::Header& header)
{
    constexpr std::uint64_t mostPixels = std::uint64_t{1} << 20U;
    const std::uint64_t pixels = (static_cast<std::uint64_t>(header.width) >> header.reductions) *
                                 (static_cast<std::uint64_t>(header.height) >> header.reductions);
    return pixels <= mostPixels ? 0 : (blockRows * std::max(header.unitX, header.unitY)) << header.reductions;
}

/// What OpenJPEG is given: whole parts of tiles. It has a mode for files that end within one, but is not safe then.
std::size_t sizeFor(const WholeBytes& bytes, const jpeg2000::Header& header)
{
    return static_cast<std::size_t>(std::min<std::uint64_t>(bytes.bytes().size(), header.end));
}

/// One decoding.
class Session {
public:
    Session(const jpeg2000::Api& api, const jpeg2000::Input& input) : api_(api), reader_(api.open(input)) {}
    ~Session()
    {
        if (reader_ != nullptr)
            api_.close(reader_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    [[nodiscard]] bool decode() { return reader_ != nullptr && api_.decode(reader_, picture_); }
    [[nodiscard]] const jpeg2000::Picture& picture() const { return picture_; }
    [[nodiscard]] bool complained() const { return reader_ == nullptr || api_.complained(reader_); }

private:
    const jpeg2000::Api& api_;
    jpeg2000::Reader* reader_;
    jpeg2000::Picture picture_;
};

/// What the components are, in the order of red, green, blue (or grey), alpha.
struct Meaning {
    bool isGray = false, isYcc = false, isCmyk = false;
    int alpha = -1; ///< which component; -1 for none
    bool isPremultiplied = false;

    friend bool operator==(const Meaning&, const Meaning&) = default;
};

Meaning meaningOf(const jpeg2000::Picture& picture)
{
    Meaning meaning;
    const std::uint32_t count = picture.components;
    for (std::uint32_t i = 1; i < count; ++i)
        if (picture.component[i].alpha == 1 || picture.component[i].alpha == 2) {
            meaning.alpha = static_cast<int>(i);
            meaning.isPremultiplied = picture.component[i].alpha == 2;
            break;
        }
    const std::uint32_t colorants = meaning.alpha < 0 ? count : static_cast<std::uint32_t>(meaning.alpha);
    meaning.isGray = colorants < 3;
    meaning.isCmyk = picture.colors == jpeg2000::Colors::cmyk && colorants >= 4;
    // A bare codestream says nothing; samples that lie further apart are those of colour differences.
    const bool isCoarser =
        count >= 3 && picture.component[0].dx == 1 && (picture.component[1].dx > 1 || picture.component[1].dy > 1);
    meaning.isYcc =
        !meaning.isGray && (picture.colors == jpeg2000::Colors::sycc || picture.colors == jpeg2000::Colors::eycc ||
                            (picture.colors == jpeg2000::Colors::unstated && isCoarser));
    return meaning;
}

class Jpeg2000Picture final : public SourcePicture {
public:
    Jpeg2000Picture(Ref<const ByteSource> source, PictureFacts facts, const jpeg2000::Header& header,
                    const Meaning& meaning, Ref<const ColorTransform> toRgb)
        : SourcePicture(name, std::move(source), std::move(facts)),
          header_(header),
          meaning_(meaning),
          toRgb_(std::move(toRgb))
    {
    }
    [[nodiscard]] bool canReduce(int denominator) const override
    {
        // Of a picture that begins elsewhere than the grid, reduced sides are not those that are promised.
        const bool isAtOrigin = header_.x0 == 0 && header_.y0 == 0;
        for (int times = 0; times <= 3; ++times)
            if (denominator == 1 << times)
                return times == 0 || (isAtOrigin && times <= header_.reductions);
        return false;
    }
    [[nodiscard]] bool usesSecondThread() const override { return threadsFor(facts()) > 1; }

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override;

    jpeg2000::Header header_;
    Meaning meaning_;
    Ref<const ColorTransform> toRgb_; ///< of CMYK
};

/// Reads rows of samples from planes of any density.
class Planes {
public:
    Planes(const jpeg2000::Picture& picture, const jpeg2000::Header& header, int width, int bits)
        : picture_(picture), header_(header), most_((1 << bits) - 1), columns_(picture.components)
    {
        for (std::uint32_t i = 0; i < picture.components; ++i) {
            const jpeg2000::Component& component = picture.component[i];
            const std::uint32_t step = std::max(1U, component.dx / header.unitX);
            if (step > 1)
                for (int x = 0; x < width; ++x)
                    columns_[i].push_back(place(x, header.x0, header.unitX, component.dx, component.width));
        }
    }
    /// Component `index` of the pixels of row `y`, from 0 to the largest value.
    void read(std::uint32_t index, int y, std::span<std::int32_t> to) const
    {
        const jpeg2000::Component& component = picture_.component[index];
        const std::uint32_t row = place(y, header_.y0, header_.unitY, component.dy, component.height);
        const std::int32_t* const from = component.samples + std::size_t{row} * component.width;
        const std::vector<std::uint32_t>& columns = columns_[index];
        const std::int64_t full = (std::int64_t{1} << component.bits) - 1;
        const std::int64_t above = component.isSigned ? std::int64_t{1} << (component.bits - 1) : 0;
        for (std::size_t x = 0; x < to.size(); ++x) {
            const std::size_t at = columns.empty() ? std::min<std::size_t>(x, component.width - 1) : columns[x];
            const std::int64_t value = std::clamp<std::int64_t>(from[at] + above, 0, full);
            to[x] = static_cast<std::int32_t>(full == most_ ? value : (value * most_ + full / 2) / full);
        }
    }

private:
    /// The sample that covers a pixel.
    static std::uint32_t place(int pixel, std::uint32_t origin, std::uint32_t unit, std::uint32_t step,
                               std::uint32_t count)
    {
        const std::uint64_t first = (std::uint64_t{origin} + step - 1) / step;
        const std::uint64_t firstPixel = (std::uint64_t{origin} + unit - 1) / unit;
        const std::uint64_t at = (firstPixel + static_cast<std::uint64_t>(pixel)) * unit / step;
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(at < first ? 0 : at - first, count - 1));
    }

    const jpeg2000::Picture& picture_;
    const jpeg2000::Header& header_;
    std::int64_t most_;
    std::vector<std::vector<std::uint32_t>> columns_; ///< of each pixel, where a sample covers several
};

/// ITU-R BT.601 in the full range, as JFIF and sYCC have it.
void yccToRgb(std::array<std::int32_t, 3>& pixel, std::int32_t most)
{
    const double middle = (most + 1) / 2;
    const double y = pixel[0], cb = pixel[1] - middle, cr = pixel[2] - middle;
    const auto held = [&](double value) { return truncated(value + 0.5, 0, most); };
    pixel = {held(y + 1.402 * cr), held(y - 0.344136 * cb - 0.714136 * cr), held(y + 1.772 * cb)};
}

bool Jpeg2000Picture::decodeRows(const Delivery& delivery) const
{
    const jpeg2000::Api* const api = module();
    if (api == nullptr)
        return false;
    const WholeBytes bytes(source());
    const auto goOn = [](void* context, double fraction) {
        return static_cast<const Delivery*>(context)->mayGoOn(fraction);
    };
    int reduction = 0;
    while (1 << reduction < delivery.denominator())
        ++reduction;
    jpeg2000::Input input;
    input.bytes = bytes.bytes().data();
    input.size = sizeFor(bytes, header_);
    input.isBoxed = header_.isBoxed;
    input.isCut = header_.isCut;
    input.reduction = reduction;
    input.threads = threadsFor(facts());
    input.goOn = goOn;
    input.context = const_cast<Delivery*>(&delivery);
    input.stripRows = stripRowsFor(header_, reduction);
    const bool inStrips = input.stripRows > 0;
    if (inStrips) { // the boxes, which OpenJPEG would apply to the first strip alone, were read when it was opened
        input.bytes += header_.begin;
        input.size -= static_cast<std::size_t>(std::min<std::uint64_t>(input.size, header_.begin));
        input.isBoxed = false;
    }
    auto session = std::make_unique<Session>(*api, input);
    bool isDecoded = session->decode();
    // What threads make of damage depends on their turns.
    if (input.threads > 1 && session->complained() && delivery.mayGoOn(0)) {
        input.threads = 1;
        session = std::make_unique<Session>(*api, input);
        isDecoded = session->decode();
    }
    if (!delivery.mayGoOn(1))
        return false;
    const bool isShort = header_.isCut;
    const jpeg2000::Picture& picture = session->picture();
    bool isSound = isDecoded && (inStrips ? picture.components == static_cast<std::uint32_t>(header_.components)
                                          : meaningOf(picture) == meaning_);
    for (std::uint32_t i = 0; i < picture.components; ++i) {
        const jpeg2000::Component& component = picture.component[i];
        isSound = isSound && component.samples != nullptr && component.width > 0 && component.height > 0 &&
                  component.dx > 0 && component.dy > 0 && component.bits >= 1 && component.bits <= 31;
    }
    if (!isSound)
        return fail(isShort ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
                    isShort ? "JPEG 2000: the file ends early, nothing of it can be shown"
                            : "JPEG 2000: the data are damaged");
    if (isShort)
        warn(ZelFailureCode::truncated, "decode", "JPEG 2000: the file ends early, parts of the picture are missing");
    else if (session->complained())
        warn(ZelFailureCode::unreadable, "decode", "JPEG 2000: the data are damaged");

    const int bits = facts().layout.bitsPerComponent;
    const auto width = static_cast<std::size_t>(delivery.width());
    const std::int32_t most = (1 << bits) - 1;
    const Planes planes(picture, header_, delivery.width(), bits);
    std::array<std::vector<std::int32_t>, 4> rows;
    rows.fill(std::vector<std::int32_t>(width, most));
    const std::uint32_t colorants = meaning_.isGray ? 1 : meaning_.isCmyk ? 4 : 3;
    std::vector<std::uint8_t> inks(meaning_.isCmyk ? delivery.rowBytes() : 0);
    return delivery.deliverRows(delivery.first(), [&](int y, std::uint8_t* to) {
        for (std::uint32_t i = 0; i < colorants; ++i)
            planes.read(i, y, rows[i]);
        if (meaning_.isGray)
            rows[1] = rows[2] = rows[0];
        if (meaning_.alpha >= 0 && !meaning_.isCmyk)
            planes.read(static_cast<std::uint32_t>(meaning_.alpha), y, rows[3]);
        std::uint8_t* const pixels = meaning_.isCmyk ? inks.data() : to;
        for (std::size_t x = 0; x < width; ++x) {
            std::array<std::int32_t, 3> color = {rows[0][x], rows[1][x], rows[2][x]};
            if (meaning_.isYcc)
                yccToRgb(color, most);
            const std::array<std::int32_t, 4> pixel = {color[0], color[1], color[2], rows[3][x]};
            for (std::size_t i = 0; i < 4; ++i) {
                const auto value = static_cast<std::uint16_t>(pixel[i]);
                if (bits == 16)
                    std::memcpy(pixels + x * 8 + i * 2, &value, 2);
                else
                    pixels[x * 4 + i] = static_cast<std::uint8_t>(value);
            }
        }
        if (meaning_.isCmyk) {
            const auto stride = static_cast<std::ptrdiff_t>(delivery.rowBytes());
            toRgb_->apply({inks.data(), stride, delivery.width(), 1, delivery.bytesPerPixel()},
                          {to, stride, delivery.width(), 1, delivery.bytesPerPixel()});
        }
        return Ending::whole;
    });
}

bool recognises(std::span<const std::uint8_t> head)
{
    constexpr std::array<std::uint8_t, 8> boxed = {0, 0, 0, 12, 'j', 'P', ' ', ' '};
    constexpr std::array<std::uint8_t, 4> bare = {0xFF, 0x4F, 0xFF, 0x51};
    return (head.size() >= boxed.size() && std::equal(boxed.begin(), boxed.end(), head.begin())) ||
           (head.size() >= bare.size() && std::equal(bare.begin(), bare.end(), head.begin()));
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    const std::optional<jpeg2000::Header> header = jpeg2000::readHeader(*source);
    const jpeg2000::Api* const api = header ? module() : nullptr;
    if (api == nullptr)
        return nullptr;
    const WholeBytes bytes(*source);
    jpeg2000::Input input;
    input.bytes = bytes.bytes().data();
    input.size = sizeFor(bytes, *header);
    input.isBoxed = header->isBoxed;
    input.isCut = header->isCut;
    input.reduction = header->reductions;
    input.stripRows = proofRowsFor(*header);
    input.isProof = input.stripRows > 0;
    Session smallest(*api, input);
    const bool isDecoded = smallest.decode();
    const jpeg2000::Picture& picture = smallest.picture();
    if (!isDecoded)
        return fail(header->isCut ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
                    "JPEG 2000: nothing of its data can be decoded");
    const Meaning meaning = meaningOf(picture);
    PictureFacts facts;
    facts.layout.width = static_cast<int>(header->width);
    facts.layout.height = static_cast<int>(header->height);
    facts.layout.bitsPerComponent = header->bits > 8 ? 16 : 8;
    facts.hasAlpha = meaning.alpha >= 0 && !meaning.isCmyk;
    facts.layout.alphaInfo = !facts.hasAlpha           ? CGAlphaInfo::noneSkipLast
                             : meaning.isPremultiplied ? CGAlphaInfo::premultipliedLast
                                                       : CGAlphaInfo::last;
    facts.layout.isGray = meaning.isGray;
    Ref<const CGColorSpace> profile;
    if (picture.profile != nullptr && !meaning.isYcc)
        profile = CGColorSpace::fromProfile(
            Data(std::vector<std::uint8_t>(picture.profile, picture.profile + picture.profileSize)),
            meaning.isGray   ? 1
            : meaning.isCmyk ? 4
                             : 3,
            "decode");
    const Ref<const ColorTransform> toRgb = meaning.isCmyk ? ColorTransform::cmykToSrgb(profile) : nullptr;
    facts.layout.colorSpace = meaning.isCmyk ? nullptr : profile;
    facts.dpiX = header->dpiX;
    facts.dpiY = header->dpiY;
    const ExifFacts exif = readExifFacts(exifBlockOf(*source));
    facts.orientation = exif.orientation;
    if (facts.dpiX == 0 || facts.dpiY == 0) {
        facts.dpiX = plausibleDpi(exif.dpiX);
        facts.dpiY = plausibleDpi(exif.dpiY);
    }
    facts.format = "jp2";
    facts.bits = header->bits;
    return std::make_shared<Jpeg2000Picture>(source, std::move(facts), *header, meaning, toRgb);
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "JPEG 2000: no memory to read the header with");
}

bool isInstalled()
{
    return module() != nullptr;
}

} // namespace

const Codec jpeg2000Codec = {"jp2", "jp2 j2k j2c jpc jpx", recognises, open, isInstalled};

} // namespace zel
