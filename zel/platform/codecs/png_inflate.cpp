#include <zel/platform/codecs/png_inflate.h>

#include <isa-l/igzip_lib.h>

#include <algorithm>

namespace zel::png {
namespace {

constexpr std::size_t firstCapacity = 16 * 1024;

/// CM 8 (deflate), no preset dictionary, and the check bits right. The window size is not looked at: some writers state
/// one that is too small, and every decoder in use lets them.
bool isZlibHeader(std::uint8_t first, std::uint8_t second)
{
    return (first & 0x0F) == 8 && (second & 0x20) == 0 && (first * 256 + second) % 31 == 0;
}

} // namespace

// Zeroed: in a damaged stream ISA-L looks up codes that no table defines.
Inflater::Inflater() : state_(std::make_unique<inflate_state>())
{
    isal_inflate_init(state_.get());
    state_->crc_flag = ISAL_ZLIB_NO_HDR_VER;
}

Inflater::~Inflater() = default;

void Inflater::feed(std::span<const std::uint8_t> piece)
{
    for (; headerBytes_ < 2 && !piece.empty(); piece = piece.subspan(1)) {
        if (headerBytes_++ == 0)
            firstByte_ = piece[0];
        else if (!isZlibHeader(firstByte_, piece[0]))
            state_now_ = State::damaged;
    }
    // The library's field is not const, but it never writes through it.
    state_->next_in = const_cast<std::uint8_t*>(piece.data());
    state_->avail_in = static_cast<std::uint32_t>(piece.size());
}

Inflater::State Inflater::unpack(std::span<std::uint8_t>& out)
{
    if (state_now_ == State::finished || state_now_ == State::mismatch || state_now_ == State::damaged)
        return state_now_;
    const auto room = static_cast<std::uint32_t>(std::min<std::size_t>(out.size(), 1U << 30));
    state_->next_out = out.data();
    state_->avail_out = room;
    const int result = isal_inflate(state_.get());
    out = out.subspan(room - state_->avail_out);
    if (result == ISAL_INCORRECT_CHECKSUM)
        state_now_ = State::mismatch;
    else if (result != ISAL_DECOMP_OK)
        state_now_ = State::damaged;
    else if (state_->block_state == ISAL_BLOCK_FINISH)
        state_now_ = State::finished;
    else
        state_now_ = state_->avail_out == 0 ? State::outputFull : State::needsInput;
    return state_now_;
}

std::optional<std::vector<std::uint8_t>> inflateWhole(std::span<const std::uint8_t> stream, std::size_t maximum)
{
    Inflater inflater;
    inflater.feed(stream);
    std::vector<std::uint8_t> content(std::min(firstCapacity, maximum + 1));
    std::span<std::uint8_t> room(content);
    for (;;) {
        const auto state = inflater.unpack(room);
        const std::size_t filled = content.size() - room.size();
        if (filled > maximum)
            return std::nullopt;
        if (state == Inflater::State::finished) {
            content.resize(filled);
            return content;
        }
        if (state != Inflater::State::outputFull)
            return std::nullopt;
        content.resize(std::min(content.size() * 2, maximum + 1));
        room = std::span(content).subspan(filled);
    }
}

} // namespace zel::png
