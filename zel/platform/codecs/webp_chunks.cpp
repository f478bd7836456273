#include <zel/platform/codecs/webp_chunks.h>

#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <fmt/format.h>
#include <webp/decode.h>

#include <array>

namespace zel::webp {
namespace {

constexpr std::uint32_t chunkType(const char (&name)[5])
{
    std::uint32_t type = 0;
    for (unsigned i = 0; i < 4; ++i)
        type |= std::uint32_t{static_cast<std::uint8_t>(name[i])} << (8 * i);
    return type;
}

constexpr std::size_t riffHead = 12, chunkHead = 8, extendedBytes = 10, frameHead = 16;
constexpr std::size_t pictureHead = 32; ///< more than the sizes of either kind of pixels need
constexpr std::uint64_t mostProfileBytes = std::uint64_t{4} << 20U, mostExifBytes = std::uint64_t{16} << 20U;
constexpr int mostOtherChunks = 1000;

struct Chunk {
    std::uint32_t type = 0;
    std::uint64_t data = 0, size = 0;
    [[nodiscard]] std::uint64_t end() const { return data + size + size % 2; }
};

std::optional<Chunk> chunkAt(const ByteSource& source, std::uint64_t at)
{
    std::array<std::uint8_t, chunkHead> head{};
    if (at >= source.size() || source.read(at, head) < head.size())
        return std::nullopt;
    return Chunk{little32(head.data()), at + chunkHead, little32(head.data() + 4)};
}

int little24(const std::uint8_t* bytes)
{
    return static_cast<int>(little16(bytes) | std::uint32_t{bytes[2]} << 16U);
}

/// Empty where the file ends first or the chunk is longer than it may be.
std::vector<std::uint8_t> dataOf(const ByteSource& source, const Chunk& chunk, std::uint64_t most,
                                 std::string_view what)
{
    if (chunk.size > most || chunk.data + chunk.size > source.size()) {
        warn(ZelFailureCode::unreadable, "decode", fmt::format("WebP: {} of {} bytes is left out", what, chunk.size));
        return {};
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(chunk.size));
    bytes.resize(source.read(chunk.data, bytes));
    return bytes;
}

class Walk {
public:
    explicit Walk(const ByteSource& source) : source_(source) {}
    std::optional<Picture> run();

private:
    bool readExtended(const Chunk& chunk);
    bool readFrame(const Chunk& chunk);
    bool readStill(const Chunk& chunk);
    bool readPixels(const Chunk& chunk);
    bool take(const Chunk& chunk);

    const ByteSource& source_;
    Picture picture_;
    bool isFound_ = false;      ///< the first picture
    std::uint64_t alphaAt_ = 0; ///< of a still picture's alpha; 0 for none
    int otherChunks_ = 0;
};

bool Walk::readExtended(const Chunk& chunk)
{
    std::array<std::uint8_t, extendedBytes> bytes{};
    if (chunk.size < bytes.size() || source_.read(chunk.data, bytes) < bytes.size())
        return fail(ZelFailureCode::truncated, "decode", "WebP: the file ends in its header");
    picture_.canvasWidth = little24(bytes.data() + 4) + 1;
    picture_.canvasHeight = little24(bytes.data() + 7) + 1;
    return withinDecodeLimits(picture_.canvasWidth, picture_.canvasHeight, 4, "decode");
}

/// The sizes that the pixels themselves state.
bool Walk::readPixels(const Chunk& chunk)
{
    std::array<std::uint8_t, pictureHead> head{};
    const std::size_t held = source_.read(chunk.data - chunkHead, head);
    WebPBitstreamFeatures features{};
    const VP8StatusCode status = WebPGetFeatures(head.data(), held, &features);
    if (status == VP8_STATUS_NOT_ENOUGH_DATA)
        return fail(ZelFailureCode::truncated, "decode", "WebP: the file ends before the first row");
    if (status != VP8_STATUS_OK || features.width < 1 || features.height < 1)
        return fail(ZelFailureCode::unreadable, "decode", "WebP: the header of its pixels makes no sense");
    picture_.width = features.width;
    picture_.height = features.height;
    picture_.hasAlpha = picture_.hasAlpha || features.has_alpha != 0;
    picture_.isLossless = chunk.type == chunkType("VP8L");
    isFound_ = true;
    return true;
}

bool Walk::readStill(const Chunk& chunk)
{
    picture_.hasAlpha = alphaAt_ != 0;
    picture_.at = alphaAt_ != 0 ? alphaAt_ : chunk.data - chunkHead;
    picture_.size = chunk.data + chunk.size - picture_.at;
    if (!readPixels(chunk))
        return false;
    if (picture_.canvasWidth != 0 &&
        (picture_.canvasWidth != picture_.width || picture_.canvasHeight != picture_.height))
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("WebP: a picture of {} x {} pixels on a canvas of {} x {}", picture_.width,
                                picture_.height, picture_.canvasWidth, picture_.canvasHeight));
    picture_.canvasWidth = picture_.width;
    picture_.canvasHeight = picture_.height;
    return withinDecodeLimits(picture_.width, picture_.height, 4, "decode");
}

bool Walk::readFrame(const Chunk& frame)
{
    std::array<std::uint8_t, frameHead> bytes{};
    if (frame.size < bytes.size() || source_.read(frame.data, bytes) < bytes.size())
        return fail(ZelFailureCode::truncated, "decode", "WebP: the file ends before its first frame");
    picture_.left = little24(bytes.data()) * 2;
    picture_.top = little24(bytes.data() + 3) * 2;
    const int width = little24(bytes.data() + 6) + 1, height = little24(bytes.data() + 9) + 1;
    const std::uint64_t end = frame.data + frame.size;
    picture_.at = frame.data + frameHead;
    picture_.size = frame.size - frameHead;
    for (std::uint64_t at = picture_.at; at < end && ++otherChunks_ < mostOtherChunks;) {
        const std::optional<Chunk> chunk = chunkAt(source_, at);
        if (!chunk)
            break;
        if (chunk->type == chunkType("ALPH"))
            picture_.hasAlpha = true;
        if (chunk->type == chunkType("VP8 ") || chunk->type == chunkType("VP8L")) {
            if (!readPixels(*chunk))
                return false;
            break;
        }
        at = chunk->end();
    }
    if (!isFound_)
        return fail(end > source_.size() ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
                    "WebP: its first frame has no pixels");
    if (picture_.width != width || picture_.height != height ||
        picture_.left + std::int64_t{width} > picture_.canvasWidth ||
        picture_.top + std::int64_t{height} > picture_.canvasHeight)
        return fail(ZelFailureCode::unreadable, "decode", "WebP: the first frame does not fit its canvas");
    return true;
}

bool Walk::take(const Chunk& chunk)
{
    switch (chunk.type) {
    case chunkType("ALPH"):
        alphaAt_ = alphaAt_ == 0 ? chunk.data - chunkHead : alphaAt_;
        return true;
    case chunkType("VP8 "):
    case chunkType("VP8L"):
        return isFound_ || readStill(chunk);
    case chunkType("ANMF"):
        if (!isFound_)
            return picture_.canvasWidth != 0
                       ? readFrame(chunk)
                       : fail(ZelFailureCode::unreadable, "decode", "WebP: a frame without a canvas");
        ++picture_.frames;
        return true;
    case chunkType("ICCP"):
        if (!picture_.profile)
            if (std::vector<std::uint8_t> bytes = dataOf(source_, chunk, mostProfileBytes, "a profile"); !bytes.empty())
                picture_.profile = CGColorSpace::fromProfile(Data(std::move(bytes)), 3, "decode");
        break;
    case chunkType("EXIF"):
        picture_.exif = readExifFacts(dataOf(source_, chunk, mostExifBytes, "EXIF"));
        break;
    default:
        break;
    }
    ++otherChunks_;
    return true;
}

std::optional<Picture> Walk::run()
{
    const int mostFrames = ZelLimits::current().frames;
    std::uint64_t at = riffHead;
    for (std::optional<Chunk> chunk = chunkAt(source_, at); chunk; chunk = chunkAt(source_, at)) {
        const bool isFirst = at == riffHead;
        if (isFirst && chunk->type == chunkType("VP8X") ? !readExtended(*chunk) : !take(*chunk))
            return std::nullopt;
        if (picture_.frames >= mostFrames || otherChunks_ >= mostOtherChunks)
            break;
        at = chunk->end();
    }
    if (!isFound_)
        return fail(at >= source_.size() ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
                    "WebP: the file ends before its pixels");
    return picture_;
}

} // namespace

std::optional<Picture> readChunks(const ByteSource& source)
{
    return Walk(source).run();
}

} // namespace zel::webp
