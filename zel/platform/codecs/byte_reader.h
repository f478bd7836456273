#pragma once
#include <zel/platform/foundation/byte_source.h>

#include <algorithm>

namespace zel {

/// Numbers as files store them, low byte first. The bytes are there.
constexpr std::uint32_t little16(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8U;
}
constexpr std::uint32_t little32(const std::uint8_t* bytes)
{
    return little16(bytes) | little16(bytes + 2) << 16U;
}
/// High byte first.
constexpr std::uint32_t big32(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U | std::uint32_t{bytes[2]} << 8U | bytes[3];
}

/// Reads forward through a part of a source, in pieces. The source outlives it.
class ByteReader {
public:
    /// From `position` to `end`, or to the end of the source where that comes first.
    explicit ByteReader(const ByteSource& source, std::uint64_t position = 0, std::uint64_t end = UINT64_MAX);
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    /// The next byte; -1 at the end.
    int next() { return at_ < held_.size() || refill() ? held_[at_++] : -1; }
    /// The next byte once more; -1 at the end.
    int peek() { return at_ < held_.size() || refill() ? held_[at_] : -1; }
    /// All of `into`, or false with fewer of them read.
    bool read(std::span<std::uint8_t> into);
    /// False where the end comes first.
    bool skip(std::uint64_t count);
    /// In the source, of the next byte.
    [[nodiscard]] std::uint64_t position() const { return piece_ + at_; }

private:
    bool refill();

    const ByteSource& source_;
    std::uint64_t piece_; ///< where `held_` begins in the source
    std::uint64_t end_;
    std::size_t at_ = 0;                 ///< in `held_`
    std::span<const std::uint8_t> held_; ///< of `buffer_`, or of a source that lies in memory
    std::vector<std::uint8_t> buffer_;
};

/// The bytes of a whole source: in place where they lie in memory, else read.
class WholeBytes {
public:
    explicit WholeBytes(const ByteSource& source);
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> buffer_;
    std::span<const std::uint8_t> bytes_;
};

} // namespace zel
