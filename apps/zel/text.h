#pragma once
#include <string>
#include <string_view>

// The two ends that text leaves by. Neither buffers, so that lines of several threads stay whole and in order.
namespace zel::program {

/// To standard output, all of it. What cannot be written is remembered: `outputFailed`.
void writeOut(std::string_view text);
/// True once something that was meant for standard output has been lost (a closed pipe, a full disk).
bool outputFailed();
/// A line to standard error; the line feed is added.
void writeError(std::string_view line);
/// The same without a line feed.
void writeErrorRaw(std::string_view text);

/// Text from outside made harmless for a terminal: control characters, the two-byte ones of UTF-8 included, become "?".
std::string printable(std::string_view text);

} // namespace zel::program
