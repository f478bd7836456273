#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/graphics/pixel_provider.h>

// What decoders of most formats share: the way of rows to the sink, and what is said of data that end early.
namespace zel {

/// How reading a row, or all of the rows, ended.
enum class Ending { whole, truncated, damaged };

/// Hands decoded rows to a sink: the rows of the request alone, with progress, cancelling and the deadline on the way.
class Delivery {
public:
    /// `format` begins the sentences of notes: "BMP".
    Delivery(std::string_view format, const CGImage::Layout& layout, const PixelProvider::Request& request,
             const RowSink& sink);

    /// Sides of the picture, reduced as the request says.
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] int denominator() const { return denominator_; }
    [[nodiscard]] int bytesPerPixel() const { return bytesPerPixel_; }
    [[nodiscard]] std::size_t rowBytes() const
    {
        return static_cast<std::size_t>(width_) * static_cast<std::size_t>(bytesPerPixel_);
    }
    /// Rows [first(), end()) are wanted; the two are equal where none are.
    [[nodiscard]] int first() const { return first_; }
    [[nodiscard]] int end() const { return end_; }

    /// Rows that begin at row `at` of the picture. False: stop, because the sink said so or for a reason that is noted.
    [[nodiscard]] bool deliver(int at, const engine::ConstPixels& rows) const;
    /// Zeros for rows [from, to), as far as they are wanted.
    [[nodiscard]] bool deliverZeros(int from, int to) const;
    /// To be asked while no rows come. False, noted: time is up, or the work was cancelled.
    [[nodiscard]] bool mayGoOn(double fraction) const;

    /// Reads a row of pixels; what it writes is of no use where it does not give `whole`.
    using ReadRow = std::function<Ending(int y, std::uint8_t* row)>;
    /// Reads rows from `from` on and delivers them in bands; those before first() are read for the sake of the others.
    /// Where a row does not come, the rest is zeros with a warning, or nothing where it is the very first one.
    [[nodiscard]] bool deliverRows(int from, const ReadRow& read) const;
    /// Zeros for the rows from `done` on, noting why. False, noted, where `done` is 0.
    [[nodiscard]] bool settle(Ending ending, int done) const;

private:
    std::string_view format_;
    const RowSink& sink_;
    int width_, height_, denominator_, bytesPerPixel_;
    int first_, end_;
    Deadline deadline_;
};

/// A picture that is decoded from the bytes of a source.
class SourcePicture : public PixelProvider {
public:
    /// `format` as in Delivery; it outlives the picture.
    SourcePicture(std::string_view format, Ref<const ByteSource> source, PictureFacts facts)
        : format_(format), source_(std::move(source)), facts_(std::move(facts))
    {
    }
    [[nodiscard]] const PictureFacts& facts() const final { return facts_; }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const final;

    /// True when the first row can be had, or else the reason is noted. Warnings wait for the decoding itself.
    [[nodiscard]] bool firstRowDecodes() const;
    /// The last step of opening: the picture where its first row can be had, warning of what else the file holds
    /// ("only the first of 3 frames is used"); null with the reason noted.
    static Ref<const PixelProvider> opened(const Ref<const SourcePicture>& picture, std::string_view others = "frames");

protected:
    /// Hands over the rows that are wanted, at least one. May throw std::bad_alloc.
    [[nodiscard]] virtual bool decodeRows(const Delivery& delivery) const = 0;
    [[nodiscard]] const ByteSource& source() const { return *source_; }

private:
    std::string_view format_;
    Ref<const ByteSource> source_;
    PictureFacts facts_;
};

} // namespace zel
