#include <zel/io/exif.h>

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/properties.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/date_json.h>
#include <zel/platform/foundation/notes.h>

#include <array>
#include <charconv>
#include <ctime>

namespace zel {

template <>
struct JsonForm<ZelExif::BasicData::Coordinates> {
    static OrderedJson write(const ZelExif::BasicData::Coordinates& value, const JsonPath& path)
    {
        return JsonObject(path).optionalField("lat", value.lat).optionalField("lon", value.lon).take();
    }
    static ZelExif::BasicData::Coordinates read(const JsonReader& in)
    {
        return {.lat = in.optional<double>("lat"), .lon = in.optional<double>("lon")};
    }
};

template <>
struct JsonForm<ZelExif::BasicData> {
    static OrderedJson write(const ZelExif::BasicData& value, const JsonPath& path)
    {
        return JsonObject(path)
            .optionalField("shotDate", value.shotDate)
            .field("coordinates", value.coordinates)
            .take();
    }
    static ZelExif::BasicData read(const JsonReader& in)
    {
        using Coordinates = ZelExif::BasicData::Coordinates;
        return {.shotDate = in.optional<Date>("shotDate"),
                .coordinates = in.optional<Coordinates>("coordinates").value_or(Coordinates())};
    }
};

template <>
std::string encode(const ZelExif::BasicData& value)
{
    return encodeJson(value);
}
template <>
ZelExif::BasicData decode(std::string_view text)
{
    return decodeJson<ZelExif::BasicData>(text);
}
template <>
std::string encode(const ZelExif::BasicData::Coordinates& value)
{
    return encodeJson(value);
}
template <>
ZelExif::BasicData::Coordinates decode(std::string_view text)
{
    return decodeJson<ZelExif::BasicData::Coordinates>(text);
}

namespace {

/// The field of a group, where both are there and of the type asked for.
template <class T>
const T* field(const PropertyDictionary& properties, std::string_view group, std::string_view name)
{
    const auto found = properties.find(std::string(group));
    if (found == properties.end())
        return nullptr;
    const auto* fields = std::get_if<PropertyDictionary>(&found->second);
    const auto value = fields != nullptr ? fields->find(std::string(name)) : PropertyDictionary::const_iterator();
    return fields != nullptr && value != fields->end() ? std::get_if<T>(&value->second) : nullptr;
}

const std::string* shotText(const PropertyDictionary& properties)
{
    return field<std::string>(properties, kCGImagePropertyExifDictionary, kCGImagePropertyExifDateTimeOriginal);
}

constexpr std::size_t formLength = 19; ///< "yyyy:MM:dd HH:mm:ss"

std::optional<Date> parsed(std::string_view text)
{
    constexpr std::string_view form = "0000:00:00 00:00:00"; // a 0 stands for a digit
    if (text.size() != formLength)
        return std::nullopt;
    for (std::size_t i = 0; i < form.size(); ++i)
        if (form[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != form[i])
            return std::nullopt;
    const auto number = [text](std::size_t first, std::size_t count) {
        int value = 0;
        std::from_chars(text.data() + first, text.data() + first + count, value);
        return value;
    };
    const auto year = number(0, 4), hour = number(11, 2), minute = number(14, 2), second = number(17, 2);
    const auto month = static_cast<unsigned>(number(5, 2)), day = static_cast<unsigned>(number(8, 2));
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    // The clock's 64 bits of nanoseconds begin in 1677 and end in 2262; cameras are younger.
    if (!date.ok() || year < 1678 || year > 2261 || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    std::tm local{};
    local.tm_year = year - 1900, local.tm_mon = static_cast<int>(month) - 1, local.tm_mday = static_cast<int>(day);
    local.tm_hour = hour, local.tm_min = minute, local.tm_sec = second;
    local.tm_isdst = -1;
    local.tm_wday = -1; // mktime puts the day of the week here when it succeeds
    const std::time_t moment = std::mktime(&local);
    return local.tm_wday < 0 ? std::nullopt : std::optional(std::chrono::system_clock::from_time_t(moment));
}

} // namespace

namespace ZelExif {

PropertyDictionary exifDict(Of file)
{
    const Ref<const ByteSource> source = ByteSource::openByPieces(file.of);
    if (!source) {
        Console::print("Failed to create image source");
        return {};
    }
    return readProperties(source).value_or(PropertyDictionary());
}

BasicData basicData(Of file)
{
    const PropertyDictionary properties = exifDict(std::move(file));
    BasicData data;
    if (const std::string* text = shotText(properties))
        data.shotDate = convertEXIFDateTimeToDate({*text});
    const auto degrees = [&properties](std::string_view name) {
        const auto* value = field<double>(properties, kCGImagePropertyGPSDictionary, name);
        return value != nullptr ? std::optional(*value) : std::nullopt;
    };
    data.coordinates = {.lat = degrees(kCGImagePropertyGPSLatitude), .lon = degrees(kCGImagePropertyGPSLongitude)};
    return data;
}

std::optional<Date> convertEXIFDateTimeToDate(DateText text)
{
    const std::optional<Date> date = parsed(text.dateTimeOriginal);
    if (!date)
        Console::print("Failed to convert EXIF DateTime to Date");
    return date;
}

} // namespace ZelExif

namespace ZelImageHelper {

std::optional<PropertyDictionary> getExifData(ExifOf file)
{
    const Ref<const ByteSource> source = ByteSource::openByPieces(file.of);
    if (!source) {
        Console::print("Error creating image source");
        return std::nullopt;
    }
    std::optional<PropertyDictionary> properties = readProperties(source);
    if (!properties)
        Console::print("Error retrieving properties");
    return properties;
}

std::optional<Date> getShotDateFromExif(ExifData data)
{
    const std::string* text = shotText(data.exifData);
    return text != nullptr ? parsed(*text) : std::nullopt;
}

std::optional<Date> exifShotDate(ExifOf file)
{
    const auto properties = getExifData(std::move(file));
    return properties ? getShotDateFromExif({*properties}) : std::nullopt;
}

std::optional<std::pair<std::int64_t, std::int64_t>> resolution(ExifOf file)
{
    const Ref<const ByteSource> source = ByteSource::open(file.of);
    const Ref<const PixelProvider> picture = source ? openPicture(source) : nullptr;
    if (!picture)
        return std::nullopt;
    const PictureFacts& facts = picture->facts();
    std::pair<std::int64_t, std::int64_t> size(facts.layout.width, facts.layout.height);
    if (swapsSides(facts.orientation))
        std::swap(size.first, size.second);
    return size;
}

} // namespace ZelImageHelper
} // namespace zel

namespace {

/// Mixed so that equal fields in another order give another value.
std::size_t mixed(std::size_t sum, std::size_t next)
{
    constexpr std::size_t goldenRatio = 0x9E3779B97F4A7C15;
    return sum ^ (next + goldenRatio + (sum << 6U) + (sum >> 2U));
}

} // namespace

std::size_t std::hash<zel::ZelExif::BasicData::Coordinates>::operator()(
    const zel::ZelExif::BasicData::Coordinates& coordinates) const noexcept
{
    const std::hash<std::optional<double>> part;
    return mixed(part(coordinates.lat), part(coordinates.lon));
}

std::size_t std::hash<zel::ZelExif::BasicData>::operator()(const zel::ZelExif::BasicData& data) const noexcept
{
    std::size_t date = 0;
    if (data.shotDate)
        date = std::hash<std::int64_t>()(data.shotDate->time_since_epoch().count()) + 1;
    return mixed(date, std::hash<zel::ZelExif::BasicData::Coordinates>()(data.coordinates));
}
