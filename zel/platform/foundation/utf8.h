#pragma once
#include <string>
#include <string_view>

namespace zel {

/// Bytes of the first character when it is well-formed UTF-8 (Unicode 15, table 3-7: nothing overlong, no surrogates,
/// nothing past U+10FFFF); else 0.
std::size_t utf8Length(std::string_view text);
bool isUtf8(std::string_view text);
/// With U+FFFD for every byte that is not part of a well-formed character.
std::string toUtf8(std::string_view bytes);

} // namespace zel
