#include <zel/platform/foundation/base64.h>

#include <algorithm>
#include <array>

namespace zel {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t none = 0xFF;

constexpr std::array<std::uint8_t, 256> values = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(none);
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    return table;
}();

} // namespace

std::string base64Encoded(std::span<const std::uint8_t> bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    char* out = text.data();
    for (std::size_t at = 0; at < bytes.size(); at += 3, out += 4) {
        const std::size_t count = std::min<std::size_t>(bytes.size() - at, 3);
        std::uint32_t bits = std::uint32_t{bytes[at]} << 16;
        if (count > 1)
            bits |= std::uint32_t{bytes[at + 1]} << 8;
        if (count > 2)
            bits |= bytes[at + 2];
        for (std::size_t i = 0; i <= count; ++i)
            out[i] = alphabet[(bits >> (18 - 6 * i)) & 63];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> base64Decoded(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    std::vector<std::uint8_t> bytes(text.size() / 4 * 3 - padding);
    std::size_t done = 0;
    for (std::size_t at = 0; at < text.size(); at += 4) {
        const std::size_t figures = at + 4 == text.size() ? 4 - padding : 4;
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < figures; ++i) {
            const std::uint8_t value = values[static_cast<unsigned char>(text[at + i])];
            if (value == none)
                return std::nullopt;
            bits |= std::uint32_t{value} << (18 - 6 * i);
        }
        for (std::size_t i = 0; i + 1 < figures; ++i)
            bytes[done++] = static_cast<std::uint8_t>(bits >> (16 - 8 * i));
        // One text for the same bytes: what the last figure holds beyond them must be 0.
        if (figures < 4 && (bits & ((std::uint32_t{1} << (8 * (4 - figures))) - 1)) != 0)
            return std::nullopt;
    }
    return bytes;
}

} // namespace zel
