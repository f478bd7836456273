#include <zel/engine/convert_packed.h>
#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <new>

// The portable maps: P1 to P6 (bits, grey, colour, as text or binary) and P7, whose header names its fields. Samples go
// up to a largest value of the file's choice; above 255 binary ones have two bytes, the high one first.
namespace zel {
namespace {

constexpr std::string_view name = "PNM";
constexpr std::int64_t beyondAll = std::int64_t{1} << 32U; // where numbers of the header saturate
constexpr std::int64_t mostSide = 0x7FFFFFFF;

struct Header {
    int type = 0; ///< the digit behind the P
    std::int64_t width = 0, height = 0, most = 1;
    int channels = 1;          ///< grey, grey and alpha, RGB, RGBA
    std::uint64_t samples = 0; ///< where they begin

    [[nodiscard]] bool isText() const { return type <= 3; }
    [[nodiscard]] int bytesPerSample() const { return most > 255 ? 2 : 1; }
    [[nodiscard]] std::uint64_t fileRowBytes() const ///< not of text
    {
        const auto count = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(channels);
        return type == 4 ? (count + 7) / 8 : count * static_cast<std::uint64_t>(bytesPerSample());
    }
};

bool isBlank(int letter)
{
    return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

bool isDigit(int letter)
{
    return letter >= '0' && letter <= '9';
}

/// Passes blanks, and comments up to the end of their line.
void passBlanks(ByteReader& reader)
{
    for (int letter = reader.peek(); isBlank(letter) || letter == '#'; letter = reader.peek()) {
        if (letter == '#')
            while (letter != -1 && letter != '\n' && letter != '\r')
                letter = reader.next();
        else
            reader.next();
    }
}

/// Absent where no digit stands next.
std::optional<std::int64_t> readNumber(ByteReader& reader)
{
    passBlanks(reader);
    if (!isDigit(reader.peek()))
        return std::nullopt;
    std::int64_t value = 0;
    while (isDigit(reader.peek()))
        value = std::min(beyondAll, value * 10 + (reader.next() - '0'));
    return value;
}

std::string readWord(ByteReader& reader)
{
    constexpr std::size_t longest = 32;
    passBlanks(reader);
    std::string word;
    while (reader.peek() != -1 && !isBlank(reader.peek()) && word.size() < longest)
        word += static_cast<char>(reader.next());
    return word;
}

bool readFigures(ByteReader& reader, Header& header)
{
    const auto width = readNumber(reader), height = readNumber(reader);
    const auto most = header.type == 1 || header.type == 4 ? std::optional<std::int64_t>(1) : readNumber(reader);
    if (!width || !height || !most)
        return false;
    header.width = *width;
    header.height = *height;
    header.most = *most;
    header.channels = header.type == 3 || header.type == 6 ? 3 : 1;
    return true;
}

/// The fields of P7, by name.
bool readFields(ByteReader& reader, Header& header)
{
    constexpr int mostFields = 100;
    std::int64_t depth = 0;
    for (int i = 0; i < mostFields; ++i) {
        const std::string field = readWord(reader);
        if (field == "ENDHDR") {
            header.channels = depth >= 1 && depth <= 4 ? static_cast<int>(depth) : 0;
            return true;
        }
        if (field == "TUPLTYPE") { // the number of channels says the same
            readWord(reader);
            continue;
        }
        const auto value = readNumber(reader);
        if (!value)
            return false;
        if (field == "WIDTH")
            header.width = *value;
        else if (field == "HEIGHT")
            header.height = *value;
        else if (field == "DEPTH")
            depth = *value;
        else if (field == "MAXVAL")
            header.most = *value;
        else
            return false;
    }
    return false;
}

/// Absent, without a note, where there is no header that makes sense.
std::optional<Header> parseHeader(ByteReader& reader)
{
    Header header;
    if (reader.next() != 'P')
        return std::nullopt;
    header.type = reader.next() - '0';
    if (header.type < 1 || header.type > 7 ||
        !(header.type == 7 ? readFields(reader, header) : readFigures(reader, header)))
        return std::nullopt;
    // One blank parts the header from the samples.
    if (!isBlank(reader.next()))
        return std::nullopt;
    header.samples = reader.position();
    return header;
}

std::optional<Header> readHeader(const ByteSource& source)
{
    ByteReader reader(source);
    const std::optional<Header> header = parseHeader(reader);
    if (!header && reader.peek() == -1)
        return fail(ZelFailureCode::truncated, "decode", "PNM: the file ends in its header");
    if (!header)
        return fail(ZelFailureCode::unreadable, "decode", "PNM: its header makes no sense");
    if (header->channels == 0)
        return fail(ZelFailureCode::unsupported, "decode", "PNM: neither grey nor colours, with or without alpha");
    if (header->most < 1 || header->most > 65535)
        return fail(ZelFailureCode::unreadable, "decode", fmt::format("PNM: no samples go up to {}", header->most));
    if (!withinDecodeLimits(header->width, header->height, 4 * header->bytesPerSample(), "decode"))
        return std::nullopt;
    if (header->width > mostSide || header->height > mostSide)
        return fail(ZelFailureCode::limit, "decode", "PNM: a side is longer than can be handled");
    return header;
}

/// Binary pictures may follow one another.
int countPictures(const ByteSource& source, Header header)
{
    int count = 1;
    for (const int most = ZelLimits::current().frames; !header.isText() && count < most; ++count) {
        const std::uint64_t rowBytes = header.fileRowBytes(), height = static_cast<std::uint64_t>(header.height);
        if (height == 0 || rowBytes > (source.size() - header.samples) / height)
            break;
        ByteReader reader(source, header.samples + rowBytes * height);
        const std::optional<Header> next = parseHeader(reader);
        if (!next || next->width >= beyondAll || next->height >= beyondAll)
            break;
        header = *next;
    }
    return count;
}

/// Reads rows of samples and brings them to all of 8 or 16 bits, the high byte first.
class Samples {
public:
    Samples(const ByteSource& source, const Header& header, std::uint64_t position)
        : header_(header),
          reader_(source, position),
          count_(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.channels)),
          packed_(count_ * static_cast<std::size_t>(header.bytesPerSample()))
    {
        const auto most = static_cast<std::uint32_t>(header.most);
        if (most == 255 || most == 65535)
            return;
        const std::uint32_t full = most > 255 ? 65535 : 255;
        scaled_.resize(most + 1);
        for (std::uint32_t value = 0; value <= most; ++value)
            scaled_[value] = static_cast<std::uint16_t>((std::uint64_t{value} * full + most / 2) / most);
    }
    Ending read();
    [[nodiscard]] const std::uint8_t* packed() const { return packed_.data(); }

private:
    void put(std::size_t i, std::uint32_t value);
    Ending readText();
    Ending readBits();

    const Header& header_;
    ByteReader reader_;
    std::size_t count_; ///< samples of a row
    std::vector<std::uint8_t> packed_, bits_;
    std::vector<std::uint16_t> scaled_; ///< of each value; empty where values stay
};

void Samples::put(std::size_t i, std::uint32_t value)
{
    if (!scaled_.empty())
        value = scaled_[std::min<std::size_t>(value, scaled_.size() - 1)];
    if (header_.most > 255) {
        packed_[2 * i] = static_cast<std::uint8_t>(value >> 8U);
        packed_[2 * i + 1] = static_cast<std::uint8_t>(value);
    } else {
        packed_[i] = static_cast<std::uint8_t>(value);
    }
}

Ending Samples::readText()
{
    for (std::size_t i = 0; i < count_; ++i) {
        if (header_.type == 1) { // digits may stand side by side; 1 is black
            passBlanks(reader_);
            const int letter = reader_.next();
            if (letter != '0' && letter != '1')
                return letter == -1 ? Ending::truncated : Ending::damaged;
            put(i, letter == '0' ? 1 : 0);
            continue;
        }
        const std::optional<std::int64_t> value = readNumber(reader_);
        if (!value)
            return reader_.peek() == -1 ? Ending::truncated : Ending::damaged;
        put(i, static_cast<std::uint32_t>(std::min(*value, header_.most)));
    }
    return Ending::whole;
}

Ending Samples::readBits()
{
    bits_.resize(static_cast<std::size_t>(header_.fileRowBytes()));
    if (!reader_.read(bits_))
        return Ending::truncated;
    for (std::size_t i = 0; i < count_; ++i)
        packed_[i] = (bits_[i / 8] >> (7 - i % 8) & 1) != 0 ? 0 : 255;
    return Ending::whole;
}

Ending Samples::read()
{
    if (header_.isText())
        return readText();
    if (header_.type == 4)
        return readBits();
    if (!reader_.read(packed_))
        return Ending::truncated;
    if (scaled_.empty())
        return Ending::whole;
    for (std::size_t i = 0; i < count_; ++i)
        put(i, header_.most > 255 ? std::uint32_t{packed_[2 * i]} << 8U | packed_[2 * i + 1] : packed_[i]);
    return Ending::whole;
}

class PnmPicture final : public SourcePicture {
public:
    PnmPicture(Ref<const ByteSource> source, PictureFacts facts, const Header& header)
        : SourcePicture(name, std::move(source), std::move(facts)), header_(header)
    {
    }

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override
    {
        // Binary rows stand where they can be found; those of text have to be read from the first one on.
        const int from = header_.isText() ? 0 : delivery.first();
        const std::uint64_t passed = header_.isText() ? 0 : header_.fileRowBytes() * static_cast<std::uint64_t>(from);
        Samples samples(source(), header_, header_.samples + passed);
        const auto format = static_cast<engine::PackedFormat>(header_.channels - 1);
        return delivery.deliverRows(from, [&](int, std::uint8_t* row) {
            const Ending ending = samples.read();
            if (ending == Ending::whole)
                engine::expandRow(samples.packed(), format, header_.bytesPerSample(), row,
                                  static_cast<std::size_t>(header_.width));
            return ending;
        });
    }

    Header header_;
};

bool recognises(std::span<const std::uint8_t> head)
{
    if (head.size() < 4 || head[0] != 'P' || head[1] < '1' || head[1] > '7' || !(isBlank(head[2]) || head[2] == '#'))
        return false;
    return head[2] == '#' || isBlank(head[3]) || isDigit(head[3]) || head[3] == '#' ||
           (head[1] == '7' && head[3] >= 'A' && head[3] <= 'Z');
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    const std::optional<Header> header = readHeader(*source);
    if (!header)
        return nullptr;
    PictureFacts facts;
    facts.layout.width = static_cast<int>(header->width);
    facts.layout.height = static_cast<int>(header->height);
    facts.layout.bitsPerComponent = 8 * header->bytesPerSample();
    facts.hasAlpha = header->channels % 2 == 0;
    facts.layout.alphaInfo = facts.hasAlpha ? CGAlphaInfo::last : CGAlphaInfo::noneSkipLast;
    facts.layout.isGray = header->channels < 3;
    facts.format = "pnm";
    facts.bits = static_cast<int>(std::bit_width(static_cast<std::uint32_t>(header->most)));
    facts.frames = countPictures(*source, *header);
    return SourcePicture::opened(std::make_shared<PnmPicture>(source, facts, *header), "pictures");
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "PNM: no memory to read the header with");
}

} // namespace

const Codec pnmCodec = {"pnm", "pnm pbm pgm ppm pam", recognises, open};

} // namespace zel
