#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/gif_blocks.h>
#include <zel/platform/codecs/source_picture.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>
#include <gif_lib.h>

#include <cstring>
#include <new>

// GIF: the first frame on its canvas, whose background is clear. giflib gets a file that we compose: a screen and a
// picture without colours, then the compressed pixels, whose order of rows is ours to know.
namespace zel {
namespace {

constexpr std::string_view name = "GIF";

/// The rows of the first frame in the order of the file, palette indices.
class Lines {
public:
    Lines(const ByteSource& source, const gif::Picture& picture);
    ~Lines()
    {
        if (file_ != nullptr)
            DGifCloseFile(file_, nullptr);
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;
    /// The next one, of as many bytes as the frame is wide.
    Ending read(std::uint8_t* line);

private:
    static int onRead(GifFileType* file, GifByteType* into, int count) noexcept;

    gif::SubBlocks blocks_;
    std::array<std::uint8_t, 23> head_{}; ///< of the composed file, up to the compressed pixels
    std::size_t at_ = 0;                  ///< in `head_`
    int width_;
    GifFileType* file_ = nullptr; ///< null where giflib refused it
};

Lines::Lines(const ByteSource& source, const gif::Picture& picture)
    : blocks_(source, picture.pixels), width_(picture.width)
{
    const auto low = [](int value) { return static_cast<std::uint8_t>(value & 0xFF); };
    const auto high = [](int value) { return static_cast<std::uint8_t>(value >> 8); };
    const int width = picture.width, height = picture.height;
    const std::array<std::uint8_t, 4> size = {low(width), high(width), low(height), high(height)};
    std::memcpy(head_.data(), "GIF89a", 6);
    std::copy(size.begin(), size.end(), head_.begin() + 6);
    head_[13] = ',';
    std::copy(size.begin(), size.end(), head_.begin() + 18);
    file_ = DGifOpen(this, onRead, nullptr);
    if (file_ == nullptr)
        return;
    GifRecordType type = UNDEFINED_RECORD_TYPE;
    if (DGifGetRecordType(file_, &type) != GIF_OK || DGifGetImageDesc(file_) != GIF_OK) {
        DGifCloseFile(file_, nullptr);
        file_ = nullptr;
    }
}

int Lines::onRead(GifFileType* file, GifByteType* into, int count) noexcept
{
    Lines& self = *static_cast<Lines*>(file->UserData);
    std::span<std::uint8_t> wanted(into, static_cast<std::size_t>(std::max(count, 0)));
    const std::size_t fromHead = std::min(wanted.size(), self.head_.size() - self.at_);
    std::copy_n(self.head_.begin() + static_cast<std::ptrdiff_t>(self.at_), fromHead, wanted.begin());
    self.at_ += fromHead;
    self.blocks_.read(wanted.subspan(fromHead));
    return count;
}

Ending Lines::read(std::uint8_t* line)
{
    if (file_ != nullptr && DGifGetLine(file_, line, width_) == GIF_OK)
        return Ending::whole;
    return blocks_.endedEarly() ? Ending::truncated : Ending::damaged;
}

/// Passes over an interlaced frame: where they begin, how far their rows lie apart, and the rows that each stands for
/// until the later ones come.
struct Pass {
    int first, step, height;
};
constexpr std::array<Pass, 4> passes = {{{0, 8, 8}, {4, 8, 4}, {2, 4, 2}, {1, 2, 1}}};

class GifPicture final : public SourcePicture {
public:
    GifPicture(Ref<const ByteSource> source, PictureFacts facts, const gif::Picture& picture)
        : SourcePicture(name, std::move(source), std::move(facts)), picture_(picture)
    {
    }

private:
    [[nodiscard]] bool decodeRows(const Delivery& delivery) const override;
    [[nodiscard]] bool decodeInterlaced(const Delivery& delivery) const;
    void compose(int y, const std::uint8_t* line, std::uint8_t* row) const;

    gif::Picture picture_;
};

bool isWithin(int y, const gif::Picture& picture)
{
    return y >= picture.top && y < picture.top + picture.height;
}

/// A row of the canvas; `line` counts where the frame covers it.
void GifPicture::compose(int y, const std::uint8_t* line, std::uint8_t* row) const
{
    if (picture_.width < picture_.canvasWidth || !isWithin(y, picture_))
        std::memset(row, 0, static_cast<std::size_t>(picture_.canvasWidth) * 4);
    if (!isWithin(y, picture_))
        return;
    const std::array<std::uint8_t, 4>* const colors = picture_.colors.data();
    std::uint8_t* to = row + std::ptrdiff_t{4} * picture_.left;
    for (int x = 0; x < picture_.width; ++x, to += 4)
        std::memcpy(to, colors + line[x], 4);
}

bool GifPicture::decodeRows(const Delivery& delivery) const
{
    if (picture_.interlaced)
        return decodeInterlaced(delivery);
    Lines lines(source(), picture_);
    std::vector<std::uint8_t> line(static_cast<std::size_t>(picture_.width));
    // Read ahead: without a first line there is no picture, even where clear rows stand above it.
    Ending ending = lines.read(line.data());
    if (ending != Ending::whole)
        return delivery.settle(ending, 0);
    return delivery.deliverRows(0, [&](int y, std::uint8_t* row) {
        if (y > picture_.top && isWithin(y, picture_))
            ending = lines.read(line.data());
        if (ending == Ending::whole)
            compose(y, line.data(), row);
        return ending;
    });
}

// Where the file ends early, what is there is shown in blocks, as a viewer shows a picture that is still loading.
bool GifPicture::decodeInterlaced(const Delivery& delivery) const
{
    Lines lines(source(), picture_);
    const auto width = static_cast<std::size_t>(picture_.width);
    std::vector<std::uint8_t> frame(width * static_cast<std::size_t>(picture_.height));
    const auto lineAt = [&](int y) { return frame.data() + width * static_cast<std::size_t>(y); };
    Ending ending = Ending::whole;
    int done = 0, known = 0; // lines that were read, lines that something is known of
    for (const Pass& pass : passes) {
        for (int y = pass.first; y < picture_.height; y += pass.step) {
            ending = lines.read(lineAt(y));
            if (ending != Ending::whole)
                break;
            const int last = std::min(y + pass.height, picture_.height);
            for (int below = y + 1; below < last; ++below)
                std::memcpy(lineAt(below), lineAt(y), width);
            known = std::max(known, last);
            if (++done % 64 == 0 && !delivery.mayGoOn(static_cast<double>(done) / picture_.height / 2))
                return false;
        }
        if (ending != Ending::whole)
            break;
    }
    if (done == 0)
        return delivery.settle(ending, 0);
    const bool isDelivered = delivery.deliverRows(delivery.first(), [&](int y, std::uint8_t* row) {
        const bool isKnown = !isWithin(y, picture_) || y - picture_.top < known;
        if (isKnown)
            compose(y, lineAt(isWithin(y, picture_) ? y - picture_.top : 0), row);
        else
            std::memset(row, 0, delivery.rowBytes());
        return Ending::whole;
    });
    if (isDelivered && ending != Ending::whole) {
        const bool isShort = ending == Ending::truncated;
        warn(isShort ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
             fmt::format("GIF: {}, {} of {} interlaced rows were read",
                         isShort ? "the file ends early" : "the pixels are damaged", done, picture_.height));
    }
    return isDelivered;
}

bool recognises(std::span<const std::uint8_t> head)
{
    constexpr std::string_view signature = "GIF8";
    return head.size() >= 6 && std::equal(signature.begin(), signature.end(), head.begin()) &&
           (head[4] == '7' || head[4] == '9') && head[5] == 'a';
}

Ref<const PixelProvider> open(const Ref<const ByteSource>& source)
try {
    const SubjectScope subject(source->subject());
    const std::optional<gif::Picture> picture = gif::readBlocks(*source);
    if (!picture)
        return nullptr;
    PictureFacts facts;
    facts.layout.width = picture->canvasWidth;
    facts.layout.height = picture->canvasHeight;
    facts.hasAlpha = !picture->isOpaque();
    facts.layout.alphaInfo = facts.hasAlpha ? CGAlphaInfo::last : CGAlphaInfo::noneSkipLast;
    facts.layout.colorSpace = picture->profile;
    facts.format = "gif";
    facts.frames = picture->frames;
    return SourcePicture::opened(std::make_shared<GifPicture>(source, facts, *picture));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "decode", "GIF: no memory to read the header with");
}

} // namespace

const Codec gifCodec = {"gif", "gif", recognises, open};

} // namespace zel
