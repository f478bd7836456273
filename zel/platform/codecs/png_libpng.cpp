#include <zel/platform/codecs/png_libpng.h>

#include <zel/engine/pixel_buffer.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>
#include <png.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

// libpng gets a file that we compose: signature, header, palette and transparency as our own reader has checked them,
// then the compressed pixels in chunks of our own. So nothing else reaches it, whatever the file holds, and the rows
// before an early end are not lost in its input buffer.
//
// It reports errors by longjmp. All calls that may jump are made inside `attempt`, whose frames own nothing.
namespace zel::png {
namespace {

constexpr png_alloc_size_t chunkMemory = 8'000'000;
constexpr png_uint_32 chunkCount = 1000;
constexpr int bandBytes = 64 * 1024;

std::vector<std::uint8_t> composePrefix(const Header& header)
{
    std::vector<std::uint8_t> file(signature.begin(), signature.end());
    ChunkWriter chunks(file);
    std::array<std::uint8_t, 13> imageHeader{};
    writeBig32(imageHeader.data(), static_cast<std::uint32_t>(header.width));
    writeBig32(imageHeader.data() + 4, static_cast<std::uint32_t>(header.height));
    imageHeader[8] = static_cast<std::uint8_t>(header.bits);
    imageHeader[9] = static_cast<std::uint8_t>(header.type);
    imageHeader[12] = header.interlaced ? 1 : 0;
    chunks.write(chunkType("IHDR"), imageHeader);
    if (!header.palette.empty())
        chunks.write(chunkType("PLTE"), header.palette);
    if (!header.transparency.empty())
        chunks.write(chunkType("tRNS"), header.transparency);
    return file;
}

/// One run of libpng over the file.
class Session {
public:
    Session(const ByteSource& source, const Header& header)
        : header_(header), stream_(source, header.firstPixelChunk), composed_(composePrefix(header))
    {
    }
    ~Session() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Reads up to the pixels; they then come as `facts().layout` says. False: `damage()` tells why.
    bool start(bool byPasses);
    /// Passes over the rows: 7 where start was told so and the picture is interlaced, else 1.
    [[nodiscard]] int passes() const { return passes_; }
    /// The next row; both null to pass over it. A `block` is filled with the pixels of the passes so far, enlarged.
    bool readRow(std::uint8_t* row, std::uint8_t* block);
    [[nodiscard]] Damage damage() const { return stream_.endedEarly() ? Damage::truncated : Damage::damaged; }
    /// Notes what was found on the way to the last row that was read.
    void noteWarnings() const;

private:
    // NOLINTNEXTLINE(cert-err52-cpp): libpng has no other way to report errors
    template <class Body>
    bool attempt(const Body& body)
    {
        if (setjmp(png_jmpbuf(png_)))
            return false;
        body();
        return true;
    }
    void configure(bool byPasses);
    static void onError(png_structp png, png_const_charp message) noexcept;
    static void onWarning(png_structp png, png_const_charp message) noexcept;
    static void onRead(png_structp png, png_bytep into, std::size_t count);
    bool composeMore() noexcept;

    const Header& header_;
    PixelStream stream_;
    std::vector<std::uint8_t> composed_; ///< of the composed file, what is being read
    std::size_t position_ = 0;           ///< in `composed_`
    std::array<char, 128> warning_{};    ///< the first one
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    int passes_ = 1;
};

void Session::onError(png_structp png, png_const_charp /*message*/) noexcept
{
    png_longjmp(png, 1);
}

void Session::onWarning(png_structp png, png_const_charp message) noexcept
{
    auto& warning = static_cast<Session*>(png_get_error_ptr(png))->warning_;
    if (warning[0] == 0)
        std::strncpy(warning.data(), message, warning.size() - 1);
}

void Session::onRead(png_structp png, png_bytep into, std::size_t count)
{
    auto& self = *static_cast<Session*>(png_get_io_ptr(png));
    while (count > 0) {
        if (self.position_ == self.composed_.size() && !self.composeMore())
            png_error(png, "no more pixels");
        const std::size_t held = std::min(count, self.composed_.size() - self.position_);
        std::memcpy(into, self.composed_.data() + self.position_, held);
        self.position_ += held;
        into += held;
        count -= held;
    }
}

bool Session::composeMore() noexcept
{
    try {
        const auto piece = stream_.next();
        composed_.clear();
        position_ = 0;
        if (!piece.empty())
            ChunkWriter(composed_).write(chunkType("IDAT"), piece);
        return !piece.empty();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Session::start(bool byPasses)
{
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    return info_ && attempt([&] { configure(byPasses); });
}

void Session::configure(bool byPasses)
{
    png_set_read_fn(png_, this, onRead);
    png_set_user_limits(png_, static_cast<png_uint_32>(header_.width), static_cast<png_uint_32>(header_.height));
    png_set_chunk_malloc_max(png_, chunkMemory);
    png_set_chunk_cache_max(png_, chunkCount);
    png_read_info(png_, info_);
    png_set_expand(png_);
    png_set_gray_to_rgb(png_);
    // libpng leaves a tRNS out that it finds wrong: it alone knows whether expanding brings alpha.
    if ((png_get_color_type(png_, info_) & PNG_COLOR_MASK_ALPHA) == 0 && png_get_valid(png_, info_, PNG_INFO_tRNS) == 0)
        png_set_add_alpha(png_, 0xFFFF, PNG_FILLER_AFTER);
    if (std::endian::native == std::endian::little)
        png_set_swap(png_);
    if (byPasses)
        passes_ = png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    if (png_get_rowbytes(png_, info_) != static_cast<std::size_t>(header_.width) * (header_.bits == 16 ? 8 : 4))
        png_error(png_, "rows of an unexpected size");
}

bool Session::readRow(std::uint8_t* row, std::uint8_t* block)
{
    return attempt([&] { png_read_row(png_, row, block); });
}

void Session::noteWarnings() const
{
    if (stream_.damaged())
        noteMismatch();
    if (warning_[0] != 0)
        warn(ZelFailureCode::unreadable, "decode", fmt::format("PNG: {}", warning_.data()));
}

std::size_t deliveredRowBytes(const Header& header, const RowDelivery& delivery)
{
    return static_cast<std::size_t>(header.width) * static_cast<std::size_t>(delivery.bytesPerPixel());
}

bool decodeByRows(Session& session, const Header& header, const RowDelivery& delivery)
{
    const auto rowBytes = static_cast<std::int64_t>(deliveredRowBytes(header, delivery));
    const int bandRows = static_cast<int>(std::clamp<std::int64_t>(bandBytes / rowBytes, 1, header.height));
    engine::PixelBuffer band(header.width, bandRows, delivery.bytesPerPixel());
    if (band.empty())
        return fail(ZelFailureCode::outOfMemory, "decode", "PNG: no memory for a band of rows");
    for (int top = 0; top < delivery.end(); top += bandRows) {
        const int wanted = std::min(bandRows, delivery.end() - top);
        int rows = 0;
        while (rows < wanted && session.readRow(band.pixels().row(rows), nullptr))
            ++rows;
        if (top + rows == 0)
            return failDamaged(session.damage());
        if (rows < wanted)
            warnDamaged(session.damage(), top + rows, header.height);
        if (rows > 0 && !delivery.deliver(top, band.pixels().rows(0, rows)))
            return false;
        if (rows < wanted)
            return delivery.deliverZeros(top + rows);
    }
    return true;
}

// Rows of later passes refine those of earlier ones; where the file ends early, what is there is shown in blocks, as a
// viewer shows a picture that is still loading.
bool decodeInterlaced(Session& session, const Header& header, const RowDelivery& delivery)
{
    engine::PixelBuffer picture(header.width, header.height, delivery.bytesPerPixel());
    if (picture.empty())
        return fail(ZelFailureCode::outOfMemory, "decode",
                    fmt::format("PNG: no memory for {} x {} pixels", header.width, header.height));
    std::memset(picture.pixels().data, 0, picture.sizeInBytes());
    const Deadline deadline;
    std::int64_t rows = 0;
    const std::int64_t allRows = std::int64_t{session.passes()} * header.height;
    bool complete = true;
    while (complete && rows < allRows) {
        const int y = static_cast<int>(rows % header.height);
        if (y % 64 == 0) {
            if (deadline.passed())
                return fail(ZelFailureCode::limit, "decode",
                            fmt::format("PNG: decoding takes longer than {} ms", deadline.allowed().count()));
            if (!keepGoing(static_cast<double>(rows) / static_cast<double>(allRows), "decode"))
                return false;
        }
        complete = session.readRow(nullptr, picture.pixels().row(y));
        rows += complete ? 1 : 0;
    }
    if (rows == 0)
        return failDamaged(session.damage());
    if (!complete)
        warnDamaged(session.damage(), static_cast<int>(rows / header.height), session.passes(), "passes");
    return delivery.deliver(0, picture.pixels());
}

} // namespace

bool decodeWithLibpng(const ByteSource& source, const Header& header, const RowDelivery& delivery)
{
    Session session(source, header);
    if (!session.start(header.interlaced))
        return failDamaged(session.damage());
    const bool delivered =
        header.interlaced ? decodeInterlaced(session, header, delivery) : decodeByRows(session, header, delivery);
    if (delivered)
        session.noteWarnings();
    return delivered;
}

bool firstRowDecodesWithLibpng(const ByteSource& source, const Header& header)
{
    Session session(source, header);
    const std::size_t bytesPerPixel = header.bits == 16 ? 8 : 4;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(header.width) * bytesPerPixel);
    return (session.start(false) && session.readRow(row.data(), nullptr)) || failDamaged(session.damage());
}

} // namespace zel::png
