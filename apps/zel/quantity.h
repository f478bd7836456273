#pragma once
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/graphics/color.h>

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

// What the flags' values mean. Numbers know no locale: a point is a point everywhere. The readers throw UsageError.
namespace zel::program {

/// "1600", "0.25", "-1.5": a finite number within [low, high].
double readNumber(std::string_view text, double low, double high);
/// A whole number within [low, high].
std::int64_t readWhole(std::string_view text, std::int64_t low, std::int64_t high);
/// "200000", "200k", "1.5M", "4G", "512MiB": thousands, or 1024s where an i follows; the B may be left out. Above 0.
std::int64_t readSize(std::string_view text);
/// "8", "1.5", "1.5s", "500ms", "2m": seconds unless told otherwise. 0 = no limit.
std::chrono::milliseconds readDuration(std::string_view text);
/// "1600x1067": whole pixels, each from 1 to 1,000,000.
CGSize readDimensions(std::string_view text);
/// "90", "-1.5": degrees, within a thousand turns.
double readAngle(std::string_view text);
/// Of exposure, from -32 to 32.
double readStops(std::string_view text);
/// Of sharpening, from -20 to 20.
double readAmount(std::string_view text);
/// A distance between colours, from 0 to 1000.
double readTolerance(std::string_view text);
/// "0 -3 0 -3 15 -3 0 -3 0": 9 whole numbers of 16 bits, parted by blanks or commas.
std::vector<std::int16_t> readKernel(std::string_view text);
/// "X,Y,W,H": pixels from the top-left corner, sides above 0.
CGRect readRect(std::string_view text);
/// "16:9", "1.5": a width divided by its height, above 0.
double readRatio(std::string_view text);
/// "#rgb", "#rrggbb", "#rrggbbaa" (the number sign may be left out), "white", "black", "transparent".
ZelColor readColor(std::string_view text);

} // namespace zel::program
