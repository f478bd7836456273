#include <zel/platform/codecs/properties.h>

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/graphics/color_space.h>

namespace zel {

std::optional<PropertyDictionary> readProperties(const Ref<const ByteSource>& source)
{
    const std::optional<PictureFacts> stated = pictureFacts(source);
    if (!stated)
        return std::nullopt;
    const PictureFacts& facts = *stated;
    PropertyDictionary properties = readExifGroups(exifBlockOf(*source));
    const auto integer = [&properties](const char* name, std::int64_t value) { properties[name] = value; };
    integer("PixelWidth", facts.layout.width);
    integer("PixelHeight", facts.layout.height);
    integer("Orientation", static_cast<std::int64_t>(facts.orientation));
    integer("Depth", facts.bits);
    integer("HasAlpha", facts.hasAlpha ? 1 : 0);
    properties["ColorModel"] = std::string(facts.layout.isGray ? "Gray" : "RGB");
    if (facts.dpiX > 0 && facts.dpiY > 0) {
        properties["DPIWidth"] = facts.dpiX;
        properties["DPIHeight"] = facts.dpiY;
    }
    if (facts.layout.colorSpace)
        properties["ProfileName"] = facts.layout.colorSpace->name();
    return properties;
}

} // namespace zel
