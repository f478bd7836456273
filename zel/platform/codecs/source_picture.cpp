#include <zel/platform/codecs/source_picture.h>

#include <zel/engine/pixel_buffer.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace zel {
namespace {

constexpr std::size_t bandBytes = std::size_t{64} << 10U;

int heldTo(std::int64_t value, int low, int high)
{
    return static_cast<int>(std::clamp<std::int64_t>(value, low, high));
}

int reduced(int side, int denominator)
{
    return static_cast<int>((std::int64_t{side} + denominator - 1) / denominator);
}

} // namespace

Delivery::Delivery(std::string_view format, const CGImage::Layout& layout, const PixelProvider::Request& request,
                   const RowSink& sink)
    : format_(format),
      sink_(sink),
      width_(reduced(layout.width, request.denominator)),
      height_(reduced(layout.height, request.denominator)),
      denominator_(request.denominator),
      bytesPerPixel_(layout.bitsPerComponent == 16 ? 8 : 4),
      first_(heldTo(request.firstRow, 0, height_)),
      end_(request.rowCount < 0 ? height_ : heldTo(std::int64_t{request.firstRow} + request.rowCount, first_, height_))
{
}

bool Delivery::mayGoOn(double fraction) const
{
    if (deadline_.passed())
        return fail(ZelFailureCode::limit, "decode",
                    fmt::format("{}: decoding takes longer than the limit of {:g} s", format_,
                                static_cast<double>(deadline_.allowed().count()) / 1000));
    return keepGoing(fraction, "decode");
}

bool Delivery::deliver(int at, const engine::ConstPixels& rows) const
{
    const int from = std::max(at, first_), to = std::min(at + rows.height, end_);
    // Rows that are skipped take time as well: they count for the progress and can be cancelled.
    if (!mayGoOn(static_cast<double>(std::min(at + rows.height, end_)) / std::max(end_, 1)))
        return false;
    return from >= to || sink_(from, rows.rows(from - at, to - from));
}

bool Delivery::deliverZeros(int from, int to) const
{
    from = std::max(from, first_);
    to = std::min(to, end_);
    if (from >= to)
        return true;
    const int bandRows = heldTo(static_cast<std::int64_t>(bandBytes / rowBytes()), 1, to - from);
    engine::PixelBuffer band(width_, bandRows, bytesPerPixel_);
    if (band.empty())
        throw std::bad_alloc();
    std::memset(band.pixels().data, 0, band.sizeInBytes());
    for (int row = from; row < to; row += bandRows)
        if (!deliver(row, band.pixels().rows(0, std::min(bandRows, to - row))))
            return false;
    return true;
}

bool Delivery::settle(Ending ending, int done) const
{
    if (ending == Ending::whole || done >= end_)
        return true;
    const bool isShort = ending == Ending::truncated;
    const ZelFailureCode code = isShort ? ZelFailureCode::truncated : ZelFailureCode::unreadable;
    const std::string_view what = isShort ? "the file ends early" : "the pixels are damaged";
    if (done == 0)
        return fail(code, "decode", fmt::format("{}: {}, before the first row", format_, what));
    warn(code, "decode", fmt::format("{}: {}, {} of {} rows were read", format_, what, done, height_));
    return deliverZeros(done, end_);
}

bool Delivery::deliverRows(int from, const ReadRow& read) const
{
    const int bandRows = heldTo(static_cast<std::int64_t>(bandBytes / rowBytes()), 1, height_);
    engine::PixelBuffer band(width_, bandRows, bytesPerPixel_);
    if (band.empty())
        throw std::bad_alloc();
    for (int top = from; top < end_; top += bandRows) {
        const int wanted = std::min(bandRows, end_ - top);
        int rows = 0;
        Ending ending = Ending::whole;
        while (rows < wanted && ending == Ending::whole) {
            ending = read(top + rows, band.pixels().row(rows));
            rows += ending == Ending::whole ? 1 : 0;
        }
        if (rows > 0 && !deliver(top, band.pixels().rows(0, rows)))
            return false;
        if (ending != Ending::whole)
            return settle(ending, top + rows);
    }
    return true;
}

bool SourcePicture::decode(const Request& request, const RowSink& sink) const
{
    if (request.denominator < 1 || !canReduce(request.denominator))
        return fail(ZelFailureCode::invalidArgument, "decode",
                    fmt::format("{}: cannot be reduced by {}", format_, request.denominator));
    const SubjectScope subject(source_->subject());
    const Delivery delivery(format_, facts_.layout, request, sink);
    if (delivery.first() == delivery.end())
        return true;
    try {
        return decodeRows(delivery);
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "decode", fmt::format("{}: no memory to decode with", format_));
    }
}

bool SourcePicture::firstRowDecodes() const
{
    NotesOnTrial notes;
    if (decode({.denominator = 1, .firstRow = 0, .rowCount = 1}, [](int, const engine::ConstPixels&) { return true; }))
        return true;
    notes.keep();
    return false;
}

Ref<const PixelProvider> SourcePicture::opened(const Ref<const SourcePicture>& picture, std::string_view others)
{
    if (!picture->firstRowDecodes())
        return nullptr;
    if (const int frames = picture->facts_.frames; frames > 1)
        warn(ZelFailureCode::unsupported, "decode",
             fmt::format("{}: only the first of {} {} is used", picture->format_, frames, others));
    return picture;
}

} // namespace zel
