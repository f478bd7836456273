#include <zel/platform/codecs/png_strips.h>

#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <new>
#include <thread>

namespace zel::png {
namespace {

// Each strip starts without anything to look back at, which costs about 0.1 % at this size.
constexpr std::size_t stripBytes = std::size_t{1} << 20;
// Where so large a part of the bytes repeats a neighbour, a picture is drawn rather than photographed.
constexpr std::uint64_t repeatedOf = 10, drawnFrom = 6;
// A strip that the fast compression brings below this part of its size is compressed again.
constexpr std::size_t compressesWell = 4;
// Small pictures are worth the better compression whatever they show.
constexpr std::size_t smallBytes = 32 * 1024;

/// The part that speaks for the whole in estimates: a quarter of a large strip.
std::span<const std::uint8_t> middleOf(std::span<const std::uint8_t> content)
{
    return content.size() < 4 * smallBytes ? content : content.subspan(content.size() * 3 / 8, content.size() / 4);
}

} // namespace

SampleFormat SampleFormat::of(const CGImage::Layout& layout)
{
    SampleFormat format;
    format.width = layout.width;
    format.height = layout.height;
    format.from = pixelLayout(layout);
    // A profile of other channels than the samples would make the file invalid.
    const bool isGray = layout.isGray && (!layout.colorSpace || layout.colorSpace->channels() == 1);
    using engine::PackedFormat;
    if (hasAlpha(layout.alphaInfo))
        format.packed = isGray ? PackedFormat::greyAlpha : PackedFormat::rgba;
    else
        format.packed = isGray ? PackedFormat::grey : PackedFormat::rgb;
    return format;
}

int SampleFormat::stripRows() const
{
    const auto rows = static_cast<std::int64_t>(height);
    const auto bytes = static_cast<std::int64_t>(rowBytes()) * rows;
    const std::int64_t count = std::clamp<std::int64_t>(bytes / static_cast<std::int64_t>(stripBytes), 1, rows);
    return static_cast<int>((rows + count - 1) / count);
}

RowPacker::RowPacker(const SampleFormat& format)
    : format_(format),
      isAsStored_(format.packed == engine::PackedFormat::rgba && format.from.bytesPerComponent == 1),
      needsConversion_(format.from.alphaFirst || format.from.alpha == engine::PixelLayout::Alpha::premultiplied)
{
    const std::size_t pixelBytes =
        static_cast<std::size_t>(format.width) * 4 * static_cast<std::size_t>(format.from.bytesPerComponent);
    if (needsConversion_)
        converted_.resize(pixelBytes);
    if (!isAsStored_ || needsConversion_)
        for (auto& row : packed_)
            row.resize(format.rowBytes());
}

const std::uint8_t* RowPacker::pack(const std::uint8_t* pixels)
{
    if (isAsStored_ && !needsConversion_)
        return pixels;
    std::uint8_t* const to = packed_[turn_].data();
    turn_ = 1 - turn_;
    if (needsConversion_) {
        engine::PixelLayout straight = format_.from;
        straight.alphaFirst = false;
        if (straight.alpha == engine::PixelLayout::Alpha::premultiplied)
            straight.alpha = engine::PixelLayout::Alpha::straight;
        const int bytesPerPixel = 4 * format_.from.bytesPerComponent;
        std::uint8_t* const converted = isAsStored_ ? to : converted_.data();
        const engine::ConstPixels from = {pixels, 0, format_.width, 1, bytesPerPixel};
        const engine::Pixels into = {converted, 0, format_.width, 1, bytesPerPixel};
        [[maybe_unused]] const bool good = engine::convert(from, format_.from, into, straight);
        if (isAsStored_)
            return to;
        pixels = converted;
    }
    engine::packRow(pixels, to, format_.packed, format_.from.bytesPerComponent,
                    static_cast<std::size_t>(format_.width));
    return to;
}

StripCoder::StripCoder(const SampleFormat& format)
    : format_(format),
      packer_(format),
      zeros_(format.rowBytes()),
      filtered_(std::make_unique_for_overwrite<std::uint8_t[]>((format.rowBytes() + 1) *
                                                               static_cast<std::size_t>(format.stripRows())))
{
}

void StripCoder::filterAdaptively(const Strip& strip)
{
    const std::size_t rowBytes = format_.rowBytes(), distance = format_.distance();
    const std::uint8_t* above = strip.above.empty() ? zeros_.data() : packer_.pack(strip.above.row(0));
    std::uint8_t* to = filtered_.get();
    repeated_ = 0;
    for (int y = 0; y < strip.rows.height; ++y, to += rowBytes + 1) {
        const std::uint8_t* const row = packer_.pack(strip.rows.row(y));
        const auto measure = engine::pngMeasure(distance, row, above, rowBytes);
        const engine::PngFilter filter = measure.best();
        to[0] = static_cast<std::uint8_t>(filter);
        engine::pngFilter(filter, distance, row, above, to + 1, rowBytes);
        repeated_ += measure.repeated;
        above = row;
    }
    bytes_ = static_cast<std::size_t>(to - filtered_.get());
}

void StripCoder::copyUnfiltered(const Strip& strip)
{
    const std::size_t rowBytes = format_.rowBytes();
    if (!plain_)
        plain_ = std::make_unique_for_overwrite<std::uint8_t[]>((rowBytes + 1) *
                                                                static_cast<std::size_t>(format_.stripRows()));
    std::uint8_t* to = plain_.get();
    for (int y = 0; y < strip.rows.height; ++y, to += rowBytes + 1) {
        to[0] = static_cast<std::uint8_t>(engine::PngFilter::none);
        std::memcpy(to + 1, packer_.pack(strip.rows.row(y)), rowBytes);
    }
}

// Photographs: the filter of least differences a row, then the fastest compression. Drawings, where most bytes repeat:
// a compression that looks further, and perhaps no filter at all, since differences hide what repeats (text above all).
// What turns out to compress well (smooth shades that a machine made) is worth looking further, too.
EncodedStrip StripCoder::encode(const Strip& strip)
{
    filterAdaptively(strip);
    std::span<const std::uint8_t> content(filtered_.get(), bytes_);
    const bool isDrawn = repeated_ * repeatedOf >= bytes_ * drawnFrom;
    if (isDrawn) {
        copyUnfiltered(strip);
        const std::span<const std::uint8_t> plain(plain_.get(), bytes_);
        if (deflater_.estimate(middleOf(plain)) < deflater_.estimate(middleOf(content)))
            content = plain;
    }
    std::span<const std::uint8_t> stream;
    if (!isDrawn && bytes_ > smallBytes)
        stream = deflater_.fast(content, strip.isLast);
    if (stream.size() * compressesWell < bytes_)
        stream = deflater_.thorough(content, strip.isLast);
    return {{stream.begin(), stream.end()}, adler32Of(content), content.size()};
}

struct StripLine::State {
    explicit State(const SampleFormat& sampleFormat) : format(sampleFormat) {}

    struct Place {
        Strip strip;
        std::optional<EncodedStrip> result;
        bool outOfMemory = false;
        bool isDone = false;
    };

    const SampleFormat& format;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::unique_ptr<Place>> places; ///< put and not yet taken, in order
    std::size_t begun = 0;                     ///< of `places`, those that a thread has begun
    std::size_t most = 1;
    bool isClosing = false;
    std::unique_ptr<StripCoder> ownCoder; ///< where there are no threads
    std::vector<std::thread> threads;

    static void encode(std::unique_ptr<StripCoder>& coder, const SampleFormat& format, Place& place) noexcept
    {
        try {
            if (!coder)
                coder = std::make_unique<StripCoder>(format);
            place.result = coder->encode(place.strip);
        } catch (const std::bad_alloc&) {
            place.outOfMemory = true;
        }
        place.strip = {};
    }
    void work()
    {
        std::unique_ptr<StripCoder> coder;
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return begun < places.size() || isClosing; });
            if (isClosing)
                return;
            Place& place = *places[begun++];
            lock.unlock();
            encode(coder, format, place);
            lock.lock();
            place.isDone = true;
            changed.notify_all();
        }
    }
};

StripLine::StripLine(const SampleFormat& format, int threads) : state_(std::make_unique<State>(format))
{
    const int count = std::min(threads, format.strips());
    if (count < 2)
        return;
    state_->most = static_cast<std::size_t>(count) * 2;
    state_->threads.reserve(static_cast<std::size_t>(count));
    try {
        for (int i = 0; i < count; ++i)
            state_->threads.emplace_back([state = state_.get()] { state->work(); });
    } catch (const std::exception&) { // no more threads to be had: those that there are do it, or the caller's
    }
}

StripLine::~StripLine()
{
    {
        const std::scoped_lock lock(state_->mutex);
        state_->isClosing = true;
        state_->changed.notify_all();
    }
    for (auto& thread : state_->threads)
        thread.join();
}

void StripLine::put(Strip strip)
{
    auto place = std::make_unique<State::Place>();
    place->strip = std::move(strip);
    if (state_->threads.empty()) {
        State::encode(state_->ownCoder, state_->format, *place);
        place->isDone = true;
        state_->places.push_back(std::move(place));
        return;
    }
    std::unique_lock lock(state_->mutex);
    const auto isUnderWay = [](const auto& each) { return !each->isDone; };
    state_->changed.wait(lock, [&] {
        return std::count_if(state_->places.begin(), state_->places.end(), isUnderWay) <
               static_cast<std::ptrdiff_t>(state_->most);
    });
    state_->places.push_back(std::move(place));
    state_->changed.notify_all();
}

std::optional<EncodedStrip> StripLine::take(bool wait)
{
    std::unique_lock lock(state_->mutex);
    if (state_->places.empty())
        return std::nullopt;
    if (wait)
        state_->changed.wait(lock, [&] { return state_->places.front()->isDone; });
    if (!state_->places.front()->isDone)
        return std::nullopt;
    const auto place = std::move(state_->places.front());
    state_->places.pop_front();
    if (!state_->threads.empty())
        --state_->begun;
    if (place->outOfMemory)
        throw std::bad_alloc();
    return std::move(place->result);
}

} // namespace zel::png
