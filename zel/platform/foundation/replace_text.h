#pragma once
#include <string>
#include <string_view>

namespace zel {

/// Every occurrence of `search` in `text` replaced, from left to right, none overlapping another; what was put in is
/// not looked at again. Letters are equal where Unicode's simple case folding makes them so, one character for one: "É"
/// and "é", "Σ", "σ" and "ς", not "ß" and "ss". Bytes that are no UTF-8 equal themselves. An empty search changes
/// nothing. Cost: linear in both texts.
std::string replacedIgnoringCase(std::string_view text, std::string_view search, std::string_view replacement);

} // namespace zel
