#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zel {

/// A file's properties by name: values, or groups of them.
struct PropertyValue;
using PropertyDictionary = std::map<std::string, PropertyValue>;
struct PropertyValue : std::variant<std::int64_t, double, std::string, std::vector<double>, PropertyDictionary> {
    using variant::variant;
};

/// The groups of a picture's properties, and the fields that the library itself reads.
inline constexpr std::string_view kCGImagePropertyExifDictionary = "{Exif}";
inline constexpr std::string_view kCGImagePropertyExifDateTimeOriginal = "DateTimeOriginal"; ///< text
inline constexpr std::string_view kCGImagePropertyGPSDictionary = "{GPS}";
inline constexpr std::string_view kCGImagePropertyGPSLatitude = "Latitude";   ///< double: degrees, never negative
inline constexpr std::string_view kCGImagePropertyGPSLongitude = "Longitude"; ///< double: degrees, never negative

} // namespace zel
