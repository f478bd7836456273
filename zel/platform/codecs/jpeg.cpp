#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/jpeg_coefficients.h>
#include <zel/platform/codecs/jpeg_markers.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <utility>

// JPEG pictures through libjpeg. A picture in one scan flows: rows of blocks are decoded as rows of pixels are asked
// for. One in several scans (progressive) is read whole into coefficients first, step by step, so that time, scans and
// the wish to stop are looked at between the steps. Rows behind the end of a file that was cut short are zeros,
// whatever libjpeg would have filled them with.
namespace zel {
namespace {

constexpr std::string_view operation = "jpeg";
constexpr int bytesPerPixel = 4;
constexpr double partOfScans = 0.75;                      // of the work on a picture in several scans, about
constexpr std::size_t bandBytes = std::size_t{384} << 10; // a band stays in the second-level cache

bool isFourColour(const jpeg_decompress_struct& info)
{
    return info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
}

// Bytes a pixel that decoding takes: the pixel itself and, where all scans must be read first, its coefficients.
int decodingBytesPerPixel(JpegDecoder& decoder)
{
    if (!decoder.hasMultipleScans())
        return bytesPerPixel;
    const jpeg_decompress_struct& info = decoder.info();
    double samples = 0;
    for (int component = 0; component < info.num_components; ++component) {
        const jpeg_component_info& sampling = info.comp_info[component];
        samples += static_cast<double>(sampling.h_samp_factor * sampling.v_samp_factor) /
                   (info.max_h_samp_factor * info.max_v_samp_factor);
    }
    const double coefficientBytes = samples * sizeof(JCOEF);
    return bytesPerPixel + truncated(coefficientBytes + 0.999, 0, 64);
}

Absent failFrom(const JpegDecoder& decoder, const ByteSource& source)
{
    const JpegErrors& errors = decoder.errors();
    if (errors.code == ZelFailureCode::unreadable && decoder.hasReachedEnd())
        return fail(ZelFailureCode::truncated, operation, "the file ends before its picture", source.subject());
    return fail(errors.code, operation, errors.message, source.subject());
}

Absent failBeforeFirstRow(const ByteSource& source)
{
    return fail(ZelFailureCode::truncated, operation, "the file ends before the first row of the picture",
                source.subject());
}

class JpegProvider final : public JpegPicture {
public:
    JpegProvider(Ref<const ByteSource> source, PictureFacts facts, bool isInk, Ref<const CGColorSpace> inkSpace,
                 bool isInverted)
        : source_(std::move(source)),
          facts_(std::move(facts)),
          inkSpace_(std::move(inkSpace)),
          isInk_(isInk),
          isInverted_(isInverted)
    {
    }

    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] const Ref<const ByteSource>& source() const override { return source_; }
    [[nodiscard]] bool canReduce(int denominator) const override
    {
        return denominator == 1 || denominator == 2 || denominator == 4 || denominator == 8;
    }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override;

private:
    struct Scans {
        int read = 0;
        bool isBroken = false; // what follows them
    };
    bool readScans(JpegDecoder& decoder, const Deadline& deadline, Scans& scans) const;
    bool deliver(JpegDecoder& decoder, const Deadline& deadline, int firstRow, int endRow, const RowSink& sink) const;
    void toRgb(const engine::Pixels& ink) const;
    void noteDamage(const JpegDecoder& decoder) const;
    void noteBrokenScan(const JpegDecoder& decoder, int scansRead) const;
    Absent failLate(const Deadline& deadline) const;

    Ref<const ByteSource> source_;
    PictureFacts facts_;
    Ref<const CGColorSpace> inkSpace_; // of CMYK samples; null = the usual formula
    bool isInk_;                       // CMYK
    bool isInverted_;                  // 255 is no ink
};

bool JpegProvider::decode(const Request& request, const RowSink& sink) const
try {
    if (!canReduce(request.denominator))
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("cannot decode at 1/{}", request.denominator));
    const int height = (facts_.layout.height + request.denominator - 1) / request.denominator;
    const int endRow = request.rowCount < 0 ? height : request.firstRow + std::min(request.rowCount, height);
    if (request.firstRow < 0 || request.firstRow > height || endRow > height)
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("rows {} to {} of a picture of {} rows", request.firstRow, endRow, height));

    const Deadline deadline;
    auto decoder = std::make_unique<JpegDecoder>(*source_, deadline);
    if (!decoder->readHeader() || !decoder->start(request.denominator))
        return failFrom(*decoder, *source_);
    bool isPatched = false;
    if (decoder->hasMultipleScans()) {
        Scans scans;
        if (!readScans(*decoder, deadline, scans))
            return false;
        if (scans.isBroken) {
            noteBrokenScan(*decoder, scans.read);
            decoder = std::make_unique<JpegDecoder>(*source_, deadline);
            if (!decoder->readHeader() || !decoder->start(request.denominator))
                return failFrom(*decoder, *source_);
            isPatched = true;
            if (!readScans(*decoder, deadline, scans))
                return false;
        }
        if (!decoder->startOutput())
            return failFrom(*decoder, *source_);
    }
    const jpeg_decompress_struct& info = decoder->info();
    if (static_cast<int>(info.output_height) != height || static_cast<int>(info.image_width) != facts_.layout.width ||
        isFourColour(info) != isInk_)
        return fail(ZelFailureCode::unreadable, operation, "the file was changed since it was opened",
                    source_->subject());
    if (!deliver(*decoder, deadline, request.firstRow, endRow, sink))
        return false;
    if (!isPatched)
        noteDamage(*decoder);
    return true;
} catch (const std::bad_alloc&) { // it may run on a thread of its own, out of which nothing is thrown
    return fail(ZelFailureCode::outOfMemory, operation, "no memory to decode the picture", source_->subject());
}

// Reads all scans, or on a second try as many as could be read on the first one: a fatal error spoils libjpeg's state.
bool JpegProvider::readScans(JpegDecoder& decoder, const Deadline& deadline, Scans& scans) const
{
    const int wanted = scans.isBroken ? scans.read : JpegErrors::never;
    const int most = ZelLimits::current().jpegScans;
    scans = {};
    while (scans.read < wanted) {
        switch (decoder.readBlocks()) {
        case JpegDecoder::Step::complete:
            return true;
        case JpegDecoder::Step::scanComplete:
            ++scans.read;
            break;
        case JpegDecoder::Step::failed:
            scans.isBroken =
                decoder.errors().code == ZelFailureCode::unreadable && scans.read > 0 && wanted == JpegErrors::never;
            return scans.isBroken || failFrom(decoder, *source_);
        case JpegDecoder::Step::more:
            break;
        }
        if (decoder.info().input_scan_number > most)
            return fail(ZelFailureCode::limit, operation, fmt::format("more than {} scans", most), source_->subject());
        if (deadline.passed())
            return failLate(deadline);
        if (!keepGoing(partOfScans * decoder.fractionRead(), operation))
            return false;
    }
    decoder.leaveBlocksUnsmoothed(); // to smooth, libjpeg would read on
    return true;
}

Absent JpegProvider::failLate(const Deadline& deadline) const
{
    return fail(ZelFailureCode::limit, operation,
                fmt::format("decoding took longer than the {} ms allowed", deadline.allowed().count()),
                source_->subject());
}

void JpegProvider::noteBrokenScan(const JpegDecoder& decoder, int scansRead) const
{
    warn(decoder.hasReachedEnd() ? ZelFailureCode::truncated : ZelFailureCode::unreadable, operation,
         fmt::format("damaged behind scan {}: finer details are missing", scansRead), source_->subject());
}

bool JpegProvider::deliver(JpegDecoder& decoder, const Deadline& deadline, int firstRow, int endRow,
                           const RowSink& sink) const
{
    const int width = static_cast<int>(decoder.info().output_width);
    const int height = static_cast<int>(decoder.info().output_height);
    const std::size_t rowBytes = static_cast<std::size_t>(width) * bytesPerPixel;
    const int blockRows = decoder.rowsPerBlockRow();
    const int bandRows =
        static_cast<int>(std::max<std::size_t>(1, bandBytes / rowBytes / static_cast<std::size_t>(blockRows))) *
        blockRows;
    // Behind a multiple of 32 libjpeg's colour conversion would write past the caches, from which the sink reads.
    constexpr std::size_t offset = 16;
    const std::unique_ptr<std::uint8_t[]> memory(
        new (std::nothrow) std::uint8_t[rowBytes * static_cast<std::size_t>(bandRows) + 2 * offset]);
    if (memory == nullptr)
        return fail(ZelFailureCode::outOfMemory, operation, "no memory for a band of rows", source_->subject());
    const auto misalignment = reinterpret_cast<std::uintptr_t>(memory.get()) % (2 * offset);
    std::uint8_t* const band = memory.get() + (misalignment == offset ? 0 : offset - misalignment);

    const double before = decoder.hasMultipleScans() ? partOfScans : 0.0;
    int row = 0;
    while (row < endRow) {
        if (deadline.passed())
            return failLate(deadline);
        if (!keepGoing(before + (1 - before) * row / height, operation))
            return false;
        const int bandEnd = std::min({(row / bandRows + 1) * bandRows, row < firstRow ? firstRow : height, endRow});
        const int count = bandEnd - row;
        if (row < firstRow) {
            if (row < decoder.rowsHeld() && !decoder.skipRows(count))
                return failFrom(decoder, *source_);
            row = bandEnd;
            continue;
        }
        const bool isHeld = row < decoder.rowsHeld();
        if (isHeld && !decoder.readRows(band, rowBytes, count))
            return failFrom(decoder, *source_);
        if (!decoder.isFirstRowHeld())
            return failBeforeFirstRow(*source_);
        const int held = isHeld ? std::clamp(decoder.rowsHeld() - row, 0, count) : 0;
        const engine::Pixels pixels{band, static_cast<std::ptrdiff_t>(rowBytes), width, count, bytesPerPixel};
        if (isInk_ && held > 0)
            toRgb(pixels.rows(0, held));
        std::memset(pixels.row(held), 0, rowBytes * static_cast<std::size_t>(count - held));
        if (!sink(row, pixels))
            return false;
        row = bandEnd;
    }
    return true;
}

void JpegProvider::toRgb(const engine::Pixels& ink) const
{
    for (int y = 0; isInverted_ && y < ink.height; ++y) {
        std::uint8_t* const row = ink.row(y);
        for (std::size_t index = 0; index < ink.rowBytes(); ++index)
            row[index] = static_cast<std::uint8_t>(255 - row[index]);
    }
    if (const auto transform = ColorTransform::cmykToSrgb(inkSpace_))
        transform->apply(ink, ink);
    for (int y = 0; y < ink.height; ++y)
        for (int x = 0; x < ink.width; ++x)
            ink.at(x, y)[3] = 255;
}

void JpegProvider::noteDamage(const JpegDecoder& decoder) const
{
    const JpegErrors& errors = decoder.errors();
    if (decoder.isCutShort()) {
        const int height = static_cast<int>(decoder.info().output_height);
        const int held = decoder.rowsHeld();
        warn(ZelFailureCode::truncated, operation,
             held < height ? fmt::format("the data ends early: {} of {} rows are missing", height - held, height)
                           : std::string("the data ends early: the last details are missing"),
             source_->subject());
    } else if (errors.warnings > 0) {
        warn(ZelFailureCode::unreadable, operation, fmt::format("damaged data: {}", errors.firstWarning),
             source_->subject());
    }
}

// Decodes the first row of blocks, entropy coding and all, at the smallest size: the cheapest proof that there is a
// picture.
bool proveFirstRow(JpegDecoder& decoder, const ByteSource& source)
{
    constexpr int smallest = 8;
    if (!decoder.start(smallest))
        return failFrom(decoder, source);
    if (decoder.hasMultipleScans()) {
        for (const auto& info = decoder.info(); info.input_scan_number < 2 && info.input_iMCU_row < 1;) {
            const JpegDecoder::Step step = decoder.readBlocks();
            if (step == JpegDecoder::Step::failed)
                return failFrom(decoder, source);
            if (step == JpegDecoder::Step::scanComplete || step == JpegDecoder::Step::complete)
                break;
        }
    } else {
        const std::size_t rowBytes = static_cast<std::size_t>(decoder.info().output_width) * bytesPerPixel;
        const std::unique_ptr<std::uint8_t[]> row(new (std::nothrow) std::uint8_t[rowBytes]);
        if (row == nullptr)
            return fail(ZelFailureCode::outOfMemory, operation, "no memory for a row", source.subject());
        if (!decoder.readRows(row.get(), rowBytes, 1))
            return failFrom(decoder, source);
    }
    return decoder.isFirstRowHeld() ? true : failBeforeFirstRow(source);
}

// Each scan of a large picture takes a while, even an empty one: a storm of them is refused before the first. A file
// that is read by pieces is not read through for this; the count goes on while it is decoded.
bool hasFewScans(JpegDecoder& decoder, const JpegMarkers& markers, const ByteSource& source)
{
    if (!decoder.hasMultipleScans() || source.whole().empty() || markers.firstScan == 0)
        return true;
    const int scans = countJpegScans(source.whole(), markers.firstScan);
    const int most = ZelLimits::current().jpegScans;
    return scans <= most || fail(ZelFailureCode::limit, operation,
                                 fmt::format("it has {} scans, the limit is {}", scans, most), source.subject());
}

// EXIF is more specific than JFIF, whose density many writers leave at a made-up 72.
void setResolution(PictureFacts& facts, const jpeg_decompress_struct& info, const ExifFacts& exif)
{
    constexpr double centimetresPerInch = 2.54;
    facts.dpiX = plausibleDpi(exif.dpiX);
    facts.dpiY = plausibleDpi(exif.dpiY);
    const bool hasUnit = info.saw_JFIF_marker && (info.density_unit == 1 || info.density_unit == 2);
    if ((facts.dpiX > 0 && facts.dpiY > 0) || !hasUnit)
        return;
    const double unit = info.density_unit == 2 ? centimetresPerInch : 1.0;
    facts.dpiX = plausibleDpi(info.X_density * unit);
    facts.dpiY = plausibleDpi(info.Y_density * unit);
}

bool recognisesJpeg(std::span<const std::uint8_t> head)
{
    return head.size() >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
}

/// What stands in front of the first scan.
struct Header {
    JpegMarkers markers;
    PictureFacts facts;
    bool isInk = false, isInverted = false;
    Ref<const CGColorSpace> inkSpace;
};

bool readHeader(JpegDecoder& decoder, const ByteSource& source, const Deadline& deadline, Header& header)
{
    JpegMarkers& markers = header.markers;
    if (!readJpegMarkers(source, deadline, markers))
        return false;
    if (!decoder.readHeader())
        return failFrom(decoder, source);
    const jpeg_decompress_struct& info = decoder.info();
    if (!withinDecodeLimits(info.image_width, info.image_height, decodingBytesPerPixel(decoder), operation))
        return false;

    PictureFacts& facts = header.facts;
    facts.format = "jpeg";
    facts.layout.width = static_cast<int>(info.image_width);
    facts.layout.height = static_cast<int>(info.image_height);
    facts.layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    facts.layout.isGray = info.jpeg_color_space == JCS_GRAYSCALE;
    facts.orientation = markers.exif.orientation;
    facts.frames = markers.pictures;
    setResolution(facts, info, markers.exif);
    header.isInk = isFourColour(info);
    header.isInverted = info.saw_Adobe_marker != FALSE;
    if (!markers.profile.empty())
        header.inkSpace =
            CGColorSpace::fromProfile(std::move(markers.profile), header.isInk ? 4 : info.num_components, operation);
    if (!header.isInk)
        facts.layout.colorSpace = std::exchange(header.inkSpace, nullptr);
    return true;
}

Ref<const PixelProvider> openJpeg(const Ref<const ByteSource>& source)
{
    const SubjectScope subject(source->subject());
    const Deadline deadline;
    JpegDecoder decoder(*source, deadline);
    Header header;
    if (!readHeader(decoder, *source, deadline, header) || !hasFewScans(decoder, header.markers, *source) ||
        !proveFirstRow(decoder, *source))
        return nullptr;
    return std::make_shared<JpegProvider>(source, std::move(header.facts), header.isInk, std::move(header.inkSpace),
                                          header.isInverted);
}

std::optional<PictureFacts> readJpegFacts(const Ref<const ByteSource>& source)
{
    const SubjectScope subject(source->subject());
    const Deadline deadline;
    JpegDecoder decoder(*source, deadline);
    Header header;
    return readHeader(decoder, *source, deadline, header) ? std::optional(std::move(header.facts)) : std::nullopt;
}

} // namespace

const Codec jpegCodec{"jpeg", "jpg jpeg", recognisesJpeg, openJpeg, nullptr, readJpegFacts};

} // namespace zel
