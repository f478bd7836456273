#pragma once
#include <zel/platform/codecs/byte_reader.h>

#include <array>

namespace zel {

/// A box of the containers that JPEG 2000 brought up (ISO/IEC 15444-1, annex I; 14496-12): a length, a type, data.
struct IsoBox {
    std::uint32_t type = 0;          ///< four letters, the first one highest
    std::uint64_t data = 0, end = 0; ///< within the source; `end` may be cut to the outer box's
};

constexpr std::uint32_t boxType(const char (&name)[5])
{
    std::uint32_t type = 0;
    for (int i = 0; i < 4; ++i)
        type = type << 8U | static_cast<std::uint8_t>(name[i]);
    return type;
}

/// The box at `at`, of those that end at `end`. Absent where none fits in there; a box always has some length.
inline std::optional<IsoBox> isoBoxAt(const ByteSource& source, std::uint64_t at, std::uint64_t end)
{
    std::array<std::uint8_t, 16> head{};
    end = std::min(end, source.size());
    if (at >= end || source.read(at, head) < 8 || end - at < 8)
        return std::nullopt;
    std::uint64_t length = big32(head.data()), headLength = 8;
    if (length == 1) {
        headLength = 16;
        length = std::uint64_t{big32(head.data() + 8)} << 32U | big32(head.data() + 12);
    }
    if (length == 0) // to the end
        length = end - at;
    if (length < headLength || end - at < headLength)
        return std::nullopt;
    return IsoBox{big32(head.data() + 4), at + headLength, at + std::min(length, end - at)};
}

} // namespace zel
