#include <zel/platform/codecs/heif_rows.h>

#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/codecs/heif_colors.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

// A coded picture is decoded as a whole; its rows are then converted in bands, on all cores. Of a grid, the tiles of
// one row are decoded side by side, each by one thread, straight into the band that they make.
namespace zel::heif {
namespace {

/// The rows and columns that coders add are at most those of a block.
constexpr int mostPadding = 128;

/// Samples of a coded picture, for as long as this lives.
class DecodedTile {
public:
    DecodedTile() = default;
    DecodedTile(const ByteSource& source, const Tile& tile, int bits, bool hasColor, int threads,
                const Deadline& deadline);
    DecodedTile(const DecodedTile&) = delete;
    DecodedTile& operator=(const DecodedTile&) = delete;
    ~DecodedTile()
    {
        if (decoded_ != nullptr)
            api_->release(decoded_);
    }
    [[nodiscard]] bool good() const { return decoded_ != nullptr && trouble_ == nullptr; }
    [[nodiscard]] const Planes& planes() const { return planes_; }
    /// Why it is not good, or what its damage is; null for neither.
    [[nodiscard]] const char* trouble() const
    {
        return good() && planes_.isDamaged ? "its data are damaged" : trouble_;
    }

private:
    const Api* api_ = nullptr;
    Decoded* decoded_ = nullptr;
    Planes planes_;
    const char* trouble_ = nullptr;
};

DecodedTile::DecodedTile(const ByteSource& source, const Tile& tile, int bits, bool hasColor, int threads,
                         const Deadline& deadline)
    : api_(module())
{
    if (api_ == nullptr || tile.isCut) {
        trouble_ = "the file ends early";
        return;
    }
    std::vector<std::uint8_t> data;
    for (const Extent& extent : tile.data) {
        const std::size_t before = data.size();
        data.resize(before + static_cast<std::size_t>(extent.length));
        if (source.read(extent.offset, std::span(data).subspan(before)) != extent.length) {
            trouble_ = "the file ends early";
            return;
        }
    }
    CodedPicture coded;
    coded.coding = tile.coding;
    coded.configuration = tile.configuration.data();
    coded.configurationSize = tile.configuration.size();
    coded.data = data.data();
    coded.size = data.size();
    coded.threads = threads;
    coded.mostPixels =
        static_cast<std::uint64_t>(tile.width + mostPadding) * static_cast<std::uint64_t>(tile.height + mostPadding);
    coded.context = const_cast<Deadline*>(&deadline);
    coded.isUnwanted = [](void* context) { return static_cast<const Deadline*>(context)->passed(); };
    decoded_ = api_->decode(coded, planes_, trouble_);
    if (decoded_ == nullptr)
        return;
    trouble_ = planes_.width < tile.width || planes_.height < tile.height ? "its coded picture is smaller than stated"
               : planes_.bits != bits || planes_.hasColor != hasColor ? "its coded picture is not of the stated kind"
                                                                      : nullptr;
}

/// A rectangle of a coded picture that has its place in a band.
struct Part {
    int x = 0, y = 0; ///< within the coded picture
    engine::Pixels to;
};

/// Every sample twice.
template <class Sample>
void doubled(const std::uint8_t* from, int count, Sample* to)
{
    for (int i = 0; i < count; ++i) {
        Sample value = 0;
        std::memcpy(&value, from + static_cast<std::size_t>(i) * sizeof value, sizeof value);
        to[2 * i] = to[2 * i + 1] = value;
    }
}

template <class Sample>
void convertPart(const Planes& planes, const SampleMeaning& meaning, const Part& part)
{
    const auto width = static_cast<std::size_t>(part.to.width);
    const auto x = static_cast<std::size_t>(part.x);
    const auto rowOf = [&](int channel, int y) {
        return planes.data[channel] + planes.stride[channel] * (channel == 0 ? y : y >> planes.chromaShiftY);
    };
    const auto samples = [](const std::uint8_t* row) { return reinterpret_cast<const Sample*>(row); };
    const int halfCount = planes.chromaShiftX == 0 ? 0 : (planes.width + 1) / 2;
    std::vector<Sample> wide[2]; // differences of one row of samples, of full width
    for (std::vector<Sample>& row : wide)
        row.resize(2 * static_cast<std::size_t>(halfCount));
    int doubledRow = -1;
    for (int row = 0; row < part.to.height; ++row) {
        const int y = part.y + row;
        auto* const to = reinterpret_cast<Sample*>(part.to.row(row));
        const Sample* const luma = samples(rowOf(0, y)) + x;
        if (!planes.hasColor || meaning.isRgb) {
            const Sample* const blue = planes.hasColor ? samples(rowOf(1, y)) + x : luma;
            const Sample* const red = planes.hasColor ? samples(rowOf(2, y)) + x : luma;
            const std::size_t most = meaning.values.size() - 1;
            for (std::size_t i = 0; i < width; ++i) {
                to[4 * i] = static_cast<Sample>(meaning.values[std::min<std::size_t>(red[i], most)]);
                to[4 * i + 1] = static_cast<Sample>(meaning.values[std::min<std::size_t>(luma[i], most)]);
                to[4 * i + 2] = static_cast<Sample>(meaning.values[std::min<std::size_t>(blue[i], most)]);
                to[4 * i + 3] = static_cast<Sample>(~Sample{0});
            }
            continue;
        }
        const Sample* differences[2] = {samples(rowOf(1, y)), samples(rowOf(2, y))};
        if (halfCount > 0) {
            const int chromaRow = y >> planes.chromaShiftY;
            for (int channel = 0; channel < 2; ++channel) {
                if (chromaRow != doubledRow)
                    doubled(rowOf(1 + channel, y), halfCount, wide[channel].data());
                differences[channel] = wide[channel].data();
            }
            doubledRow = chromaRow;
        }
        engine::fromYcc(luma, differences[0] + x, differences[1] + x, meaning.formula, to, width);
    }
}

void convert(const Planes& planes, const SampleMeaning& meaning, const Part& part)
{
    if (planes.bits == 8)
        convertPart<std::uint8_t>(planes, meaning, part);
    else
        convertPart<std::uint16_t>(planes, meaning, part);
}

/// The same by several threads.
void convertBeside(const Planes& planes, const SampleMeaning& meaning, const Part& part)
{
    std::atomic<bool> outOfMemory = false;
    engine::parallelFor(
        part.to.height, part.to.width,
        [&](int first, int last) {
            try {
                convert(planes, meaning, {part.x, part.y + first, part.to.rows(first, last - first)});
            } catch (const std::bad_alloc&) {
                outOfMemory = true;
            }
        },
        2);
    if (outOfMemory)
        throw std::bad_alloc();
}

void clear(const engine::Pixels& pixels)
{
    for (int y = 0; y < pixels.height; ++y)
        std::memset(pixels.row(y), 0, pixels.rowBytes());
}

/// What became of the tiles, told once at the end. Tiles may be counted by several threads.
class Tally {
public:
    void add(const DecodedTile& tile)
    {
        ++(tile.good() ? done_ : missing_);
        if (tile.trouble() != nullptr)
            trouble_ = tile.trouble();
    }
    /// False, noted, where nothing at all was decoded.
    [[nodiscard]] bool settle(bool isCut) const
    {
        const char* const trouble = trouble_;
        if (trouble == nullptr)
            return true;
        const ZelFailureCode code = isCut ? ZelFailureCode::truncated : ZelFailureCode::unreadable;
        if (done_ == 0)
            return fail(code, "decode", fmt::format("HEIF: its picture cannot be decoded ({})", trouble));
        warn(code, "decode",
             missing_ == 0 ? fmt::format("HEIF: {}", trouble)
                           : fmt::format("HEIF: {} of {} tiles could not be decoded ({})", missing_.load(),
                                         done_ + missing_, trouble));
        return true;
    }

private:
    std::atomic<int> done_ = 0, missing_ = 0;
    std::atomic<const char*> trouble_ = nullptr;
};

bool inTime(const Deadline& deadline)
{
    return !deadline.passed() || fail(ZelFailureCode::limit, "decode",
                                      fmt::format("HEIF: decoding takes longer than the limit of {:g} s",
                                                  static_cast<double>(deadline.allowed().count()) / 1000));
}

/// Decodes rows of tiles, and hands each tile and the rectangle of the picture that it fills to a function, from
/// several threads. A tile alone in its row uses all of them itself.
template <class Use>
void decodeTileRow(const ByteSource& source, const Mosaic& mosaic, int tileRow, const Deadline& deadline,
                   const Use& use)
{
    const auto tileAt = [&](int column) -> const Tile& {
        return *mosaic.tiles[static_cast<std::size_t>(tileRow * mosaic.columns + column)];
    };
    const auto decodeOne = [&](int column, int threads) {
        const DecodedTile tile(source, tileAt(column), mosaic.bits, mosaic.hasColor, threads, deadline);
        use(column, tile);
    };
    if (mosaic.columns == 1) {
        const bool isSmall = static_cast<long long>(mosaic.tileWidth()) * mosaic.tileHeight() < engine::parallelGrain;
        decodeOne(0, isSmall ? 1 : std::min(engine::concurrency(), 16));
        return;
    }
    std::atomic<bool> outOfMemory = false;
    engine::parallelFor(mosaic.columns, engine::parallelGrain, [&](int first, int last) {
        for (int column = first; column < last; ++column) {
            try {
                decodeOne(column, 1);
            } catch (const std::bad_alloc&) {
                outOfMemory = true;
            }
        }
    });
    if (outOfMemory)
        throw std::bad_alloc();
}

/// All samples of the transparency, of the depth of the picture's components.
engine::PixelBuffer decodeAlpha(const ByteSource& source, const Mosaic& alpha, int bitsPerComponent,
                                const Deadline& deadline, Tally& tally)
{
    const int bytes = bitsPerComponent / 8;
    engine::PixelBuffer plane(alpha.width, alpha.height, bytes);
    if (plane.empty())
        throw std::bad_alloc();
    const engine::Pixels all = plane.pixels();
    const int most = (1 << alpha.bits) - 1, full = bitsPerComponent == 8 ? 255 : 65535;
    for (int tileRow = 0; tileRow < alpha.rows && !deadline.passed(); ++tileRow) {
        decodeTileRow(source, alpha, tileRow, deadline, [&](int column, const DecodedTile& tile) {
            const int left = column * alpha.tileWidth(), top = tileRow * alpha.tileHeight();
            const engine::Pixels to = all.part(left, top, std::min(alpha.tileWidth(), alpha.width - left),
                                               std::min(alpha.tileHeight(), alpha.height - top));
            tally.add(tile);
            if (!tile.good()) {
                clear(to);
                return;
            }
            const Planes& planes = tile.planes();
            for (int y = 0; y < to.height; ++y) {
                const std::uint8_t* const from = planes.data[0] + planes.stride[0] * y;
                std::uint8_t* const row = to.row(y);
                for (int x = 0; x < to.width; ++x) {
                    std::uint16_t sample = from[x];
                    if (planes.bits > 8)
                        std::memcpy(&sample, from + std::ptrdiff_t{2} * x, 2);
                    const auto value =
                        static_cast<std::uint16_t>((std::min<int>(sample, most) * full + most / 2) / most);
                    if (bytes == 1)
                        row[x] = static_cast<std::uint8_t>(value);
                    else
                        std::memcpy(row + std::ptrdiff_t{2} * x, &value, 2);
                }
            }
        });
    }
    return plane;
}

void layAlpha(const engine::ConstPixels& alpha, const engine::Pixels& to)
{
    const int bytes = alpha.bytesPerPixel;
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* from = alpha.row(y);
        std::uint8_t* pixel = to.row(y) + 3 * bytes;
        for (int x = 0; x < to.width; ++x, from += bytes, pixel += 4 * bytes)
            std::memcpy(pixel, from, static_cast<std::size_t>(bytes));
    }
}

/// Rows of the picture on their way to the sink.
class Rows {
public:
    Rows(const Contents& contents, int first, int end, const RowSink& sink)
        : crop_(contents.crop), first_(first), end_(end), sink_(sink)
    {
    }
    engine::ConstPixels alpha; ///< of the whole picture; empty for none

    /// Hands over picture rows [top, bottom), which `fill` writes: it is given picture coordinates of the band's
    /// corner.
    template <class Fill>
    [[nodiscard]] bool hand(int top, int bottom, int bytesPerPixel, const Fill& fill)
    {
        const int height = bottom - top;
        if (buffer_.empty() || std::as_const(buffer_).pixels().height < height)
            buffer_ = engine::PixelBuffer(crop_.width, height, bytesPerPixel);
        if (buffer_.empty())
            throw std::bad_alloc();
        const engine::Pixels band = buffer_.pixels().rows(0, height);
        fill(band);
        if (!alpha.empty())
            layAlpha(alpha.part(crop_.left, top, crop_.width, height), band);
        return sink_(top - crop_.top, band) &&
               keepGoing(static_cast<double>(bottom - crop_.top - first_) / (end_ - first_), "decode");
    }

private:
    const Crop& crop_;
    int first_, end_;
    const RowSink& sink_;
    engine::PixelBuffer buffer_;
};

/// One row of tiles whose tiles lie side by side: a band.
bool handGridRow(const ByteSource& source, const Contents& contents, int tileRow, int top, int bottom,
                 int bytesPerPixel, const Deadline& deadline, Tally& tally, Rows& rows)
{
    const Mosaic& mosaic = contents.picture;
    const Crop& crop = contents.crop;
    return rows.hand(top, bottom, bytesPerPixel, [&](const engine::Pixels& band) {
        decodeTileRow(source, mosaic, tileRow, deadline, [&](int column, const DecodedTile& tile) {
            tally.add(tile);
            const int left = column * mosaic.tileWidth();
            const int from = std::max(left, crop.left),
                      to = std::min(left + mosaic.tileWidth(), crop.left + crop.width);
            if (from >= to)
                return;
            const engine::Pixels place = band.part(from - crop.left, 0, to - from, band.height);
            if (tile.good())
                convert(tile.planes(), meaningOf(tile.planes(), contents.colors),
                        {from - left, top - tileRow * mosaic.tileHeight(), place});
            else
                clear(place);
        });
    });
}

/// One tile over the whole width: bands of it, each converted by several threads.
bool handTile(const ByteSource& source, const Contents& contents, int tileRow, int top, int bottom, int bytesPerPixel,
              const Deadline& deadline, Tally& tally, Rows& rows)
{
    bool wanted = true;
    const Crop& crop = contents.crop;
    decodeTileRow(source, contents.picture, tileRow, deadline, [&](int, const DecodedTile& tile) {
        tally.add(tile);
        const SampleMeaning meaning = tile.good() ? meaningOf(tile.planes(), contents.colors) : SampleMeaning{};
        const int tileTop = tileRow * contents.picture.tileHeight();
        const auto step = static_cast<int>(
            std::max<long long>(16, engine::parallelGrain * engine::concurrency() / std::max(1, crop.width)));
        for (int at = top; at < bottom && wanted && (tile.good() || contents.picture.rows > 1); at += step) {
            wanted = rows.hand(at, std::min(bottom, at + step), bytesPerPixel, [&](const engine::Pixels& band) {
                if (!tile.good())
                    return clear(band);
                convertBeside(tile.planes(), meaning, {crop.left, at - tileTop, band});
            });
        }
    });
    return wanted;
}

} // namespace

const Api* module()
{
    return openModule<Api>("heif", "libzelimaging-heif0");
}

bool decodeRows(const ByteSource& source, const Contents& contents, const CGImage::Layout& layout, int first, int end,
                const RowSink& sink)
{
    if (module() == nullptr)
        return false;
    const Deadline deadline;
    const Mosaic& mosaic = contents.picture;
    const int bytesPerPixel = layout.bitsPerComponent == 16 ? 8 : 4;
    Tally tally;
    engine::PixelBuffer alpha;
    Rows rows(contents, first, end, sink);
    if (contents.alpha) {
        alpha = decodeAlpha(source, *contents.alpha, layout.bitsPerComponent, deadline, tally);
        rows.alpha = std::as_const(alpha).pixels();
    }
    Tally colors;
    const int last = contents.crop.top + end;
    for (int top = contents.crop.top + first; top < last;) {
        const int tileRow = top / mosaic.tileHeight();
        const int bottom = std::min(last, (tileRow + 1) * mosaic.tileHeight());
        const auto hand = mosaic.columns > 1 ? handGridRow : handTile;
        if (!inTime(deadline) || !hand(source, contents, tileRow, top, bottom, bytesPerPixel, deadline, colors, rows))
            return false;
        top = bottom;
    }
    return inTime(deadline) && colors.settle(contents.isCut) && tally.settle(contents.isCut);
}

bool firstTileDecodes(const ByteSource& source, const Contents& contents)
{
    if (module() == nullptr)
        return false;
    const Deadline deadline;
    const Mosaic& mosaic = contents.picture;
    const DecodedTile tile(source, *mosaic.tiles.front(), mosaic.bits, mosaic.hasColor, 1, deadline);
    return tile.good() || fail(contents.isCut ? ZelFailureCode::truncated : ZelFailureCode::unreadable, "decode",
                               fmt::format("HEIF: its picture cannot be decoded ({})", tile.trouble()));
}

} // namespace zel::heif
