#pragma once
#include <zel/export.h>
#include <string>
#include <string_view>

namespace zel::ZelId {

struct NewIdOptions { std::string_view prefix = {}; std::string_view infix = {}; bool useCounter = true; };

/// A text that is unique within the process.
std::string newId(NewIdOptions options = {});
/// The MD5 digest of a text, 32 lower-case hexadecimal digits.
std::string md5(std::string_view text);

} // namespace zel::ZelId
