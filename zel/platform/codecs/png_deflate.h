#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

struct isal_zstream;
struct libdeflate_compressor;

namespace zel::png {

/// Compresses parts of one deflate stream, each with nothing to look back at, so that parts made by several threads
/// join into one. A part ends on a whole byte; the last one ends the stream. Keeps its memory from call to call.
class Deflater {
public:
    Deflater();
    ~Deflater();
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// For photographs: several hundred MB a second. The result holds until the next call.
    std::span<const std::uint8_t> fast(std::span<const std::uint8_t> content, bool last);
    /// For what repeats: smaller by a fifth to a half there, at a quarter of the speed.
    std::span<const std::uint8_t> thorough(std::span<const std::uint8_t> content, bool last);
    /// About how large `fast` and `thorough` come out, quickly; good for comparisons alone.
    std::size_t estimate(std::span<const std::uint8_t> content);

private:
    std::size_t runFast(std::span<const std::uint8_t> content, bool last, int level);

    std::unique_ptr<isal_zstream> stream_;
    std::unique_ptr<std::uint8_t[]> levelMemory_;
    libdeflate_compressor* thorough_ = nullptr;
    std::unique_ptr<std::uint8_t[]> out_;
    std::size_t outBytes_ = 0;
    std::unique_ptr<std::uint8_t[]> unpacked_; ///< where zlib leaves what nobody reads
};

/// A whole zlib stream, as small as can be; levels as libdeflate's, 1 to 12. Absent when memory is short.
std::optional<std::vector<std::uint8_t>> zlibStream(std::span<const std::uint8_t> content, int level);

std::uint32_t adler32Of(std::span<const std::uint8_t> content);
/// The checksum of two contents one behind the other, from theirs and the length of the second.
std::uint32_t combineAdler32(std::uint32_t first, std::uint32_t second, std::uint64_t secondLength);

} // namespace zel::png
