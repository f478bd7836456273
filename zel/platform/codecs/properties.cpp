#include <zel/platform/codecs/properties.h>

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

namespace zel {
namespace {

/// Why there are none is no more than a warning where the file tells something else.
std::optional<PictureFacts> factsOf(const Ref<const ByteSource>& source, bool tellsMore)
{
    ZelNote reason;
    {
        NotesOnTrial refusal;
        std::optional<PictureFacts> facts = pictureFacts(source);
        if (facts || !tellsMore) {
            refusal.keep();
            return facts;
        }
        reason = ZelFailure::last();
    }
    warn(reason.code, reason.operation, "its EXIF block alone can be read: " + reason.message, source->subject());
    return std::nullopt;
}

} // namespace

std::optional<PropertyDictionary> readProperties(const Ref<const ByteSource>& source)
{
    if (!source)
        return failAbsentInput("read properties");
    PropertyDictionary properties = readExifGroups(exifBlockOf(*source));
    const std::optional<PictureFacts> stated = factsOf(source, !properties.empty());
    if (!stated)
        return properties.empty() ? std::nullopt : std::optional(std::move(properties));
    const PictureFacts& facts = *stated;
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
