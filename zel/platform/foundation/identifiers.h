#pragma once
#include <zel/export.h>

#include <string>
#include <string_view>

namespace zel::ZelId {

struct NewIdOptions {
    std::string_view prefix = {}; ///< stands first, followed by "-", unless empty
    std::string_view infix = {};  ///< the same, behind the prefix
    bool useCounter = true; ///< ends in a count, so that identifiers sort by age; else in figures without an order
};

/// A text that is unique within the process, whatever the thread, and in all likelihood beyond it. What is added to
/// prefix and infix is lower-case hexadecimal digits and "-", safe in file names and addresses.
ZEL_API std::string newId(NewIdOptions options = {});
/// The MD5 digest of a text, 32 lower-case hexadecimal digits. For keys and names; no protection against forgery.
ZEL_API std::string md5(std::string_view text);

} // namespace zel::ZelId
