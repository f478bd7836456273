#include <zel/platform/codecs/tiff_bands.h>

#include <zel/engine/pixel_buffer.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

// Strips are decoded by rows, each plane by a reader of its own, so that memory is a few rows whatever the strips are;
// tiles by rows of tiles; what libtiff converts, by strips or rows of tiles.
namespace zel::tiff {
namespace {

constexpr std::size_t bandBytes = std::size_t{256} << 10U;

bool sameFigures(const Header& a, const Header& b)
{
    return a.width == b.width && a.height == b.height && a.rowsPerStrip == b.rowsPerStrip &&
           a.tileWidth == b.tileWidth && a.tileHeight == b.tileHeight && a.bitsPerSample == b.bitsPerSample &&
           a.samplesPerPixel == b.samplesPerPixel && a.planarConfiguration == b.planarConfiguration &&
           a.rowBytes == b.rowBytes && a.tileBytes == b.tileBytes && a.yCbCrAsRgb == b.yCbCrAsRgb;
}

std::unique_ptr<File> openAgain(const Picture& picture)
{
    std::unique_ptr<File> file = File::open(picture.source);
    if (file && !sameFigures(file->header(), picture.header)) {
        fail(ZelFailureCode::unreadable, "decode", "TIFF: the file was changed while it was read");
        return nullptr;
    }
    return file;
}

/// False, noted, once the time is up.
bool inTime(const Deadline& deadline)
{
    return !deadline.passed() || fail(ZelFailureCode::limit, "decode",
                                      fmt::format("TIFF: decoding takes longer than the limit of {:g} s",
                                                  static_cast<double>(deadline.allowed().count()) / 1000));
}

/// The way of decoded rows to the sink, in bands of its own height.
class Bands {
public:
    Bands(const Picture& picture, int first, int end, int mostRows, const RowSink& sink)
        : bytesPerPixel_(picture.facts.layout.bitsPerComponent == 16 ? 8 : 4),
          first_(first),
          end_(end),
          at_(first),
          sink_(sink),
          buffer_(picture.facts.layout.width, std::min(mostRows, end - first), bytesPerPixel_)
    {
    }
    [[nodiscard]] bool usable() const
    {
        return !buffer_.empty() || fail(ZelFailureCode::outOfMemory, "decode", "TIFF: no memory for a band of rows");
    }
    /// Room for rows that end the band at the latest; `width` pixels each, not initialised.
    engine::Pixels room(int rows) { return buffer_.pixels().rows(filled_, rows); }

    /// So many more rows of the room hold pixels. False: stop.
    [[nodiscard]] bool add(int rows)
    {
        filled_ += rows;
        const bool full = filled_ == buffer_.pixels().height || at_ + filled_ == end_;
        return !full || flush();
    }
    [[nodiscard]] bool flush()
    {
        if (filled_ == 0)
            return true;
        const engine::ConstPixels rows = buffer_.pixels().rows(0, filled_);
        if (!sink_(at_, rows))
            return false;
        at_ += std::exchange(filled_, 0);
        return keepGoing(static_cast<double>(at_ - first_) / (end_ - first_), "decode");
    }

private:
    int bytesPerPixel_;
    int first_, end_, at_;
    int filled_ = 0;
    const RowSink& sink_;
    engine::PixelBuffer buffer_;
};

void clear(const engine::Pixels& pixels)
{
    for (int y = 0; y < pixels.height; ++y)
        std::memset(pixels.row(y), 0, pixels.rowBytes());
}

/// How much of what was wanted the file held.
struct Tally {
    int complete = 0, incomplete = 0; ///< rows
    bool anything = false;

    void add(int rows, bool whole, bool something)
    {
        (whole ? complete : incomplete) += rows;
        anything = anything || something;
    }
};

/// Notes what is missing. False where nothing could be decoded although the picture's beginning was asked for.
bool settle(const Tally& tally, int first, const File& file)
{
    const std::string detail = file.complaint().empty() ? std::string() : fmt::format(" ({})", file.complaint());
    if (tally.incomplete == 0) {
        if (!detail.empty())
            warn(ZelFailureCode::unreadable, "decode", fmt::format("TIFF: the data are damaged{}", detail));
        return true;
    }
    const bool whole = file.api().isWhole(file.reader());
    const ZelFailureCode code = whole ? ZelFailureCode::unreadable : ZelFailureCode::truncated;
    const std::string_view what = whole ? "the data are damaged" : "the file ends early";
    if (!tally.anything && first == 0)
        return fail(code, "decode", fmt::format("TIFF: {}, no row could be decoded{}", what, detail));
    warn(code, "decode",
         fmt::format("TIFF: {}, {} of {} rows are not complete{}", what, tally.incomplete,
                     tally.complete + tally.incomplete, detail));
    return true;
}

/// The rows of a plane in order. A row that does not decode takes the rest of its strip with it.
class PlaneRows {
public:
    PlaneRows(std::unique_ptr<File> file, int plane)
        : file_(std::move(file)), plane_(static_cast<std::uint16_t>(plane)), row_(file_->header().rowBytes)
    {
    }
    /// True when the row was decoded; else it is zeros.
    bool read(int row, const Deadline& deadline)
    {
        const Header& header = file_->header();
        const auto wanted = static_cast<std::uint32_t>(row);
        const std::uint32_t strip = wanted / header.rowsPerStrip;
        constexpr unsigned uncompressed = 1;
        if (header.compression == uncompressed)
            next_ = wanted;
        else if (next_ > wanted || next_ / header.rowsPerStrip != strip)
            next_ = strip * header.rowsPerStrip;
        while (brokenStrip_ != strip && next_ <= wanted) {
            if (!file_->api().readRow(file_->reader(), next_++, plane_, row_.data()))
                brokenStrip_ = strip;
            else if (next_ <= wanted && deadline.passed())
                break;
        }
        if (brokenStrip_ != strip && next_ == wanted + 1)
            return true;
        std::fill(row_.begin(), row_.end(), std::uint8_t{0});
        return false;
    }
    [[nodiscard]] const std::uint8_t* data() const { return row_.data(); }
    [[nodiscard]] const File& file() const { return *file_; }

private:
    std::unique_ptr<File> file_;
    std::uint16_t plane_;
    std::vector<std::uint8_t> row_;
    std::uint32_t next_ = 0; ///< the row that libtiff would give next
    std::optional<std::uint32_t> brokenStrip_;
};

bool decodeStrips(const Picture& picture, int first, int end, const RowSink& sink)
{
    Unpacker unpacker(picture.samples, picture.toRgb);
    std::vector<PlaneRows> planes;
    for (const int plane : picture.samples.separate ? unpacker.neededPlanes() : std::vector<int>{0}) {
        std::unique_ptr<File> file = openAgain(picture);
        if (!file)
            return false;
        planes.emplace_back(std::move(file), plane);
    }
    const int width = picture.facts.layout.width;
    const std::size_t rowBytes =
        static_cast<std::size_t>(width) * (picture.facts.layout.bitsPerComponent == 16 ? 8 : 4);
    Bands bands(picture, first, end, static_cast<int>(std::max<std::size_t>(1, bandBytes / rowBytes)), sink);
    if (!bands.usable())
        return false;
    const Deadline deadline;
    Tally tally;
    for (int row = first; row < end; ++row) {
        Unpacker::Planes places{};
        std::size_t decoded = 0;
        for (std::size_t i = 0; i < planes.size(); ++i) {
            decoded += planes[i].read(row, deadline) ? 1U : 0U;
            places[i] = planes[i].data();
        }
        if (!inTime(deadline))
            return false;
        if (decoded > 0)
            unpacker.unpack(places, width, bands.room(1).data);
        else
            clear(bands.room(1));
        tally.add(1, decoded == planes.size(), decoded > 0);
        if (!bands.add(1))
            return false;
    }
    const auto complaining =
        std::find_if(planes.begin(), planes.end(), [](const PlaneRows& p) { return !p.file().complaint().empty(); });
    return settle(tally, first, (complaining == planes.end() ? planes.front() : *complaining).file());
}

/// A tile of each plane that is needed.
class TileReader {
public:
    TileReader(const Picture& picture, const File& file, std::size_t planes)
        : picture_(picture), file_(file), tiles_(planes)
    {
        for (std::vector<std::uint8_t>& tile : tiles_)
            tile.resize(picture.header.tileBytes);
    }
    /// True when all of it was decoded; what was not is zeros.
    bool read(int x, int y, const std::vector<int>& planes)
    {
        bool whole = true;
        anything_ = false;
        for (std::size_t i = 0; i < tiles_.size(); ++i) {
            std::vector<std::uint8_t>& tile = tiles_[i];
            const auto plane = static_cast<std::uint16_t>(picture_.samples.separate ? planes[i] : 0);
            const std::size_t got =
                std::min(tile.size(), file_.api().readTile(file_.reader(), static_cast<std::uint32_t>(x),
                                                           static_cast<std::uint32_t>(y), plane, tile.data()));
            std::fill(tile.begin() + static_cast<std::ptrdiff_t>(got), tile.end(), std::uint8_t{0});
            whole = whole && got == tile.size();
            anything_ = anything_ || got > 0;
        }
        return whole;
    }
    [[nodiscard]] bool hasAnything() const { return anything_; }
    [[nodiscard]] Unpacker::Planes row(int y) const
    {
        Unpacker::Planes places{};
        for (std::size_t i = 0; i < tiles_.size(); ++i)
            places[i] = tiles_[i].data() + static_cast<std::size_t>(y) * picture_.header.rowBytes;
        return places;
    }

private:
    const Picture& picture_;
    const File& file_;
    std::vector<std::vector<std::uint8_t>> tiles_;
    bool anything_ = false;
};

bool decodeTiles(const Picture& picture, int first, int end, const RowSink& sink)
{
    const std::unique_ptr<File> file = openAgain(picture);
    if (!file)
        return false;
    const int width = picture.facts.layout.width;
    const int tileWidth =
        static_cast<int>(std::min<std::uint32_t>(picture.header.tileWidth, static_cast<std::uint32_t>(width)));
    const int tileHeight = static_cast<int>(
        std::min<std::uint32_t>(picture.header.tileHeight, static_cast<std::uint32_t>(picture.facts.layout.height)));
    Unpacker unpacker(picture.samples, picture.toRgb);
    TileReader tile(picture, *file, picture.samples.separate ? unpacker.neededPlanes().size() : 1);
    Bands bands(picture, first, end, tileHeight, sink);
    if (!bands.usable())
        return false;
    const Deadline deadline;
    Tally tally;
    for (int row = first; row < end;) {
        const int inTile = row % tileHeight;
        const int rows = std::min(tileHeight - inTile, end - row);
        const engine::Pixels room = bands.room(rows);
        bool whole = true, anything = false;
        for (int x = 0; x < width; x += tileWidth) {
            whole = tile.read(x, row, unpacker.neededPlanes()) && whole;
            anything = anything || tile.hasAnything();
            const int columns = std::min(tileWidth, width - x);
            for (int y = 0; y < rows; ++y) {
                if (tile.hasAnything())
                    unpacker.unpack(tile.row(inTile + y), columns, room.at(x, y));
                else
                    clear(room.part(x, y, columns, 1));
            }
            if (!inTime(deadline))
                return false;
        }
        tally.add(rows, whole, anything);
        if (!bands.add(rows) || !bands.flush())
            return false;
        row += rows;
    }
    return settle(tally, first, *file);
}

bool decodeByLibtiff(const Picture& picture, int first, int end, const RowSink& sink)
{
    const std::unique_ptr<File> file = openAgain(picture);
    bool hasAlpha = false;
    if (!file || !file->api().beginRgba(file->reader(), hasAlpha))
        return file && fail(ZelFailureCode::unsupported, "decode",
                            fmt::format("TIFF: its colours cannot be read ({})", file->complaint()));
    const Header& header = picture.header;
    const int height = picture.facts.layout.height;
    const int unit = static_cast<int>(
        std::min<std::uint32_t>(std::max(header.rowsPerStrip, header.tileHeight), static_cast<std::uint32_t>(height)));
    engine::PixelBuffer buffer(picture.facts.layout.width, unit, 4);
    if (buffer.empty())
        return fail(ZelFailureCode::outOfMemory, "decode", "TIFF: no memory for a strip");
    const Deadline deadline;
    Tally tally;
    for (int top = first - first % unit; top < end; top += unit) {
        const engine::Pixels pixels = buffer.pixels().rows(0, std::min(unit, height - top));
        clear(pixels);
        const int before = file->complaints();
        const bool good = file->api().readRgba(file->reader(), static_cast<std::uint32_t>(top),
                                               static_cast<std::uint32_t>(pixels.height), pixels.data);
        const int from = std::max(top, first), rows = std::min(top + pixels.height, end) - from;
        tally.add(rows, good && file->complaints() == before, good);
        if (!inTime(deadline) || !sink(from, pixels.rows(from - top, rows)) ||
            !keepGoing(static_cast<double>(from + rows - first) / (end - first), "decode"))
            return false;
    }
    return settle(tally, first, *file);
}

} // namespace

bool decodeRows(const Picture& picture, int first, int end, const RowSink& sink)
{
    if (picture.samples.colors == Colors::byLibtiff)
        return decodeByLibtiff(picture, first, end, sink);
    return picture.header.tileWidth > 0 ? decodeTiles(picture, first, end, sink)
                                        : decodeStrips(picture, first, end, sink);
}

} // namespace zel::tiff
