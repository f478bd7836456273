#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>

// Content alone decides which codec opens a picture. For what none recognises, the sentence says what the bytes look
// like.
namespace zel {
namespace {

using Head = std::span<const std::uint8_t>;

struct Signature {
    std::size_t place;
    std::string_view bytes;
    std::string_view what;
};

using namespace std::string_view_literals;

constexpr Signature signatures[] = {
    {0, "GIF8"sv, "a GIF picture"},
    {8, "WEBP"sv, "a WebP picture"},
    {4, "ftyphei"sv, "a HEIF picture"},
    {4, "ftyphev"sv, "a HEIF picture"},
    {4, "ftypmif1"sv, "a HEIF picture"},
    {4, "ftypavif"sv, "an AVIF picture"},
    {4, "ftyp"sv, "a film"},
    {0, "\0\0\0\x0CJXL "sv, "a JPEG XL picture"},
    {0, "\xFF\x0A"sv, "a JPEG XL picture"},
    {0, "\0\0\0\x0CjP  "sv, "a JPEG 2000 picture"},
    {0, "\xFF\x4F\xFF\x51"sv, "a JPEG 2000 picture"},
    {0, "BM"sv, "a BMP picture"},
    {0, "\0\0\1\0"sv, "an icon"},
    {0, "8BPS"sv, "a layered document"},
    {0, "%PDF-"sv, "a PDF document"},
    {0, "%!PS"sv, "a PostScript document"},
    {0, "PK\3\4"sv, "a ZIP archive"},
    {0, "\x1F\x8B"sv, "compressed data"},
    {0,
     "\x7F"
     "ELF"sv,
     "a program"},
    {0, "<svg"sv, "a vector drawing"},
    {0, "<?xml"sv, "an XML document"},
    {0, "<!DOCTYPE html"sv, "a web page"},
    {0, "<!doctype html"sv, "a web page"},
    {0, "<html"sv, "a web page"},
};

bool holds(Head head, const Signature& signature)
{
    return head.size() >= signature.place + signature.bytes.size() &&
           std::equal(signature.bytes.begin(), signature.bytes.end(),
                      head.begin() + static_cast<std::ptrdiff_t>(signature.place),
                      [](char wanted, std::uint8_t found) { return static_cast<std::uint8_t>(wanted) == found; });
}

/// UTF-8 more or less: it begins with a letter of ASCII and holds no control characters.
bool isText(Head head)
{
    return head[0] < 0x7F && std::all_of(head.begin(), head.end(), [](std::uint8_t byte) {
               return (byte >= ' ' && byte != 0x7F && byte < 0xF8) || (byte >= '\t' && byte <= '\r');
           });
}

std::string_view guess(Head head)
{
    for (const Signature& signature : signatures)
        if (holds(head, signature))
            return signature.what;
    if (std::all_of(head.begin(), head.end(), [](std::uint8_t byte) { return byte == 0; }))
        return "nothing but zeros at its beginning";
    return isText(head) ? "text" : "data of an unknown kind";
}

/// "JPEG, PNG and TIFF"
std::string readableFormats()
{
    std::string names;
    const std::span<const Codec> all = codecs();
    for (std::size_t i = 0; i < all.size(); ++i) {
        names += i == 0 ? "" : i + 1 == all.size() ? " and " : ", ";
        for (const char letter : all[i].name)
            names += letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return names;
}

} // namespace

std::span<const Codec> codecs()
{
    static const std::array all = {jpegCodec, pngCodec,      tiffCodec, webpCodec, gifCodec, jxlCodec,
                                   heifCodec, jpeg2000Codec, avifCodec, bmpCodec,  icoCodec, pnmCodec};
    return all;
}

namespace {

/// Null with the reason noted.
const Codec* codecOf(const ByteSource& source)
{
    const auto none = [](ZelFailureCode code, std::string reason) {
        (void)fail(code, "decode", std::move(reason));
        return nullptr;
    };
    if (source.size() == 0)
        return none(ZelFailureCode::truncated, "the file is empty");
    std::uint8_t bytes[headBytes];
    const Head head = Head(bytes).first(source.read(0, bytes));
    if (head.empty())
        return none(ZelFailureCode::unreadable, "its first bytes cannot be read");
    for (const Codec& codec : codecs())
        if (codec.recognises(head))
            return &codec;
    return none(ZelFailureCode::notAnImage, fmt::format("it holds {}; {} can be read", guess(head), readableFormats()));
}

} // namespace

Ref<const PixelProvider> openPicture(const Ref<const ByteSource>& source)
try {
    if (!source)
        return failAbsentInput("decode");
    const SubjectScope scope(source->subject());
    const Codec* const codec = codecOf(*source);
    return codec != nullptr ? codec->open(source) : nullptr;
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "no memory to open the picture");
}

std::optional<PictureFacts> pictureFacts(const Ref<const ByteSource>& source)
try {
    if (!source)
        return failAbsentInput("decode");
    const SubjectScope scope(source->subject());
    const Codec* const codec = codecOf(*source);
    if (codec == nullptr)
        return std::nullopt;
    if (codec->readFacts != nullptr)
        return codec->readFacts(source);
    const Ref<const PixelProvider> picture = codec->open(source);
    return picture ? std::optional(picture->facts()) : std::nullopt;
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "no memory to read the header of the picture");
}

} // namespace zel
