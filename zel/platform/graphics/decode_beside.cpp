#include <zel/engine/fill.h>
#include <zel/engine/parallel.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

// Decoding on one thread, what is done with the rows on another: a ring of a few bands between them, small enough to
// stay in the caches, so that neither waits for the other's memory.
namespace zel {
namespace {

constexpr long long overlapGrain = 512 * 1024; // pixels; smaller pictures are done before a thread has started
constexpr std::size_t slotBytes = std::size_t{384} << 10U;
constexpr std::size_t slotCount = 4;

struct Slot {
    engine::PixelBuffer buffer;
    int first = 0;
    int count = 0;
};

class BandRing {
public:
    /// Of the decoder: waits for a free slot, fills it. False once the taker gave up.
    bool put(int first, const engine::ConstPixels& rows)
    {
        // A tall band is handed over in parts that fit a slot.
        const int step = static_cast<int>(std::max<std::size_t>(1, slotBytes / rows.rowBytes()));
        for (int done = 0; done < rows.height; done += step)
            if (!putPart(first + done, rows.rows(done, std::min(step, rows.height - done))))
                return false;
        return true;
    }
    void finish(bool good)
    {
        const std::scoped_lock lock(mutex_);
        finished_ = true;
        good_ = good;
        changed_.notify_all();
    }
    /// Of the sink's side: nothing more is wanted.
    void giveUp()
    {
        const std::scoped_lock lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    /// Of the sink's side: takes bands until the decoder has finished or the sink refuses.
    bool drain(const RowSink& sink)
    {
        for (;;) {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return filled_ > 0 || finished_; });
            if (filled_ == 0)
                return good_;
            Slot& slot = slots_[taking_];
            lock.unlock();
            const bool wanted = sink(slot.first, std::as_const(slot.buffer).pixels().rows(0, slot.count));
            lock.lock();
            taking_ = (taking_ + 1) % slotCount;
            --filled_;
            stopped_ = stopped_ || !wanted;
            changed_.notify_all();
            if (!wanted)
                return false;
        }
    }

private:
    bool putPart(int first, const engine::ConstPixels& rows)
    {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return filled_ < slotCount || stopped_; });
            if (stopped_)
                return false;
        }
        Slot& slot = slots_[putting_];
        if (slot.buffer.empty() || std::as_const(slot.buffer).pixels().height < rows.height)
            slot.buffer = engine::PixelBuffer(rows.width, rows.height, rows.bytesPerPixel);
        if (slot.buffer.empty())
            return fail(ZelFailureCode::outOfMemory, "decode", "no memory for a band of rows");
        slot.first = first;
        slot.count = rows.height;
        if (!engine::copy(rows, slot.buffer.pixels().rows(0, rows.height)))
            return false;
        const std::scoped_lock lock(mutex_);
        putting_ = (putting_ + 1) % slotCount;
        ++filled_;
        changed_.notify_all();
        return true;
    }

    std::array<Slot, slotCount> slots_;
    std::size_t putting_ = 0, taking_ = 0, filled_ = 0;
    bool finished_ = false, good_ = false, stopped_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
};

} // namespace

bool decodeBeside(const PixelProvider& provider, const PixelProvider::Request& request, const RowSink& sink)
{
    const CGImage::Layout& layout = provider.facts().layout;
    const long long pixels = static_cast<long long>(layout.width) * layout.height;
    if (engine::concurrency() < 2 || provider.usesSecondThread() || pixels < overlapGrain)
        return provider.decode(request, sink);

    BandRing ring;
    const TaskContext context = TaskContext::capture();
    std::thread decoder;
    try {
        decoder = std::thread([&] {
            const TaskContext::Adopt adopt(context);
            ring.finish(provider.decode(
                request, [&](int first, const engine::ConstPixels& rows) { return ring.put(first, rows); }));
        });
    } catch (const std::system_error&) {
        return provider.decode(request, sink); // no thread to be had: one after the other
    }
    bool good = false;
    try {
        good = ring.drain(sink);
    } catch (...) { // out of the sink: the decoder must have ended before this thread leaves
        ring.giveUp();
        decoder.join();
        throw;
    }
    decoder.join();
    context.settle();
    return good;
}

} // namespace zel
