#include <zel/platform/codecs/byte_reader.h>

#include <cstring>

namespace zel {
namespace {

constexpr std::size_t pieceBytes = std::size_t{64} << 10U;

} // namespace

ByteReader::ByteReader(const ByteSource& source, std::uint64_t position, std::uint64_t end)
    : source_(source), piece_(std::min(position, source.size())), end_(std::clamp(end, piece_, source.size()))
{
    const std::span<const std::uint8_t> whole = source.whole();
    if (!whole.empty()) {
        held_ = whole.subspan(piece_, end_ - piece_);
        return;
    }
    buffer_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(pieceBytes, end_ - piece_)));
}

bool ByteReader::refill()
{
    piece_ += held_.size();
    at_ = 0;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(buffer_.size(), end_ - piece_));
    held_ = std::span(buffer_).first(source_.read(piece_, std::span(buffer_).first(wanted)));
    return !held_.empty();
}

bool ByteReader::read(std::span<std::uint8_t> into)
{
    while (!into.empty()) {
        if (at_ == held_.size() && !refill())
            return false;
        const std::size_t count = std::min(into.size(), held_.size() - at_);
        std::memcpy(into.data(), held_.data() + at_, count);
        at_ += count;
        into = into.subspan(count);
    }
    return true;
}

bool ByteReader::skip(std::uint64_t count)
{
    const std::size_t inPiece = static_cast<std::size_t>(std::min<std::uint64_t>(count, held_.size() - at_));
    at_ += inPiece;
    count -= inPiece;
    if (count == 0)
        return true;
    if (count > end_ - position())
        return false;
    piece_ = position() + count;
    held_ = {};
    at_ = 0;
    return true;
}

WholeBytes::WholeBytes(const ByteSource& source) : bytes_(source.whole())
{
    if (!bytes_.empty() || source.size() == 0)
        return;
    buffer_.resize(source.size());
    bytes_ = std::span(buffer_).first(source.read(0, buffer_));
}

} // namespace zel
