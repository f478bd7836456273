#include <zel/platform/codecs/encode.h>

#include <zel/engine/blend.h>
#include <zel/engine/parallel.h>
#include <zel/platform/codecs/jpeg_header.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fmt/format.h>
#include <mutex>
#include <new>

// A picture is coded in strips, which are joined by restart markers: on several cores where its pixels are in memory,
// else one after the other as its rows are decoded. A picture that is a JPEG as it stands is not decoded at all: its
// coefficients are brought to the new quantisers. A search for a size keeps them, or the planes, which nearly all of
// its qualities are coded from; the few from 0.97 on, with colour at full size, start from the picture again.
namespace zel {
namespace {

constexpr std::string_view operation = "jpeg";
constexpr double fullColourFrom = 0.97;
constexpr int mostSide = 65500;  // what libjpeg reads
constexpr int rowsAtOnce = 16;   // of pixels brought to another layout, so that they stay in the cache
constexpr int stripsAtOnce = 32; // between looks at the wish to stop

JpegSampling samplingOf(const CGImage& image, double quality)
{
    if (image.layout().isGray)
        return JpegSampling::grey;
    return quality >= fullColourFrom ? JpegSampling::full : JpegSampling::half;
}

// Gives rows as opaque RGBX of 8 bits, laid over white.
class OpaqueRows {
public:
    explicit OpaqueRows(const CGImage::Layout& layout)
        : layout_(pixelLayout(layout)),
          hasAlpha_(hasAlpha(layout.alphaInfo)),
          isReady_(!hasAlpha_ && !layout_.alphaFirst && layout_.bytesPerComponent == 1)
    {
    }

    /// Calls `take` for the rows in parts that hold until it returns. False where memory is short.
    template <class Take>
    bool forParts(const engine::ConstPixels& rows, Take take)
    {
        if (isReady_) {
            take(rows);
            return true;
        }
        for (int first = 0; first < rows.height; first += rowsAtOnce) {
            const int count = std::min(rowsAtOnce, rows.height - first);
            if (buffer_.empty())
                buffer_ = engine::PixelBuffer(rows.width, rowsAtOnce);
            if (buffer_.empty())
                return false;
            const engine::Pixels part = buffer_.pixels().rows(0, count);
            engine::PixelLayout wanted = layout_;
            wanted.alphaFirst = false;
            wanted.bytesPerComponent = 1;
            if (!engine::convert(rows.rows(first, count), layout_, part, wanted))
                return false;
            if (hasAlpha_ && !engine::flatten(part, wanted.alpha, part))
                return false;
            take(engine::ConstPixels(part));
        }
        return true;
    }

private:
    engine::PixelLayout layout_;
    bool hasAlpha_;
    bool isReady_;
    engine::PixelBuffer buffer_;
};

// The first failure of strips that are worked on at once.
class FirstFailure {
public:
    void keep(ZelFailureCode code, const char* message)
    {
        const std::scoped_lock lock(mutex_);
        if (failed_)
            return;
        code_ = code;
        message_ = message;
        failed_ = true;
    }
    void keep(const JpegErrors& errors) { keep(errors.code, errors.message); }
    void keepOutOfMemory() { keep(ZelFailureCode::outOfMemory, "no memory for the samples of a strip"); }
    [[nodiscard]] bool happened() const { return failed_; }
    Absent note() const { return fail(code_, operation, message_); }

private:
    std::mutex mutex_;
    std::atomic<bool> failed_ = false;
    ZelFailureCode code_ = ZelFailureCode::none;
    std::string message_;
};

// Where strips go: kept as bytes, or counted.
class StripTarget {
public:
    /// `coefficients`: what it is coded from, if any, where it is coded at that sampling.
    StripTarget(const CGImage& image, double quality, const JpegCoefficients* coefficients)
        : width_(image.width()),
          height_(image.height()),
          sampling_(samplingOf(image, quality)),
          quantizers_(jpegQuantizers(quality)),
          cut_(cutIntoStrips(width_, height_))
    {
        if (coefficients != nullptr && sampling_ != JpegSampling::full) {
            requantizer_.emplace(*coefficients, quantizers_);
            tables_ = tablesFor(*coefficients, *requantizer_);
        }
        const Ref<const CGColorSpace>& space = image.layout().colorSpace;
        if (space && space->channels() == componentsOf(sampling_))
            profile_ = space->profile();
        const JpegStripCoder coder = makeCoder();
        if (coder.isReady())
            header_ = makeJpegHeader(width_, height_, sampling_, quantizers_, coder,
                                     restartInterval(cut_, width_, sampling_), profile_.span());
        else
            failure_.keep(coder.errors());
    }

    void keepBytes() { strips_.resize(static_cast<std::size_t>(cut_.strips)); }
    void countUpTo(std::uint64_t limit)
    {
        limit_ = limit;
        total_ = header_.size();
    }

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] const JpegCut& cut() const { return cut_; }
    [[nodiscard]] JpegSampling sampling() const { return sampling_; }
    [[nodiscard]] int rowsOf(int strip) const { return std::min(cut_.rowsPerStrip, height_ - cut_.firstRow(strip)); }
    [[nodiscard]] JpegStripCoder makeCoder() const
    {
        return {width_, sampling_, quantizers_, tables_ ? &*tables_ : nullptr};
    }
    /// True where more strips would change nothing.
    [[nodiscard]] bool isSettled() const { return failure_.happened() || (limit_ != 0 && total_ > limit_); }

    /// Null where it is coded from samples.
    [[nodiscard]] const JpegRequantizer* coefficients() const { return requantizer_ ? &*requantizer_ : nullptr; }

    void code(JpegStripCoder& coder, JpegStripSource from, int firstRow, int strip)
    {
        const bool done = strips_.empty()
                              ? coder.count(from, firstRow, rowsOf(strip), total_, limit_)
                              : coder.encode(from, firstRow, rowsOf(strip), strips_[static_cast<std::size_t>(strip)]);
        if (!done)
            failure_.keep(coder.errors());
    }
    FirstFailure& failure() { return failure_; }

    [[nodiscard]] std::uint64_t counted() const { return total_; }
    [[nodiscard]] Data joined()
    {
        std::size_t size = header_.size();
        for (const auto& strip : strips_)
            size += strip.size();
        std::vector<std::uint8_t> file = std::move(header_);
        file.reserve(size);
        for (std::size_t strip = 0; strip < strips_.size(); ++strip) {
            if (strip > 0) // the end of the strip before becomes a restart
                file.back() = static_cast<std::uint8_t>(JPEG_RST0 + static_cast<int>((strip - 1) % 8));
            file.insert(file.end(), strips_[strip].begin(), strips_[strip].end());
        }
        return Data(std::move(file));
    }

private:
    int width_, height_;
    JpegSampling sampling_;
    JpegQuantizers quantizers_;
    std::optional<JpegRequantizer> requantizer_;
    std::optional<JpegHuffmanTables> tables_;
    JpegCut cut_;
    Data profile_;
    std::vector<std::uint8_t> header_;
    std::vector<std::vector<std::uint8_t>> strips_;
    std::atomic<std::uint64_t> total_ = 0;
    std::uint64_t limit_ = 0;
    FirstFailure failure_;
};

// Rows can flow from the decoder, or all of them must be there first.
bool rowsFlow(const CGImage& image)
{
    if (image.isDecoded())
        return false;
    const Orientation orientation = image.facts()->orientation;
    return orientation == Orientation::up || orientation == Orientation::mirrored;
}

// Calls `body(first, last)` for ranges of strips that together are all, some of them at once.
bool overStrips(const JpegCut& cut, int width, FirstFailure& failure,
                const std::function<void(int first, int last)>& body)
{
    for (int first = 0; first < cut.strips; first += stripsAtOnce) {
        if (!keepGoing(static_cast<double>(first) / cut.strips, operation))
            return false;
        const int count = std::min(stripsAtOnce, cut.strips - first);
        engine::parallelFor(count, static_cast<long long>(width) * cut.rowsPerStrip,
                            [&](int from, int to) { body(first + from, first + to); });
        if (failure.happened())
            return failure.note();
    }
    return true;
}

// Fills planes that have the strip's rows, or of the whole picture's planes those of the strip.
bool fillStrip(const engine::ConstPixels& rows, OpaqueRows& opaque, const JpegPlanes& planes, int firstRow)
{
    JpegPlaneWriter writer(planes, firstRow);
    return opaque.forParts(rows, [&](const engine::ConstPixels& part) { writer.put(part); });
}

// From what is there for the whole picture.
bool codeWhole(JpegStripSource from, StripTarget& target)
{
    return overStrips(target.cut(), target.width(), target.failure(), [&](int first, int last) {
        JpegStripCoder coder = target.makeCoder();
        for (int strip = first; strip < last && !target.isSettled(); ++strip)
            target.code(coder, from, target.cut().firstRow(strip), strip);
    });
}

bool codePixels(const CGImage& image, const engine::ConstPixels& pixels, StripTarget& target)
{
    return overStrips(target.cut(), pixels.width, target.failure(), [&](int first, int last) {
        JpegStripCoder coder = target.makeCoder();
        OpaqueRows opaque(image.layout());
        JpegPlanes planes;
        for (int strip = first; strip < last && !target.isSettled(); ++strip) {
            const int rows = target.rowsOf(strip);
            if (planes.height() != rows)
                planes = JpegPlanes(pixels.width, rows, target.sampling());
            if (planes.empty() || !fillStrip(pixels.rows(target.cut().firstRow(strip), rows), opaque, planes, 0))
                return target.failure().keepOutOfMemory();
            target.code(coder, {.planes = &planes}, 0, strip);
        }
    });
}

bool codeFlowingRows(const CGImage& image, StripTarget& target)
{
    JpegStripCoder coder = target.makeCoder();
    OpaqueRows opaque(image.layout());
    JpegPlanes planes;
    std::optional<JpegPlaneWriter> writer;
    int strip = 0;
    int filled = 0;
    const bool read = readRows(image, [&](int, const engine::ConstPixels& rows) {
        for (int done = 0; done < rows.height && !target.isSettled();) {
            const int wanted = target.rowsOf(strip);
            if (filled == 0) {
                if (planes.height() != wanted)
                    planes = JpegPlanes(image.width(), wanted, target.sampling());
                if (planes.empty())
                    target.failure().keepOutOfMemory();
                else
                    writer.emplace(planes, 0);
                if (planes.empty())
                    break;
            }
            const int count = std::min(wanted - filled, rows.height - done);
            if (!opaque.forParts(rows.rows(done, count), [&](const engine::ConstPixels& part) { writer->put(part); }))
                target.failure().keepOutOfMemory();
            done += count;
            filled += count;
            if (filled == wanted) {
                target.code(coder, {.planes = &planes}, 0, strip);
                ++strip;
                filled = 0;
            }
        }
        return !target.isSettled();
    });
    if (target.failure().happened())
        return target.failure().note();
    return read || target.isSettled();
}

bool codePicture(const CGImage& image, StripTarget& target)
{
    if (target.coefficients() != nullptr)
        return codeWhole({.coefficients = target.coefficients()}, target);
    if (rowsFlow(image))
        return codeFlowingRows(image, target);
    const engine::ConstPixels pixels = pixelsOf(image);
    return !pixels.empty() && codePixels(image, pixels, target);
}

// False, and noted: the format cannot hold the picture. What it holds less of is a warning.
bool isEncodable(const Ref<const CGImage>& image)
{
    if (!image)
        return failAbsentInput(operation);
    if (image->width() > mostSide || image->height() > mostSide)
        return fail(
            ZelFailureCode::unsupported, operation,
            fmt::format("{} x {} pixels: a JPEG has at most {} a side", image->width(), image->height(), mostSide));
    if (image->layout().bitsPerComponent == 16)
        warn(ZelFailureCode::unsupported, operation, "16 bits a component are reduced to 8");
    return true;
}

Absent failWithoutMemory()
{
    return fail(ZelFailureCode::outOfMemory, operation, "no memory for the encoded picture");
}

template <class Result, class Work>
std::optional<Result> withMemory(Work work)
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return failWithoutMemory();
    }
}

} // namespace

struct JpegEncoder::State {
    Ref<const CGImage> image;
    // One of these, grey or with colour at half size.
    std::unique_ptr<JpegCoefficients> coefficients;
    JpegPlanes planes;

    bool code(StripTarget& target) const
    {
        return coefficients || target.sampling() == JpegSampling::full ? codePicture(*image, target)
                                                                       : codeWhole({.planes = &planes}, target);
    }
    bool makePlanes();
};

bool JpegEncoder::State::makePlanes()
{
    planes = JpegPlanes(image->width(), image->height(), samplingOf(*image, 0));
    if (planes.empty())
        return fail(ZelFailureCode::outOfMemory, operation, "no memory for the samples");
    if (rowsFlow(*image)) {
        OpaqueRows opaque(image->layout());
        JpegPlaneWriter writer(planes, 0);
        return readRows(*image, [&](int, const engine::ConstPixels& rows) {
            return opaque.forParts(rows, [&](const engine::ConstPixels& part) { writer.put(part); });
        });
    }
    const engine::ConstPixels pixels = pixelsOf(*image);
    if (pixels.empty())
        return false;
    FirstFailure failure;
    const JpegCut cut = cutIntoStrips(pixels.width, pixels.height);
    return overStrips(cut, pixels.width, failure, [&](int first, int last) {
        OpaqueRows opaque(image->layout());
        const int firstRow = cut.firstRow(first);
        const int rows = std::min(cut.firstRow(last), pixels.height) - firstRow;
        if (!fillStrip(pixels.rows(firstRow, rows), opaque, planes, firstRow))
            failure.keepOutOfMemory();
    });
}

Ref<JpegEncoder> JpegEncoder::make(const Ref<const CGImage>& image)
{
    if (!isEncodable(image))
        return nullptr;
    constexpr int keptBytesPerPixel = 3; // of coefficients; of samples half as many
    const CGSize size{static_cast<CGFloat>(image->width()), static_cast<CGFloat>(image->height())};
    if (!withinOperationLimits(size, keptBytesPerPixel, operation))
        return nullptr;
    try {
        const auto state = std::make_shared<State>();
        state->image = image;
        state->coefficients = coefficientsOf(*image, samplingOf(*image, 0));
        if (!state->coefficients && !state->makePlanes())
            return nullptr;
        const Ref<JpegEncoder> encoder(new JpegEncoder);
        encoder->state_ = state;
        return encoder;
    } catch (const std::bad_alloc&) {
        return failWithoutMemory();
    }
}

std::optional<Data> JpegEncoder::encode(double quality) const
{
    return withMemory<Data>([&]() -> std::optional<Data> {
        StripTarget target(*state_->image, quality, state_->coefficients.get());
        target.keepBytes();
        return state_->code(target) ? std::optional(target.joined()) : std::nullopt;
    });
}

std::optional<std::uint64_t> JpegEncoder::countBytes(double quality, std::uint64_t limit) const
{
    return withMemory<std::uint64_t>([&]() -> std::optional<std::uint64_t> {
        StripTarget target(*state_->image, quality, state_->coefficients.get());
        target.countUpTo(limit);
        return state_->code(target) ? std::optional(target.counted()) : std::nullopt;
    });
}

std::optional<Data> encodeJpeg(const Ref<const CGImage>& image, double quality)
{
    if (!isEncodable(image))
        return std::nullopt;
    return withMemory<Data>([&]() -> std::optional<Data> {
        const JpegSampling sampling = samplingOf(*image, quality);
        const auto coefficients = sampling == JpegSampling::full ? nullptr : coefficientsOf(*image, sampling);
        StripTarget target(*image, quality, coefficients.get());
        target.keepBytes();
        return codePicture(*image, target) ? std::optional(target.joined()) : std::nullopt;
    });
}

} // namespace zel
