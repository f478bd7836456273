// What a file says of its picture: the fields of an EXIF block on the bare bytes, the block that is cut out of a file,
// and the whole dictionary. What comes out is text that can be shown, numbers that exist, and the same when it was
// written and read again.
#include "decode_checks.h"
#include "target.h"

#include <zel/io/exif.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/codecs/properties.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/utf8.h>

#include <cmath>

namespace {

using namespace zel;
using fuzz::require;

void checkValues(const PropertyDictionary& properties)
{
    for (const auto& [name, value] : properties) {
        require(!name.empty(), "a name");
        if (const auto* group = std::get_if<PropertyDictionary>(&value))
            checkValues(*group);
        else if (const auto* text = std::get_if<std::string>(&value))
            require(isUtf8(*text) && text->find('\0') == std::string::npos, "text that can be shown");
        else if (const auto* number = std::get_if<double>(&value))
            require(std::isfinite(*number), "a number");
        else if (const auto* list = std::get_if<std::vector<double>>(&value))
            for (const double each : *list)
                require(std::isfinite(each), "a list of numbers");
    }
}

std::optional<double> degrees(const PropertyDictionary& groups, std::string_view name)
{
    const auto group = groups.find(std::string(kCGImagePropertyGPSDictionary));
    if (group == groups.end())
        return std::nullopt;
    const auto& fields = std::get<PropertyDictionary>(group->second);
    const auto found = fields.find(std::string(name));
    const auto* value = found == fields.end() ? nullptr : std::get_if<double>(&found->second);
    if (value == nullptr)
        return std::nullopt;
    require(*value >= 0, "degrees without a hemisphere");
    return *value;
}

void checkGroups(const PropertyDictionary& groups)
{
    checkValues(groups);
    const ZelExif::BasicData data{.shotDate = ZelImageHelper::getShotDateFromExif({groups}),
                                  .coordinates = {.lat = degrees(groups, kCGImagePropertyGPSLatitude),
                                                  .lon = degrees(groups, kCGImagePropertyGPSLongitude)}};
    require(decode<ZelExif::BasicData>(encode(data)) == data, "the same date and position when they are read again");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ZelLimits::Scope scope(checks::tightLimits());
    checkGroups(readExifGroups({data, size}));
    const Ref<const ByteSource> source = ByteSource::view({data, size});
    const auto block = exifBlockOf(*source);
    // TIFF directories are put together anew, a little longer than they stand there.
    require(block.size() <= size + 65'536, "a block of the file");
    const PropertyDictionary groups = readExifGroups(block);
    checkGroups(groups);

    ZelFailure::clear();
    const auto properties = readProperties(source);
    if (!properties) {
        require(ZelFailure::last().code != ZelFailureCode::none, "a note of why there are none");
        return 0;
    }
    checkValues(*properties);
    for (const auto& [name, group] : groups)
        require(properties->contains(name), "the groups of the block");
    if (groups.empty() || properties->contains("PixelWidth"))
        for (const char* const side : {"PixelWidth", "PixelHeight"})
            require(std::get<std::int64_t>(properties->at(side)) > 0, "a picture with sides");
    return 0;
}
