#include "metadata.h"

#include <zel/io/exif.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/codecs/properties.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <ctime>

namespace zel::program {
namespace {

std::string localTime(Date date)
{
    const std::time_t moment = std::chrono::system_clock::to_time_t(date);
    std::tm parts{};
    if (localtime_r(&moment, &parts) == nullptr)
        return {};
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                       parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::optional<double> degrees(const PropertyDictionary& fields, std::string_view name)
{
    const auto found = fields.find(std::string(name));
    const double* value = found == fields.end() ? nullptr : std::get_if<double>(&found->second);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

} // namespace

Ref<const ByteSource> headerOf(const Input& input)
{
    if (input.failure)
        return fail(input.failure->code, input.failure->operation, input.failure->message, input.failure->subject);
    return input.bytes ? ByteSource::of(*input.bytes, input.name) : ByteSource::openByPieces(URL::file(input.name));
}

std::optional<PropertyDictionary> propertiesOf(const Input& input)
{
    const auto source = headerOf(input);
    return source ? readProperties(source) : std::nullopt;
}

ShotFacts shotFactsOf(const ByteSource& source)
{
    const PropertyDictionary groups = readExifGroups(exifBlockOf(source));
    ShotFacts facts;
    if (const auto date = ZelImageHelper::getShotDateFromExif({groups}))
        facts.date = localTime(*date);
    const auto position = groups.find(std::string(kCGImagePropertyGPSDictionary));
    if (position != groups.end()) {
        const auto& fields = std::get<PropertyDictionary>(position->second);
        facts.lat = degrees(fields, kCGImagePropertyGPSLatitude);
        facts.lon = degrees(fields, kCGImagePropertyGPSLongitude);
    }
    return facts;
}

} // namespace zel::program
