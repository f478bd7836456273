#include <zel/platform/codecs/encode.h>

#include <zel/engine/fill.h>
#include <zel/engine/parallel.h>
#include <zel/platform/codecs/png_chunks.h>
#include <zel/platform/codecs/png_smallest.h>
#include <zel/platform/codecs/png_strips.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <cmath>
#include <new>

// Signature, header, profile, resolution, pixels, end: nothing else. The pixels are one zlib stream, joined from strips
// that were compressed apart; each strip is a chunk of its own.
namespace zel {
namespace {

using namespace png;
using Bytes = std::vector<std::uint8_t>;

constexpr double inchesPerMetre = 1 / 0.0254;
constexpr int profileLevel = 9;
constexpr std::size_t maximumChunk = std::size_t{1} << 30;       // the format allows a little less than twice that
constexpr std::array<std::uint8_t, 2> zlibHeader = {0x78, 0x5E}; // deflate with 32 KiB, made fast; check bits right

/// A profile's name must be 1 to 79 printable characters without spaces at the ends or in a row.
std::string chunkName(const std::string& name)
{
    std::string result;
    for (const char letter : name)
        if (letter > ' ' && letter <= '~')
            result += letter;
        else if (letter == ' ' && !result.empty() && result.back() != ' ')
            result += ' ';
    result.resize(std::min<std::size_t>(result.size(), 79));
    while (!result.empty() && result.back() == ' ')
        result.pop_back();
    return result.empty() ? "ICC profile" : result;
}

void writeHeader(Bytes& file, const SampleFormat& format, ColorType type, int bits)
{
    ChunkWriter chunks(file);
    chunks.add(signature);
    std::array<std::uint8_t, 13> data{};
    writeBig32(data.data(), static_cast<std::uint32_t>(format.width));
    writeBig32(data.data() + 4, static_cast<std::uint32_t>(format.height));
    data[8] = static_cast<std::uint8_t>(bits);
    data[9] = static_cast<std::uint8_t>(type);
    chunks.write(chunkType("IHDR"), data);
}

void writeProfile(Bytes& file, const CGImage::Layout& layout, ColorType type)
{
    const bool isGray = type == ColorType::gray || type == ColorType::grayAlpha;
    if (!layout.colorSpace || layout.colorSpace->channels() != (isGray ? 1 : 3))
        return;
    const auto stream = zlibStream(layout.colorSpace->profile().span(), profileLevel);
    if (!stream)
        throw std::bad_alloc();
    const std::string name = chunkName(layout.colorSpace->name());
    static constexpr std::array<std::uint8_t, 2> nameEndAndMethod = {0, 0};
    ChunkWriter chunks(file);
    chunks.begin(chunkType("iCCP"));
    chunks.add(Bytes(name.begin(), name.end()));
    chunks.add(nameEndAndMethod);
    chunks.add(*stream);
    chunks.end();
}

void writeResolution(Bytes& file, const PngOptions& options)
{
    const double x = options.dpiX > 0 ? options.dpiX : options.dpiY, y = options.dpiY > 0 ? options.dpiY : options.dpiX;
    const double perMetreX = std::round(x * inchesPerMetre), perMetreY = std::round(y * inchesPerMetre);
    // Written so that what is not a number fails.
    if (!(perMetreX >= 1 && perMetreY >= 1 && perMetreX <= 0x7FFFFFFF && perMetreY <= 0x7FFFFFFF))
        return;
    std::array<std::uint8_t, 9> data{};
    writeBig32(data.data(), static_cast<std::uint32_t>(perMetreX));
    writeBig32(data.data() + 4, static_cast<std::uint32_t>(perMetreY));
    data[8] = 1; // a metre
    ChunkWriter(file).write(chunkType("pHYs"), data);
}

/// Puts finished strips behind one another, as one zlib stream in a chunk a strip.
class PixelWriter {
public:
    PixelWriter(Bytes& file, const SampleFormat& format) : file_(file), chunks_(file), strips_(format.strips()) {}
    void add(const EncodedStrip& strip)
    {
        if (done_ == 0)
            file_.reserve(file_.size() + strip.stream.size() * static_cast<std::size_t>(strips_) * 9 / 8 + 1024);
        chunks_.begin(chunkType("IDAT"));
        if (done_ == 0)
            chunks_.add(zlibHeader);
        chunks_.add(strip.stream);
        adler_ = combineAdler32(adler_, strip.adler, strip.length);
        if (++done_ == strips_) {
            std::array<std::uint8_t, 4> checksum{};
            writeBig32(checksum.data(), adler_);
            chunks_.add(checksum);
        }
        chunks_.end();
    }

private:
    Bytes& file_;
    ChunkWriter chunks_;
    int strips_;
    int done_ = 0;
    std::uint32_t adler_ = 1;
};

/// Cuts rows that come in bands of any height into strips.
class StripCutter {
public:
    StripCutter(const SampleFormat& format, StripLine& line, PixelWriter& writer)
        : format_(format), line_(line), writer_(writer)
    {
    }
    /// Rows that stay where they are until the line has done them.
    void addHeld(const engine::ConstPixels& rows)
    {
        for (int first = 0; first < format_.height; first += format_.stripRows()) {
            Strip strip;
            strip.rows = rows.rows(first, std::min(format_.stripRows(), format_.height - first));
            strip.above = first == 0 ? engine::ConstPixels{} : rows.rows(first - 1, 1);
            put(std::move(strip), first);
        }
    }
    /// Rows of the moment.
    void add(int first, const engine::ConstPixels& rows)
    {
        for (int done = 0; done < rows.height;) {
            if (filled_ == 0)
                begin(first + done);
            const int count = std::min(rows.height - done, stripEnd() - first - done);
            const auto& memory = strip_.memory.pixels();
            [[maybe_unused]] const bool good = engine::copy(rows.rows(done, count), memory.rows(1 + filled_, count));
            filled_ += count;
            done += count;
            if (top_ + filled_ == stripEnd()) {
                const engine::ConstPixels all = memory;
                strip_.rows = all.rows(1, filled_);
                strip_.above = top_ == 0 ? engine::ConstPixels{} : all.rows(0, 1);
                keepLastRow(all.rows(filled_, 1));
                put(std::move(strip_), top_);
                filled_ = 0;
            }
        }
    }
    void finish()
    {
        while (const auto strip = line_.take(true))
            writer_.add(*strip);
    }

private:
    [[nodiscard]] int stripEnd() const { return std::min(top_ + format_.stripRows(), format_.height); }
    // The memory begins with the last row of the strip before.
    void begin(int top)
    {
        top_ = top;
        strip_ = {};
        strip_.memory = engine::PixelBuffer(format_.width, 1 + stripEnd() - top, 4 * format_.from.bytesPerComponent);
        if (strip_.memory.empty())
            throw std::bad_alloc();
        if (!lastRow_.empty())
            std::copy(lastRow_.begin(), lastRow_.end(), strip_.memory.pixels().data);
    }
    void keepLastRow(const engine::ConstPixels& row) { lastRow_.assign(row.data, row.data + row.rowBytes()); }
    void put(Strip strip, int first)
    {
        strip.isLast = first + strip.rows.height == format_.height;
        line_.put(std::move(strip));
        while (const auto done = line_.take(false))
            writer_.add(*done);
    }

    const SampleFormat& format_;
    StripLine& line_;
    PixelWriter& writer_;
    Strip strip_;
    int top_ = 0, filled_ = 0;
    Bytes lastRow_;
};

/// False: the picture could not be decoded, or the work was stopped (noted).
bool writePixels(Bytes& file, const CGImage& image, const SampleFormat& format)
{
    PixelWriter writer(file, format);
    StripLine line(format, engine::concurrency());
    StripCutter cutter(format, line, writer);
    if (image.isDecoded()) {
        const engine::ConstPixels pixels = pixelsOf(image);
        if (pixels.empty())
            return false;
        cutter.addHeld(pixels);
    } else {
        bool isShort = false;
        const bool good = readRows(image, [&](int first, const engine::ConstPixels& rows) {
            try {
                cutter.add(first, rows);
                return true;
            } catch (const std::bad_alloc&) {
                isShort = true;
                return false;
            }
        });
        if (isShort)
            throw std::bad_alloc();
        if (!good)
            return false;
    }
    cutter.finish();
    return true;
}

std::optional<SmallestPixels> smallestPixels(const CGImage& image, const SampleFormat& format)
{
    Bytes samples(format.rowBytes() * static_cast<std::size_t>(format.height));
    RowPacker packer(format);
    std::uint8_t* to = samples.data();
    const bool good = readRows(image, [&](int, const engine::ConstPixels& rows) {
        for (int y = 0; y < rows.height; ++y, to += format.rowBytes())
            std::copy_n(packer.pack(rows.row(y)), format.rowBytes(), to);
        return true;
    });
    return good ? makeSmallest(format, std::move(samples)) : std::nullopt;
}

std::optional<Data> encode(const CGImage& image, const PngOptions& options)
{
    const CGImage::Layout& layout = image.layout();
    const SampleFormat format = SampleFormat::of(layout);
    ColorType type = colorTypeOf(format.packed);
    int bits = 8 * format.from.bytesPerComponent;
    std::optional<SmallestPixels> smallest;
    if (options.smallest) {
        smallest = smallestPixels(image, format);
        if (!smallest)
            return std::nullopt;
        type = smallest->type;
        bits = smallest->bits;
    }
    Bytes file;
    writeHeader(file, format, type, bits);
    writeProfile(file, layout, type);
    writeResolution(file, options);
    ChunkWriter chunks(file);
    if (smallest) {
        if (!smallest->palette.empty())
            chunks.write(chunkType("PLTE"), smallest->palette);
        if (!smallest->transparency.empty())
            chunks.write(chunkType("tRNS"), smallest->transparency);
        std::span<const std::uint8_t> stream(smallest->stream);
        for (; !stream.empty(); stream = stream.subspan(std::min(stream.size(), maximumChunk)))
            chunks.write(chunkType("IDAT"), stream.first(std::min(stream.size(), maximumChunk)));
    } else if (!writePixels(file, image, format)) {
        return std::nullopt;
    }
    chunks.write(chunkType("IEND"), {});
    return Data(std::move(file));
}

} // namespace

std::optional<Data> encodePng(const Ref<const CGImage>& image, const PngOptions& options)
{
    if (!image)
        return failAbsentInput("encode");
    try {
        return encode(*image, options);
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "encode", "PNG: no memory to encode with");
    }
}

} // namespace zel
