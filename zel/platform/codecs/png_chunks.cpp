#include <zel/platform/codecs/png_chunks.h>

#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/png_inflate.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>
#include <isa-l/crc.h>

#include <algorithm>
#include <cmath>

// Lengths are compared with what remains of the file before anything is read, so a chunk never leads out of it. What is
// not needed for the pixels (profile, resolution, orientation) never fails a picture.
namespace zel::png {
namespace {

constexpr std::uint32_t maximumLength = 0x7FFFFFFF;
constexpr int maximumChunks = 1000;         // before the pixels: real files have fewer than thirty
constexpr int maximumPixelChunks = 100'000; // passed over in search of an orientation behind them
constexpr std::uint32_t maximumProfile = 4U << 20;
constexpr std::uint32_t maximumExif = 16U << 20;
constexpr std::size_t pieceBytes = 256 * 1024; // of compressed pixels: stays in the second-level cache

constexpr std::uint32_t typeIHDR = chunkType("IHDR"), typePLTE = chunkType("PLTE"), typeIDAT = chunkType("IDAT"),
                        typeIEND = chunkType("IEND"), typeTRNS = chunkType("tRNS"), typeICCP = chunkType("iCCP"),
                        typePHYS = chunkType("pHYs"), typeEXIF = chunkType("eXIf"), typeACTL = chunkType("acTL");

bool isCritical(std::uint32_t type)
{
    return (type >> 24 & 0x20) == 0;
}

std::string nameOf(std::uint32_t type)
{
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto letter = static_cast<char>(type >> shift & 0xFF);
        name += (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z') ? letter : '?';
    }
    return name;
}

struct Chunk {
    std::uint32_t type = 0;
    std::uint32_t length = 0;
    std::uint64_t data = 0; ///< where its data begin
    [[nodiscard]] std::uint64_t end() const { return data + length + 4; }
};

/// The chunk that begins at `position`; absent where the file ends before its data or the length is impossible.
std::optional<Chunk> chunkAt(const ByteSource& source, std::uint64_t position)
{
    std::array<std::uint8_t, 8> head{};
    if (position > source.size() || source.read(position, head) != head.size())
        return std::nullopt;
    const Chunk chunk = {readBig32(head.data() + 4), readBig32(head.data()), position + 8};
    if (chunk.length > maximumLength)
        return std::nullopt;
    return chunk;
}

/// The data of a chunk; absent where the file is too short for it or the checksum differs.
std::optional<std::vector<std::uint8_t>> dataOf(const ByteSource& source, const Chunk& chunk)
{
    if (chunk.end() > source.size())
        return std::nullopt;
    std::vector<std::uint8_t> bytes(std::size_t{chunk.length} + 8);
    writeBig32(bytes.data(), chunk.type);
    if (source.read(chunk.data, std::span(bytes).subspan(4)) != bytes.size() - 4)
        return std::nullopt;
    const std::size_t summed = std::size_t{chunk.length} + 4;
    if (crc32_gzip_refl(0, bytes.data(), summed) != readBig32(bytes.data() + summed))
        return std::nullopt;
    bytes.erase(bytes.begin(), bytes.begin() + 4);
    bytes.resize(chunk.length);
    return bytes;
}

bool isKnownCombination(int type, int bits)
{
    switch (type) {
    case 0:
        return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16;
    case 3:
        return bits == 1 || bits == 2 || bits == 4 || bits == 8;
    case 2:
    case 4:
    case 6:
        return bits == 8 || bits == 16;
    default:
        return false;
    }
}

bool readImageHeader(const std::vector<std::uint8_t>& data, Header& header)
{
    if (data.size() != 13)
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("PNG: the header has {} bytes, not 13", data.size()));
    const std::uint32_t width = readBig32(data.data()), height = readBig32(data.data() + 4);
    const int bits = data[8], type = data[9];
    if (width < 1 || height < 1 || width > maximumLength || height > maximumLength)
        return fail(ZelFailureCode::unreadable, "decode", fmt::format("PNG: impossible size {} x {}", width, height));
    if (!isKnownCombination(type, bits))
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("PNG: no color type {} with {} bits", type, bits));
    if (data[10] != 0 || data[11] != 0 || data[12] > 1)
        return fail(ZelFailureCode::unsupported, "decode", "PNG: unknown compression, filter or interlace method");
    header.width = static_cast<int>(width);
    header.height = static_cast<int>(height);
    header.bits = bits;
    header.type = static_cast<ColorType>(type);
    header.interlaced = data[12] == 1;
    return withinDecodeLimits(header.width, header.height, bits == 16 ? 8 : 4, "decode");
}

/// Dots per inch of pixels a metre. Whole figures that were rounded on writing are restored: 5669 is 144, not 143.99.
double dotsPerInch(std::uint32_t perMetre)
{
    const double exact = perMetre * 0.0254, whole = std::round(exact);
    return plausibleDpi(std::round(whole / 0.0254) == perMetre ? whole : exact);
}

void readResolution(const std::vector<std::uint8_t>& data, PictureFacts& facts)
{
    if (data.size() != 9 || data[8] != 1) // the unit 0 tells the shape of pixels alone
        return;
    facts.dpiX = dotsPerInch(readBig32(data.data()));
    facts.dpiY = dotsPerInch(readBig32(data.data() + 4));
}

/// A name, a zero byte, the method 0, and a zlib stream.
std::optional<Data> readProfile(const std::vector<std::uint8_t>& data)
{
    const auto nameEnd = std::find(data.begin(), data.begin() + std::min<std::ptrdiff_t>(80, std::ssize(data)), 0);
    const std::size_t start = static_cast<std::size_t>(nameEnd - data.begin()) + 2;
    if (nameEnd == data.end() || start > data.size() || data[start - 1] != 0)
        return std::nullopt;
    auto profile = inflateWhole(std::span(data).subspan(start), maximumProfile);
    return profile ? std::optional(Data(std::move(*profile))) : std::nullopt;
}

bool isUsableTransparency(const Header& header, std::size_t length)
{
    switch (header.type) {
    case ColorType::gray:
        return length == 2;
    case ColorType::rgb:
        return length == 6;
    case ColorType::palette:
        return length >= 1 && length <= header.palette.size() / 3;
    default:
        return false;
    }
}

/// What the chunks before the pixels say, gathered; applied once all are known, because their order is free.
struct Metadata {
    std::optional<Data> profile;
    bool profileSeen = false;
};

/// False: the picture cannot be decoded (noted).
bool readChunk(const ByteSource& source, const Chunk& chunk, Header& header, Metadata& metadata)
{
    switch (chunk.type) {
    case typePLTE:
    case typeTRNS:
    case typeICCP:
    case typePHYS:
    case typeEXIF:
    case typeACTL:
        break;
    default:
        if (isCritical(chunk.type))
            return fail(ZelFailureCode::unsupported, "decode",
                        fmt::format("PNG: unknown chunk {}", nameOf(chunk.type)));
        return true; // text, time, gamma: nothing that pixels depend on
    }
    if (chunk.length > (chunk.type == typeEXIF ? maximumExif : maximumProfile)) {
        warn(ZelFailureCode::limit, "decode",
             fmt::format("PNG: the chunk {} of {} bytes is left out", nameOf(chunk.type), chunk.length));
        return true;
    }
    auto data = dataOf(source, chunk);
    if (!data) {
        if (chunk.type == typePLTE && header.type == ColorType::palette)
            return fail(ZelFailureCode::unreadable, "decode", "PNG: the palette is damaged");
        warn(ZelFailureCode::unreadable, "decode",
             fmt::format("PNG: the chunk {} is damaged and left out", nameOf(chunk.type)));
        return true;
    }
    switch (chunk.type) {
    case typePLTE:
        if (header.type == ColorType::palette && header.palette.empty()) {
            if (data->empty() || data->size() % 3 != 0 || data->size() > 768)
                return fail(ZelFailureCode::unreadable, "decode",
                            fmt::format("PNG: a palette of {} bytes", data->size()));
            header.palette = std::move(*data);
            // Entries that no index can reach are left out, as libpng does: transparency is judged by what remains.
            header.palette.resize(std::min(header.palette.size(), std::size_t{3} << header.bits));
        }
        break;
    case typeTRNS:
        if (header.transparency.empty() && isUsableTransparency(header, data->size()))
            header.transparency = std::move(*data);
        break;
    case typeICCP:
        if (!metadata.profileSeen) {
            metadata.profileSeen = true;
            metadata.profile = readProfile(*data);
            if (!metadata.profile)
                warn(ZelFailureCode::unreadable, "decode", "PNG: the color profile cannot be read");
        }
        break;
    case typePHYS:
        readResolution(*data, header.facts);
        break;
    case typeEXIF:
        header.facts.orientation = readExifFacts(*data).orientation;
        break;
    case typeACTL:
        if (data->size() == 8)
            header.facts.frames =
                static_cast<int>(std::clamp<std::int64_t>(readBig32(data->data()), 1, ZelLimits::current().frames));
        break;
    default:
        break;
    }
    return true;
}

void completeFacts(Header& header, Metadata& metadata)
{
    PictureFacts& facts = header.facts;
    const bool isGray = header.type == ColorType::gray || header.type == ColorType::grayAlpha;
    const bool hasTransparency = header.type == ColorType::palette
                                     ? std::any_of(header.transparency.begin(), header.transparency.end(),
                                                   [](std::uint8_t alpha) { return alpha != 255; })
                                     : !header.transparency.empty();
    facts.hasAlpha = header.type == ColorType::grayAlpha || header.type == ColorType::rgba || hasTransparency;
    facts.format = "png";
    facts.bits = header.bits;
    facts.layout.width = header.width;
    facts.layout.height = header.height;
    facts.layout.bitsPerComponent = header.bits == 16 ? 16 : 8;
    facts.layout.alphaInfo = facts.hasAlpha ? CGAlphaInfo::last : CGAlphaInfo::noneSkipLast;
    facts.layout.isGray = isGray;
    if (metadata.profile)
        facts.layout.colorSpace = CGColorSpace::fromProfile(std::move(*metadata.profile), isGray ? 1 : 3, "decode");
}

/// The orientation may also stand behind the pixels.
void readOrientationBehind(const ByteSource& source, std::uint64_t position, Header& header)
{
    for (int passed = 0; passed < maximumPixelChunks; ++passed) {
        const auto chunk = chunkAt(source, position);
        if (!chunk || chunk->type == typeIEND || chunk->end() > source.size())
            return;
        if (chunk->type == typeEXIF && chunk->length <= maximumExif) {
            if (const auto data = dataOf(source, *chunk))
                header.facts.orientation = readExifFacts(*data).orientation;
            return;
        }
        position = chunk->end();
    }
}

} // namespace

void ChunkWriter::write(std::uint32_t type, std::span<const std::uint8_t> data)
{
    begin(type);
    add(data);
    end();
}

void ChunkWriter::begin(std::uint32_t type)
{
    start_ = file_.size();
    file_.resize(start_ + 8);
    writeBig32(file_.data() + start_ + 4, type);
}

void ChunkWriter::add(std::span<const std::uint8_t> data)
{
    file_.insert(file_.end(), data.begin(), data.end());
}

void ChunkWriter::end()
{
    writeBig32(file_.data() + start_, static_cast<std::uint32_t>(file_.size() - start_ - 8));
    const std::uint32_t checksum = crc32_gzip_refl(0, file_.data() + start_ + 4, file_.size() - start_ - 4);
    file_.resize(file_.size() + 4);
    writeBig32(file_.data() + file_.size() - 4, checksum);
}

std::uint32_t readBig32(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void writeBig32(std::uint8_t* bytes, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

int channelsOf(ColorType type)
{
    switch (type) {
    case ColorType::rgb:
        return 3;
    case ColorType::grayAlpha:
        return 2;
    case ColorType::rgba:
        return 4;
    default:
        return 1;
    }
}

std::uint64_t Header::rowBytes() const
{
    return (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(channelsOf(type) * bits) + 7) / 8;
}

int Header::filterDistance() const
{
    return std::max(1, channelsOf(type) * bits / 8);
}

std::optional<Header> readHeader(const ByteSource& source)
{
    Header header;
    Metadata metadata;
    const auto first = chunkAt(source, signature.size());
    if (!first)
        return fail(ZelFailureCode::truncated, "decode", "PNG: the file ends in its header");
    if (first->type != typeIHDR)
        return fail(ZelFailureCode::unsupported, "decode",
                    fmt::format("PNG: begins with the chunk {}", nameOf(first->type)));
    if (first->length > 13)
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("PNG: the header has {} bytes, not 13", first->length));
    if (first->end() > source.size())
        return fail(ZelFailureCode::truncated, "decode", "PNG: the file ends in its header");
    const auto imageHeader = dataOf(source, *first);
    if (!imageHeader)
        return fail(ZelFailureCode::unreadable, "decode", "PNG: the header is damaged");
    if (!readImageHeader(*imageHeader, header))
        return std::nullopt;

    std::uint64_t position = first->end();
    for (int count = 0;; ++count) {
        const auto chunk = chunkAt(source, position);
        if (!chunk)
            return fail(ZelFailureCode::truncated, "decode", "PNG: the file ends before its pixels");
        if (chunk->type == typeIDAT)
            break;
        if (chunk->type == typeIEND)
            return fail(ZelFailureCode::unreadable, "decode", "PNG: no pixels in the file");
        if (count == maximumChunks)
            return fail(ZelFailureCode::limit, "decode",
                        fmt::format("PNG: over {} chunks before the pixels", maximumChunks));
        if (chunk->end() > source.size())
            return fail(ZelFailureCode::truncated, "decode", "PNG: the file ends before its pixels");
        if (!readChunk(source, *chunk, header, metadata))
            return std::nullopt;
        position = chunk->end();
    }
    if (header.type == ColorType::palette && header.palette.empty())
        return fail(ZelFailureCode::unreadable, "decode", "PNG: the palette is missing");
    header.firstPixelChunk = position;
    completeFacts(header, metadata);
    if (header.facts.orientation == Orientation::up)
        readOrientationBehind(source, position, header);
    return header;
}

PixelStream::PixelStream(const ByteSource& source, std::uint64_t firstChunk)
    : source_(source),
      position_(firstChunk),
      buffer_(std::min<std::size_t>(pieceBytes, source.size() - std::min(firstChunk, source.size())))
{
}

bool PixelStream::enterChunk()
{
    const auto chunk = chunkAt(source_, position_);
    if (!chunk) {
        endedEarly_ = ended_ = true;
        return false;
    }
    if (chunk->type != typeIDAT) {
        ended_ = true;
        return false;
    }
    static constexpr std::array<std::uint8_t, 4> type = {'I', 'D', 'A', 'T'};
    checksum_ = crc32_gzip_refl(0, type.data(), type.size());
    position_ = chunk->data;
    remaining_ = chunk->length;
    inChunk_ = true;
    return true;
}

std::size_t PixelStream::readData(std::span<std::uint8_t> into)
{
    const std::size_t count = std::min<std::size_t>(remaining_, into.size());
    const std::size_t read = source_.read(position_, into.first(count));
    checksum_ = crc32_gzip_refl(checksum_, into.data(), read);
    position_ += read;
    remaining_ -= static_cast<std::uint32_t>(read);
    if (read < count)
        endedEarly_ = ended_ = true;
    return read;
}

void PixelStream::leaveChunk()
{
    std::array<std::uint8_t, 4> stored{};
    if (source_.read(position_, stored) != stored.size())
        endedEarly_ = ended_ = true;
    else if (readBig32(stored.data()) != checksum_)
        damaged_ = true;
    position_ += stored.size();
    inChunk_ = false;
}

// Chunks are often 8 KiB small: their data are brought together, because a decompressor works best on large pieces.
std::span<const std::uint8_t> PixelStream::next()
{
    std::size_t filled = 0;
    while (!ended_ && filled < buffer_.size()) {
        if (!inChunk_ && !enterChunk())
            break;
        filled += readData(std::span(buffer_).subspan(filled));
        if (!ended_ && remaining_ == 0)
            leaveChunk();
    }
    return std::span(buffer_).first(filled);
}

} // namespace zel::png
