#pragma once
#include "inputs.h"

#include <zel/platform/foundation/coding.h>

namespace zel::program {

/// The text of an input; absent with the reason noted.
std::optional<std::string> textOfInput(const Input& input);
/// Notes where and why a document does not read: `unreadable`.
void failDecoding(std::string_view operation, const ZelDecodingError& error);

/// The record that an input holds; absent with the reason noted.
template <class T>
std::optional<T> decodeInput(const Input& input, std::string_view operation)
{
    const auto text = textOfInput(input);
    if (!text)
        return std::nullopt;
    try {
        return decode<T>(*text);
    } catch (const ZelDecodingError& error) {
        failDecoding(operation, error);
        return std::nullopt;
    }
}

} // namespace zel::program
