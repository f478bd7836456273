#include <zel/platform/codecs/png_deflate.h>

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <zlib.h>

#include <new>

namespace zel::png {
namespace {

constexpr int photographLevel = 3; // of ISA-L: on photographs both smaller and faster than its level 1
constexpr int estimateLevel = 1;   // on what repeats it is the faster one
constexpr int thoroughLevel = 6;   // of libdeflate: as small as zlib's 6 in a third of its time
constexpr std::size_t levelBytes = ISAL_DEF_LVL3_DEFAULT;
constexpr std::size_t unpackedBytes = 64 * 1024;

/// Stored blocks of at most 64 KiB are the worst case; some room for headers and the empty block at the end.
std::size_t worstCase(std::size_t content)
{
    return content + content / 1024 + 1024;
}

/// Where a deflate stream that stands alone must be changed to go on: the bit of its last block's header, its end.
struct Ending {
    std::uint64_t lastBlock = 0; ///< in bits
    std::uint64_t end = 0;
};

/// Walks the blocks of a stream. zlib stops between them and tells how many bits of the last byte are not used yet
/// (`data_type`); libdeflate says nothing of its blocks.
std::optional<Ending> findEnding(std::span<const std::uint8_t> stream, std::uint8_t* unpacked)
{
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK)
        return std::nullopt;
    Ending ending;
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    int result = Z_OK;
    while (result == Z_OK) {
        z.next_out = unpacked;
        z.avail_out = static_cast<uInt>(unpackedBytes);
        result = ::inflate(&z, Z_BLOCK);
        const std::uint64_t position = std::uint64_t{z.total_in} * 8 - static_cast<unsigned>(z.data_type & 7);
        const bool isBetweenBlocks = (z.data_type & 128) != 0, wasLastBlock = (z.data_type & 64) != 0;
        if (isBetweenBlocks)
            (wasLastBlock ? ending.end : ending.lastBlock) = position;
    }
    inflateEnd(&z);
    return result == Z_STREAM_END ? std::optional(ending) : std::nullopt;
}

/// Takes the mark of the end from the last block and adds an empty stored one, which ends on a whole byte. `stream` has
/// 6 bytes of room. Gives the new length.
std::size_t continueStream(std::uint8_t* stream, const Ending& ending)
{
    stream[ending.lastBlock / 8] =
        static_cast<std::uint8_t>(stream[ending.lastBlock / 8] & ~(1U << ending.lastBlock % 8));
    // Three bits of zeros for the header, then to the next byte. What pads the last byte is zeros already.
    std::size_t end = static_cast<std::size_t>((ending.end + 7) / 8);
    if ((ending.end + 3 + 7) / 8 > end)
        stream[end++] = 0;
    for (const int byte : {0x00, 0x00, 0xFF, 0xFF})
        stream[end++] = static_cast<std::uint8_t>(byte);
    return end;
}

} // namespace

Deflater::Deflater() = default;

Deflater::~Deflater()
{
    libdeflate_free_compressor(thorough_);
}

std::size_t Deflater::runFast(std::span<const std::uint8_t> content, bool last, int level)
{
    if (!stream_) {
        stream_ = std::make_unique<isal_zstream>(); // cleared: what follows leaves `hist_bits`, its window, as it is
        levelMemory_ = std::make_unique_for_overwrite<std::uint8_t[]>(levelBytes);
    }
    if (outBytes_ < worstCase(content.size())) {
        outBytes_ = worstCase(content.size());
        out_ = std::make_unique_for_overwrite<std::uint8_t[]>(outBytes_);
    }
    isal_deflate_stateless_init(stream_.get());
    stream_->level = static_cast<std::uint32_t>(level);
    stream_->level_buf = levelMemory_.get();
    stream_->level_buf_size = static_cast<std::uint32_t>(levelBytes);
    stream_->flush = FULL_FLUSH;
    stream_->end_of_stream = last ? 1 : 0;
    stream_->next_in = const_cast<std::uint8_t*>(content.data()); // the library does not write through it
    stream_->avail_in = static_cast<std::uint32_t>(content.size());
    stream_->next_out = out_.get();
    stream_->avail_out = static_cast<std::uint32_t>(outBytes_);
    return isal_deflate_stateless(stream_.get()) == COMP_OK ? stream_->total_out : 0;
}

std::span<const std::uint8_t> Deflater::fast(std::span<const std::uint8_t> content, bool last)
{
    const std::size_t bytes = runFast(content, last, photographLevel);
    return {out_.get(), bytes};
}

std::size_t Deflater::estimate(std::span<const std::uint8_t> content)
{
    return runFast(content, true, estimateLevel);
}

std::span<const std::uint8_t> Deflater::thorough(std::span<const std::uint8_t> content, bool last)
{
    if (!thorough_ && !(thorough_ = libdeflate_alloc_compressor(thoroughLevel)))
        throw std::bad_alloc();
    if (const std::size_t bound = libdeflate_deflate_compress_bound(thorough_, content.size()) + 8; outBytes_ < bound) {
        out_ = std::make_unique_for_overwrite<std::uint8_t[]>(bound);
        outBytes_ = bound;
    }
    const std::size_t bytes =
        libdeflate_deflate_compress(thorough_, content.data(), content.size(), out_.get(), outBytes_ - 8);
    if (last)
        return {out_.get(), bytes};
    if (!unpacked_)
        unpacked_ = std::make_unique_for_overwrite<std::uint8_t[]>(unpackedBytes);
    const auto ending = findEnding({out_.get(), bytes}, unpacked_.get());
    if (!ending)
        throw std::bad_alloc(); // a stream that was just made is sound: only memory can have been short
    return {out_.get(), continueStream(out_.get(), *ending)};
}

std::optional<std::vector<std::uint8_t>> zlibStream(std::span<const std::uint8_t> content, int level)
{
    const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
        libdeflate_alloc_compressor(level), libdeflate_free_compressor);
    if (!compressor)
        return std::nullopt;
    std::vector<std::uint8_t> stream(libdeflate_zlib_compress_bound(compressor.get(), content.size()));
    stream.resize(
        libdeflate_zlib_compress(compressor.get(), content.data(), content.size(), stream.data(), stream.size()));
    return stream;
}

std::uint32_t adler32Of(std::span<const std::uint8_t> content)
{
    return libdeflate_adler32(1, content.data(), content.size());
}

// The low half is 1 + the sum of all bytes, the high half the sum of all low halves on the way (RFC 1950), both modulo
// 65521: the second content starts from the first's low half instead of 1, and that difference enters the high half
// once a byte.
std::uint32_t combineAdler32(std::uint32_t first, std::uint32_t second, std::uint64_t secondLength)
{
    constexpr std::uint64_t base = 65521;
    const std::uint64_t difference = ((first & 0xFFFF) + base - 1) % base;
    const std::uint64_t low = ((second & 0xFFFF) + difference) % base;
    const std::uint64_t high = ((first >> 16) + (second >> 16) + secondLength % base * difference) % base;
    return static_cast<std::uint32_t>(high << 16 | low);
}

} // namespace zel::png
