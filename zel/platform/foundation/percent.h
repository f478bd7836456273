#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// Every byte but letters, digits, "-._~" and those of `kept` as "%XX".
std::string percentEncoded(std::string_view bytes, std::string_view kept = {});
/// Absent where a "%" is not followed by two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

} // namespace zel
