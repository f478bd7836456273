#pragma once
#include <zel/export.h>

#include <cstdint>
#include <string>

namespace zel {

/// The shortest decimal that reads back to the same value, with ".0" for whole numbers: "0.5", "2048.0", "-0.0",
/// "inf", "-inf", "nan". Magnitudes below 0.0001 and from 1e16 have an exponent of at least two figures: "1e-05",
/// "1e+16".
ZEL_API std::string shortestDecimal(double value);

/// A number of bytes as people read it, in decimal units: "999 bytes", "1.5 kB", "3.2 GB".
ZEL_API std::string byteText(std::uint64_t bytes);

} // namespace zel
