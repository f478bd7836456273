#pragma once
#include <zel/engine/convert.h>
#include <zel/engine/convert_packed.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/engine/png_filter.h>
#include <zel/platform/codecs/png_deflate.h>
#include <zel/platform/graphics/cg_image.h>

#include <memory>

// A picture is encoded in strips of rows, on as many threads as there are. Where it is cut depends on its size alone,
// and a strip knows nothing of the one before but its last row: so the bytes are the same for any number of threads.
namespace zel::png {

/// What becomes of pixels of a layout.
struct SampleFormat {
    int width = 0, height = 0;
    engine::PixelLayout from;
    engine::PackedFormat packed = engine::PackedFormat::rgba;

    static SampleFormat of(const CGImage::Layout& layout);
    [[nodiscard]] std::size_t distance() const
    {
        return static_cast<std::size_t>(componentsOf(packed) * from.bytesPerComponent);
    }
    [[nodiscard]] std::size_t rowBytes() const { return static_cast<std::size_t>(width) * distance(); }
    [[nodiscard]] int stripRows() const;
    [[nodiscard]] int strips() const { return (height + stripRows() - 1) / stripRows(); }
};

/// Brings rows into the form of the file, one at a time.
class RowPacker {
public:
    explicit RowPacker(const SampleFormat& format);
    /// The samples of a row of pixels; they hold until the next but one call.
    const std::uint8_t* pack(const std::uint8_t* pixels);

private:
    const SampleFormat& format_;
    bool isAsStored_;      ///< the pixels are the samples
    bool needsConversion_; ///< to straight alpha behind the colours
    std::vector<std::uint8_t> converted_;
    std::array<std::vector<std::uint8_t>, 2> packed_;
    std::size_t turn_ = 0;
};

/// Rows to encode, in the picture's layout.
struct Strip {
    engine::ConstPixels rows;
    engine::ConstPixels above; ///< the row before; empty for the first strip
    bool isLast = false;
    engine::PixelBuffer memory = {}; ///< of the rows, where they are nobody else's
};

struct EncodedStrip {
    std::vector<std::uint8_t> stream; ///< of deflate, ends on a whole byte
    std::uint32_t adler = 1;          ///< of what was compressed
    std::uint64_t length = 0;         ///< of what was compressed
};

/// Filters and compresses strips, one after the other.
class StripCoder {
public:
    explicit StripCoder(const SampleFormat& format);
    EncodedStrip encode(const Strip& strip);

private:
    void filterAdaptively(const Strip& strip);
    void copyUnfiltered(const Strip& strip);

    const SampleFormat& format_;
    RowPacker packer_;
    std::vector<std::uint8_t> zeros_;
    std::unique_ptr<std::uint8_t[]> filtered_, plain_;
    std::size_t bytes_ = 0;      ///< of the filtered strip
    std::uint64_t repeated_ = 0; ///< bytes of it that a neighbour equals
    Deflater deflater_;
};

/// Encodes strips on threads of its own and gives them back in order.
class StripLine {
public:
    StripLine(const SampleFormat& format, int threads);
    ~StripLine();
    StripLine(const StripLine&) = delete;
    StripLine& operator=(const StripLine&) = delete;

    /// Takes the next strip; waits while too many are under way.
    void put(Strip strip);
    /// The next finished strip; absent when none is ready and `wait` is not set, or none is left. Throws bad_alloc
    /// where memory was short for it.
    std::optional<EncodedStrip> take(bool wait);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace zel::png
