#pragma once
#include <cstdint>
#include <cstdio>
#include <jpeglib.h>
#include <optional>
#include <span>
#include <vector>

// JPEG files made by plain calls of libjpeg, and its own view of what they hold.
namespace zel::jpegtest {

using Bytes = std::vector<std::uint8_t>;

struct Segment {
    int marker; ///< 0xE1 …
    Bytes content;
};

struct Recipe {
    int width = 45, height = 39;
    J_COLOR_SPACE stored = JCS_YCbCr; ///< also JCS_GRAYSCALE, JCS_RGB, JCS_CMYK, JCS_YCCK
    int horizontal = 2, vertical = 2; ///< sampling of the first component; the others have 1 × 1
    bool progressive = false;
    bool arithmetic = false;
    bool separateScans = false; ///< one scan a component, not progressive
    int restartInterval = 0;    ///< in MCUs
    int quality = 90;
    bool adobe = true; ///< for CMYK and YCCK
    int densityUnit = 0, densityX = 1, densityY = 1;
    std::vector<Segment> segments = {};
    std::vector<std::uint8_t> flat = {}; ///< one colour in place of the pattern, components as libjpeg takes them
};

/// Components as libjpeg takes them (RGB, grey or CMYK): smooth in the large, with edges and noise.
Bytes pattern(int width, int height, int components);
Bytes make(const Recipe& recipe);
/// Four components a pixel, libjpeg's defaults: RGB and 255, or CMYK as stored.
Bytes decodePlainly(std::span<const std::uint8_t> file, int denominator = 1, bool smoothed = true);
/// Joins bytes, numbers and texts.
Bytes operator+(Bytes left, const Bytes& right);
Bytes text(const char* characters, std::size_t count);

} // namespace zel::jpegtest
