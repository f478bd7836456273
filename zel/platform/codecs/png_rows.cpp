#include <zel/platform/codecs/png_rows.h>

#include <zel/engine/pixel_buffer.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace zel::png {
namespace {

constexpr std::size_t zeroBandBytes = 64 * 1024;

int heldTo(std::int64_t value, int low, int high)
{
    return static_cast<int>(std::clamp<std::int64_t>(value, low, high));
}

ZelFailureCode codeOf(Damage damage)
{
    return damage == Damage::truncated ? ZelFailureCode::truncated : ZelFailureCode::unreadable;
}

std::string_view wordsFor(Damage damage)
{
    return damage == Damage::truncated ? "the file ends early" : "the pixels are damaged";
}

} // namespace

RowDelivery::RowDelivery(const Header& header, const PixelProvider::Request& request, const RowSink& sink)
    : header_(header),
      sink_(sink),
      first_(heldTo(request.firstRow, 0, header.height)),
      end_(request.rowCount < 0 ? header.height
                                : heldTo(std::int64_t{request.firstRow} + request.rowCount, first_, header.height))
{
}

bool RowDelivery::deliver(int at, const engine::ConstPixels& rows) const
{
    if (deadline_.passed())
        return fail(ZelFailureCode::limit, "decode",
                    fmt::format("PNG: decoding takes longer than {} ms", deadline_.allowed().count()));
    const int from = std::max(at, first_), to = std::min(at + rows.height, end_);
    // Rows that are skipped take time as well: they count for the progress and can be cancelled.
    if (!keepGoing(static_cast<double>(std::min(at + rows.height, end_)) / std::max(end_, 1), "decode"))
        return false;
    return from >= to || sink_(from, rows.rows(from - at, to - from));
}

bool RowDelivery::deliverZeros(int at) const
{
    const int from = std::max(at, first_);
    if (from >= end_)
        return true;
    const std::size_t rowBytes = static_cast<std::size_t>(header_.width) * static_cast<std::size_t>(bytesPerPixel());
    const int bandRows = heldTo(static_cast<std::int64_t>(zeroBandBytes / rowBytes), 1, end_ - from);
    engine::PixelBuffer band(header_.width, bandRows, bytesPerPixel());
    if (band.empty())
        return fail(ZelFailureCode::outOfMemory, "decode", "PNG: no memory for a band of rows");
    std::memset(band.pixels().data, 0, band.sizeInBytes());
    for (int row = from; row < end_; row += bandRows)
        if (!deliver(row, band.pixels().rows(0, std::min(bandRows, end_ - row))))
            return false;
    return true;
}

bool failDamaged(Damage damage)
{
    return fail(codeOf(damage), "decode", fmt::format("PNG: {}, before the first row", wordsFor(damage)));
}

void warnDamaged(Damage damage, int done, int all, std::string_view unit)
{
    warn(codeOf(damage), "decode", fmt::format("PNG: {}, {} of {} {} were read", wordsFor(damage), done, all, unit));
}

void noteMismatch()
{
    warn(ZelFailureCode::unreadable, "decode", "PNG: the pixels do not match their checksum");
}

} // namespace zel::png
