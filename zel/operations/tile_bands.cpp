#include <zel/operations/tile_plan.h>

#include <zel/engine/fill.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_part.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

// The calling thread decodes; rows go into the bands of the rows of tiles that they belong to, in neighbouring rows
// that overlap into both. A band that is full is cut into views, which other threads take. Its memory is used again
// once the last view is gone.
namespace zel {
namespace {

/// Gives bands of one size, and takes them back.
class BandPool : public std::enable_shared_from_this<BandPool> {
public:
    BandPool(int width, int height, int bytesPerPixel) : width_(width), height_(height), bytesPerPixel_(bytesPerPixel)
    {
    }

    struct Lease {
        Ref<BandPool> pool;
        engine::PixelBuffer buffer;
        ~Lease()
        {
            if (pool)
                pool->takeBack(std::move(buffer));
        }
    };
    /// Null where memory ran out (noted).
    Ref<Lease> lend()
    {
        const auto lease = std::make_shared<Lease>();
        {
            const std::scoped_lock lock(mutex_);
            if (!free_.empty()) {
                lease->buffer = std::move(free_.back());
                free_.pop_back();
            }
        }
        if (lease->buffer.empty())
            lease->buffer = engine::PixelBuffer(width_, height_, bytesPerPixel_);
        if (lease->buffer.empty())
            return fail(ZelFailureCode::outOfMemory, "split", "no memory for a row of tiles");
        lease->pool = shared_from_this();
        return lease;
    }

private:
    void takeBack(engine::PixelBuffer buffer)
    {
        const std::scoped_lock lock(mutex_);
        if (free_.size() < mostKept)
            free_.push_back(std::move(buffer));
    }

    static constexpr std::size_t mostKept = 4;
    int width_, height_, bytesPerPixel_;
    std::mutex mutex_;
    std::vector<engine::PixelBuffer> free_;
};

/// Hands tiles to the sink on threads of its own; on the caller's where there are none.
class TileHands {
public:
    TileHands(const TileSink& sink, int threads, std::size_t mostWaiting)
        : sink_(sink), mostWaiting_(mostWaiting), context_(TaskContext::capture())
    {
        for (int i = 0; threads > 1 && i < threads; ++i)
            try {
                threads_.emplace_back([this] { work(); });
            } catch (const std::system_error&) {
                break; // those that could be started must do
            }
    }
    ~TileHands() { (void)finish(); }
    TileHands(const TileHands&) = delete;
    TileHands& operator=(const TileHands&) = delete;

    /// Waits while too many tiles wait already. False once a sink has refused.
    bool put(TilePlace place, const Ref<const CGImage>& tile)
    {
        if (threads_.empty()) {
            stopped_ = stopped_ || !hand(place, tile);
            return !stopped_;
        }
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return waiting_.size() < mostWaiting_ || stopped_; });
        if (stopped_)
            return false;
        waiting_.push_back({place, tile});
        changed_.notify_all();
        return true;
    }
    /// Ends the threads once nothing waits any more. False where a sink has refused.
    bool finish()
    {
        {
            const std::scoped_lock lock(mutex_);
            finished_ = true;
            changed_.notify_all();
        }
        for (std::thread& thread : threads_)
            thread.join();
        if (!threads_.empty())
            context_.settle();
        threads_.clear();
        return !stopped_;
    }

private:
    struct Waiting {
        TilePlace place;
        Ref<const CGImage> tile;
    };

    bool hand(TilePlace place, const Ref<const CGImage>& tile)
    {
        try {
            return sink_(place, makeZelImage(tile));
        } catch (const std::bad_alloc&) {
            return fail(ZelFailureCode::outOfMemory, "split", "no memory for a tile");
        }
    }

    void work()
    {
        const TaskContext::Adopt adopt(context_);
        std::unique_lock lock(mutex_);
        while (true) {
            changed_.wait(lock, [&] { return !waiting_.empty() || finished_ || stopped_; });
            if (stopped_ || waiting_.empty())
                return;
            const Waiting next = std::move(waiting_.front());
            waiting_.pop_front();
            changed_.notify_all();
            lock.unlock();
            const bool wanted = hand(next.place, next.tile);
            lock.lock();
            stopped_ = stopped_ || !wanted;
            if (stopped_)
                changed_.notify_all();
        }
    }

    const TileSink& sink_;
    std::size_t mostWaiting_;
    TaskContext context_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Waiting> waiting_;
    bool finished_ = false, stopped_ = false;
    std::vector<std::thread> threads_;
};

/// The areas of a row of tiles; columns and rows beyond the picture's pixels have none.
std::vector<std::optional<PixelArea>> areasOf(const TilePlan& plan, std::size_t row, const CGImage& image)
{
    std::vector<std::optional<PixelArea>> areas;
    areas.reserve(plan.lefts.size());
    for (const CGFloat left : plan.lefts)
        areas.push_back(pixelArea({{left, plan.tops[row]}, plan.tile}, image.width(), image.height()));
    return areas;
}

/// A row of tiles that is being filled.
struct Band {
    std::size_t row;
    int top, height;
    Ref<BandPool::Lease> lease;
    [[nodiscard]] int end() const { return top + height; }
};

/// Cuts rows of pixels into bands as they come, and full bands into tiles.
class BandCutter {
public:
    BandCutter(const CGImage& image, const TilePlan& plan, int bandHeight, TileHands& hands)
        : image_(image),
          plan_(plan),
          hands_(hands),
          pool_(std::make_shared<BandPool>(image.width(), bandHeight, bytesPerPixel(image.layout())))
    {
    }

    bool take(int first, const engine::ConstPixels& rows)
    {
        const int end = first + rows.height;
        if (!openBands(end))
            return false;
        for (Band& band : open_) {
            const int from = std::max(first, band.top), to = std::min(end, band.end());
            if (from < to && !engine::copy(rows.rows(from - first, to - from),
                                           band.lease->buffer.pixels().rows(from - band.top, to - from)))
                return false;
        }
        while (!open_.empty() && open_.front().end() <= end) {
            if (!cut(open_.front()))
                return false;
            open_.pop_front();
        }
        return true;
    }

private:
    bool openBands(int end)
    {
        for (; next_ < plan_.tops.size(); ++next_) {
            const auto area =
                pixelArea({{0, plan_.tops[next_]}, {static_cast<CGFloat>(image_.width()), plan_.tile.height}},
                          image_.width(), image_.height());
            if (!area || area->top >= end)
                return true;
            const auto lease = pool_->lend();
            if (!lease)
                return false;
            open_.push_back({next_, area->top, area->height, lease});
        }
        return true;
    }

    bool cut(const Band& band)
    {
        const engine::ConstPixels pixels = std::as_const(band.lease->buffer).pixels();
        const auto areas = areasOf(plan_, band.row, image_);
        for (std::size_t column = 0; column < areas.size(); ++column) {
            if (!areas[column])
                continue;
            CGImage::Layout layout = image_.layout();
            layout.width = areas[column]->width;
            layout.height = band.height;
            const auto tile =
                makeImage(layout, pixels.part(areas[column]->left, 0, layout.width, layout.height), band.lease);
            if (!hands_.put({band.row, column}, tile))
                return false;
        }
        return true;
    }

    const CGImage& image_;
    const TilePlan& plan_;
    TileHands& hands_;
    Ref<BandPool> pool_;
    std::deque<Band> open_;
    std::size_t next_ = 0;
};

/// True where bands of rows, two or three of them open at once, take less memory than the picture and its rows come in
/// upright order.
bool flows(const CGImage& image, const TilePlan& plan)
{
    if (image.isDecoded() || image.facts()->orientation != Orientation::up || plan.tops.size() < 2)
        return false;
    return plan.tops[1] - plan.tops[0] >= plan.tile.height / 2;
}

} // namespace

bool handOutTiles(const Ref<ZelImage>& image, const TilePlan& plan, int together, const TileSink& sink)
{
    if (!image || !image->cgImage)
        return failAbsentInput("split");
    const CGImage& pixels = *image->cgImage;
    TileHands hands(sink, together, 2 * plan.lefts.size());
    if (flows(pixels, plan)) {
        const int height = static_cast<int>(std::min<CGFloat>(std::ceil(plan.tile.height) + 1, pixels.height()));
        BandCutter cutter(pixels, plan, height, hands);
        const bool read = pixels.provider()->decode(
            {}, [&](int first, const engine::ConstPixels& rows) { return cutter.take(first, rows); });
        return hands.finish() && read;
    }
    if (pixelsOf(pixels).empty())
        return false;
    for (std::size_t row = 0; row < plan.tops.size(); ++row) {
        const auto areas = areasOf(plan, row, pixels);
        for (std::size_t column = 0; column < areas.size(); ++column)
            if (areas[column] && !hands.put({row, column}, partOf(image->cgImage, *areas[column])))
                return false;
    }
    return hands.finish();
}

} // namespace zel
