#include <zel/platform/codecs/png_fast.h>

#include <zel/engine/convert_packed.h>
#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/engine/png_filter.h>
#include <zel/platform/codecs/png_inflate.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

namespace zel::png {
namespace {

constexpr std::size_t bandBytes = 256 * 1024; // of filtered rows: a band and its pixels stay in the second-level cache
constexpr std::size_t ringBands = 4;

/// The filtered rows of a picture, a filter byte in front of each, as the stream gives them.
class FilteredRows {
public:
    FilteredRows(const ByteSource& source, const Header& header)
        : stream_(source, header.firstPixelChunk), rowBytes_(static_cast<std::size_t>(header.rowBytes()) + 1)
    {
    }
    [[nodiscard]] std::size_t rowBytes() const { return rowBytes_; }
    /// Reads rows; fewer than asked for only at the end, and `damage()` tells why.
    int read(std::uint8_t* to, int rows) noexcept
    {
        std::span<std::uint8_t> room(to, rowBytes_ * static_cast<std::size_t>(rows));
        const std::size_t wanted = room.size();
        unpack(room);
        return static_cast<int>((wanted - room.size()) / rowBytes_);
    }
    /// After the last row: reads up to the checksum. False: it, or one of the file's chunks, does not match.
    bool matchesChecksums() noexcept
    {
        std::array<std::uint8_t, 64> beyond{}; // a little more than the rows need does no harm
        std::span<std::uint8_t> room(beyond);
        unpack(room);
        return state_ != Inflater::State::mismatch && !stream_.damaged();
    }
    [[nodiscard]] Damage damage() const { return stream_.endedEarly() ? Damage::truncated : Damage::damaged; }

private:
    void unpack(std::span<std::uint8_t>& room) noexcept
    {
        while (!room.empty()) {
            if (state_ == Inflater::State::needsInput) {
                const auto piece = stream_.next();
                if (piece.empty())
                    return;
                inflater_.feed(piece);
            }
            state_ = inflater_.unpack(room);
            if (state_ != Inflater::State::needsInput && state_ != Inflater::State::outputFull)
                return;
        }
    }

    PixelStream stream_;
    Inflater inflater_;
    Inflater::State state_ = Inflater::State::needsInput;
    std::size_t rowBytes_;
};

struct Band {
    std::unique_ptr<std::uint8_t[]> filtered;
    int rows = 0;
};

/// Bands that one thread fills and another one empties.
class BandRing {
public:
    BandRing(FilteredRows& rows, int height, int bandRows) : rows_(rows), height_(height), bandRows_(bandRows)
    {
        for (auto& band : bands_)
            band.filtered =
                std::make_unique_for_overwrite<std::uint8_t[]>(rows.rowBytes() * static_cast<std::size_t>(bandRows));
        thread_ = std::thread([this] { fill(); });
    }
    ~BandRing()
    {
        {
            const std::scoped_lock lock(mutex_);
            isStopped_ = true;
            changed_.notify_all();
        }
        thread_.join();
    }
    BandRing(const BandRing&) = delete;
    BandRing& operator=(const BandRing&) = delete;

    /// The next band; the one before is given back. Fewer rows than are due: the stream ended.
    const Band& next()
    {
        std::unique_lock lock(mutex_);
        if (isTaken_)
            ++taken_;
        isTaken_ = true;
        changed_.notify_all();
        changed_.wait(lock, [&] { return filled_ > taken_; });
        return bands_[taken_ % ringBands];
    }

private:
    void fill() noexcept
    {
        for (int top = 0; top < height_; top += bandRows_) {
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [&] { return filled_ < taken_ + ringBands || isStopped_; });
                if (isStopped_)
                    return;
            }
            Band& band = bands_[filled_ % ringBands];
            const int due = std::min(bandRows_, height_ - top);
            band.rows = rows_.read(band.filtered.get(), due);
            const std::scoped_lock lock(mutex_);
            ++filled_;
            changed_.notify_all();
            if (band.rows < due)
                return;
        }
    }

    FilteredRows& rows_;
    int height_, bandRows_;
    std::array<Band, ringBands> bands_;
    std::size_t filled_ = 0, taken_ = 0;
    bool isTaken_ = false, isStopped_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread thread_;
};

/// Undoes the filters and widens the samples to four components.
class RowRestorer {
public:
    explicit RowRestorer(const Header& header)
        : width_(static_cast<std::size_t>(header.width)),
          rowBytes_(static_cast<std::size_t>(header.rowBytes())),
          distance_(static_cast<std::size_t>(header.filterDistance())),
          bytesPerComponent_(header.bits / 8),
          isAsDelivered_(header.type == ColorType::rgba && header.bits == 8),
          last_(rowBytes_)
    {
        if (!isAsDelivered_)
            restored_.resize(rowBytes_);
        if (header.type == ColorType::palette)
            fillPalette(header);
        else
            packed_ = packedFormatOf(header.type);
    }
    /// The next row, from its filter byte on, to pixels; null where it is not wanted. False: an unknown filter.
    bool restore(const std::uint8_t* filtered, std::uint8_t* pixels)
    {
        if (*filtered >= engine::pngFilterCount)
            return false;
        const auto filter = static_cast<engine::PngFilter>(*filtered);
        if (isAsDelivered_ && pixels) {
            engine::pngUnfilter(filter, distance_, filtered + 1, above(), pixels, rowBytes_);
            above_ = pixels;
            return true;
        }
        restored_.resize(rowBytes_);
        engine::pngUnfilter(filter, distance_, filtered + 1, above(), restored_.data(), rowBytes_);
        last_.swap(restored_);
        above_ = nullptr;
        if (pixels)
            widen(last_.data(), pixels);
        return true;
    }
    /// To be called before the pixels of the last row are given away.
    void keepLastRow()
    {
        if (above_)
            std::copy_n(above_, rowBytes_, last_.data());
        above_ = nullptr;
    }

private:
    static engine::PackedFormat packedFormatOf(ColorType type)
    {
        switch (type) {
        case ColorType::gray:
            return engine::PackedFormat::grey;
        case ColorType::grayAlpha:
            return engine::PackedFormat::greyAlpha;
        case ColorType::rgb:
            return engine::PackedFormat::rgb;
        default:
            return engine::PackedFormat::rgba;
        }
    }
    // An index beyond the palette is opaque black, as in libpng.
    void fillPalette(const Header& header)
    {
        palette_.assign(256, {0, 0, 0, 255});
        for (std::size_t i = 0; i < header.palette.size() / 3; ++i)
            std::copy_n(&header.palette[3 * i], 3, palette_[i].data());
        for (std::size_t i = 0; i < header.transparency.size(); ++i)
            palette_[i][3] = header.transparency[i];
    }
    [[nodiscard]] const std::uint8_t* above() const { return above_ ? above_ : last_.data(); }
    void widen(const std::uint8_t* samples, std::uint8_t* pixels) const
    {
        if (palette_.empty()) {
            engine::expandRow(samples, packed_, bytesPerComponent_, pixels, width_);
            return;
        }
        for (std::size_t x = 0; x < width_; ++x)
            std::memcpy(pixels + 4 * x, palette_[samples[x]].data(), 4);
    }

    std::size_t width_, rowBytes_, distance_;
    int bytesPerComponent_;
    bool isAsDelivered_; ///< the samples of the file are the pixels
    engine::PackedFormat packed_ = engine::PackedFormat::rgba;
    std::vector<std::array<std::uint8_t, 4>> palette_;
    std::vector<std::uint8_t> last_, restored_;
    const std::uint8_t* above_ = nullptr; ///< the last row where it was delivered as it is; else it is in `last_`
};

int bandRowsOf(const Header& header)
{
    const auto rowBytes = static_cast<std::int64_t>(header.rowBytes()) + 1;
    return static_cast<int>(
        std::clamp<std::int64_t>(static_cast<std::int64_t>(bandBytes) / rowBytes, 1, header.height));
}

} // namespace

bool isCommon(const Header& header)
{
    return !header.interlaced && header.bits >= 8 && (header.type == ColorType::palette || header.transparency.empty());
}

bool usesSecondThread(const Header& header)
{
    return engine::concurrency() > 1 && std::int64_t{header.width} * header.height >= engine::parallelGrain;
}

bool decodeCommon(const ByteSource& source, const Header& header, const RowDelivery& delivery)
{
    const int bandRows = bandRowsOf(header);
    FilteredRows rows(source, header);
    RowRestorer restorer(header);
    engine::PixelBuffer pixels(header.width, bandRows, delivery.bytesPerPixel());
    if (pixels.empty())
        return fail(ZelFailureCode::outOfMemory, "decode", "PNG: no memory for a band of rows");
    std::optional<BandRing> ring;
    Band own;
    if (usesSecondThread(header)) {
        try {
            ring.emplace(rows, delivery.end(), bandRows);
        } catch (const std::system_error&) { // no thread to be had: this one does it all
        }
    }
    if (!ring)
        own.filtered =
            std::make_unique_for_overwrite<std::uint8_t[]>(rows.rowBytes() * static_cast<std::size_t>(bandRows));

    for (int top = 0; top < delivery.end(); top += bandRows) {
        const int due = std::min(bandRows, delivery.end() - top);
        if (!ring)
            own.rows = rows.read(own.filtered.get(), due);
        const Band& band = ring ? ring->next() : own;
        int done = 0;
        while (done < band.rows) {
            const std::uint8_t* const filtered = band.filtered.get() + static_cast<std::size_t>(done) * rows.rowBytes();
            if (!restorer.restore(filtered, top + done >= delivery.first() ? pixels.pixels().row(done) : nullptr))
                break;
            ++done;
        }
        restorer.keepLastRow();
        if (done < due) {
            // Nothing may be asked of the rows while the other thread reads them; where some are missing, it has ended.
            const Damage damage = done < band.rows ? Damage::damaged : rows.damage();
            if (top + done == 0)
                return failDamaged(damage);
            warnDamaged(damage, top + done, header.height);
        }
        if (done > 0 && !delivery.deliver(top, pixels.pixels().rows(0, done)))
            return false;
        if (done < due)
            return delivery.deliverZeros(top + done);
    }
    ring.reset();
    if (delivery.end() == header.height && !rows.matchesChecksums())
        noteMismatch();
    return true;
}

bool firstRowDecodes(const ByteSource& source, const Header& header)
{
    FilteredRows rows(source, header);
    const auto row = std::make_unique_for_overwrite<std::uint8_t[]>(rows.rowBytes());
    if (rows.read(row.get(), 1) == 0)
        return failDamaged(rows.damage());
    return row[0] < engine::pngFilterCount || failDamaged(Damage::damaged);
}

} // namespace zel::png
