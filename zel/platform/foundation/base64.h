#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// RFC 4648 section 4: the usual alphabet, padded, without line breaks.
std::string base64Encoded(std::span<const std::uint8_t> bytes);
/// Absent for any other character, a length that is no multiple of four, padding within, or bits left over.
std::optional<std::vector<std::uint8_t>> base64Decoded(std::string_view text);

} // namespace zel
