#pragma once
#include <zel/platform/foundation/coding.h>
#include <zel/platform/foundation/date.h>
#include <zel/platform/foundation/properties.h>
#include <zel/platform/foundation/url.h>

// Facts of picture files: no pixels are decoded. Nothing here raises an error; what cannot be read is absent, with the
// reason noted, and tells one line on the console where an operation says so.
namespace zel {

namespace ZelExif {

/// When and where a photograph was taken. JSON: {"shotDate": seconds since 2001 UTC, "coordinates": {"lat":…,
/// "lon":…}}; what is absent is left out, but for the object "coordinates".
struct BasicData {
    /// Degrees without a hemisphere: a southern latitude and a western longitude are positive too.
    struct Coordinates {
        std::optional<double> lat = {}, lon = {};
        friend bool operator==(const Coordinates&, const Coordinates&) = default;
    };
    std::optional<Date> shotDate = {};
    Coordinates coordinates = {};
    friend bool operator==(const BasicData&, const BasicData&) = default;
};

struct Of {
    URL of;
};
struct DateText {
    std::string dateTimeOriginal;
};

/// The properties of a file's first picture: PixelWidth, PixelHeight, Orientation, Depth, ColorModel, HasAlpha,
/// DPIWidth, DPIHeight, ProfileName, and the groups "{TIFF}", "{Exif}", "{GPS}". Empty when it cannot be read; a file
/// that cannot be opened prints "Failed to create image source".
ZEL_API PropertyDictionary exifDict(Of file);
/// Each field absent where the file does not tell it. A date that does not parse prints "Failed to convert EXIF
/// DateTime to Date".
ZEL_API BasicData basicData(Of file);
/// "2021:07:04 15:30:00" in the time zone of the process. Absent, printing "Failed to convert EXIF DateTime to Date",
/// for every other form and for days that do not exist, zeros among them.
ZEL_API std::optional<Date> convertEXIFDateTimeToDate(DateText text);

} // namespace ZelExif

namespace ZelImageHelper {

struct ExifOf {
    URL of;
};
struct ExifData {
    const PropertyDictionary& exifData;
};

/// As `ZelExif::exifDict`, but absent when it cannot be read; prints "Error creating image source" for a file that
/// cannot be opened and "Error retrieving properties" for one that is no picture.
ZEL_API std::optional<PropertyDictionary> getExifData(ExifOf file);
/// DateTimeOriginal of the group "{Exif}"; prints nothing.
ZEL_API std::optional<Date> getShotDateFromExif(ExifData data);
ZEL_API std::optional<Date> exifShotDate(ExifOf file);
/// Width and height of the upright picture in pixels.
ZEL_API std::optional<std::pair<std::int64_t, std::int64_t>> resolution(ExifOf file);

} // namespace ZelImageHelper

template <>
ZEL_API std::string encode(const ZelExif::BasicData& value);
template <>
ZEL_API ZelExif::BasicData decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelExif::BasicData::Coordinates& value);
template <>
ZEL_API ZelExif::BasicData::Coordinates decode(std::string_view text);

} // namespace zel

template <>
struct ZEL_API std::hash<zel::ZelExif::BasicData::Coordinates> {
    std::size_t operator()(const zel::ZelExif::BasicData::Coordinates& coordinates) const noexcept;
};

template <>
struct ZEL_API std::hash<zel::ZelExif::BasicData> {
    std::size_t operator()(const zel::ZelExif::BasicData& data) const noexcept;
};
