#pragma once
#include <zel/platform/foundation/limits.h>

#include <cstdint>
#include <span>
#include <string>

// What holds for every input, sound or broken. Each gives what is wrong in words, or nothing.
namespace zel::checks {

/// Limits under which damaged files are tried: small, so that whatever passes them shows at once.
ZelLimits tightLimits();

/// Decodes the bytes whole, twice, by parts and reduced. The size is that of the header and within the limits; rows
/// come in order and each once; every pixel is read; both times the same; a part is a part of the whole; a refusal has
/// a note.
std::string problemOfDecoding(std::span<const std::uint8_t> bytes);

/// What the header says of the picture holds for its pixels.
std::string problemOfFacts(std::span<const std::uint8_t> bytes);

/// Of a JPEG, what is made of its coded data: coded again it has the same bytes whether its pixels are decoded or not;
/// turned without loss it opens again, or is refused with a note.
std::string problemOfCodedData(std::span<const std::uint8_t> bytes);

} // namespace zel::checks
