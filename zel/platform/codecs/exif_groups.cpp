#include <zel/platform/codecs/properties.h>
#include <zel/platform/foundation/utf8.h>

#include <fmt/format.h>

#include <libexif/exif-data.h>

#include <array>
#include <cmath>
#include <memory>

// libexif takes the block apart; what its entries mean as values is decided here.
namespace zel {
namespace {

constexpr std::size_t mostBytes = 65'533; ///< what a JPEG segment can hold: libexif reads no further
constexpr std::size_t mostValues = 1024;

using Numbers = std::vector<double>;

struct Figures {
    Numbers values;
    bool isFraction = false;
};

/// The numbers of an entry; absent where one is a fraction with a denominator of 0, or it holds no numbers.
std::optional<Figures> figuresOf(const ExifEntry& entry, ExifByteOrder order)
{
    const std::size_t size = exif_format_get_size(entry.format);
    Figures figures;
    if (size == 0 || entry.data == nullptr || entry.components > mostValues || entry.size / size < entry.components)
        return std::nullopt;
    for (std::size_t i = 0; i < entry.components; ++i) {
        const unsigned char* const bytes = entry.data + i * size;
        double value = 0, divisor = 1;
        switch (entry.format) {
        case EXIF_FORMAT_BYTE:
        case EXIF_FORMAT_UNDEFINED:
            value = *bytes;
            break;
        case EXIF_FORMAT_SBYTE:
            value = static_cast<signed char>(*bytes);
            break;
        case EXIF_FORMAT_SHORT:
            value = exif_get_short(bytes, order);
            break;
        case EXIF_FORMAT_SSHORT:
            value = exif_get_sshort(bytes, order);
            break;
        case EXIF_FORMAT_LONG:
            value = exif_get_long(bytes, order);
            break;
        case EXIF_FORMAT_SLONG:
            value = exif_get_slong(bytes, order);
            break;
        case EXIF_FORMAT_RATIONAL: {
            const ExifRational fraction = exif_get_rational(bytes, order);
            value = fraction.numerator, divisor = fraction.denominator;
            break;
        }
        case EXIF_FORMAT_SRATIONAL: {
            const ExifSRational fraction = exif_get_srational(bytes, order);
            value = fraction.numerator, divisor = fraction.denominator;
            break;
        }
        default:
            return std::nullopt;
        }
        if (divisor == 0)
            return std::nullopt;
        figures.values.push_back(value / divisor);
    }
    figures.isFraction = entry.format == EXIF_FORMAT_RATIONAL || entry.format == EXIF_FORMAT_SRATIONAL;
    return figures.values.empty() ? std::nullopt : std::optional(std::move(figures));
}

std::string textOf(const ExifEntry& entry, std::size_t from = 0)
{
    std::string text;
    if (entry.data != nullptr && entry.size > from)
        text.assign(reinterpret_cast<const char*>(entry.data) + from, entry.size - from);
    text.resize(std::min(text.find('\0'), text.size()));
    text.resize(text.find_last_not_of(' ') + 1);
    return toUtf8(text);
}

/// Of degrees, minutes and seconds. The smallest part comes first, and nothing is rounded before the end: 151, 12 and
/// 36 are 151.21 and not the value below.
std::optional<double> degrees(const Numbers& parts)
{
    long double sum = 0;
    for (auto part = parts.rbegin(); part != parts.rend(); ++part)
        sum = sum / 60 + std::fabs(*part);
    return parts.size() <= 3 ? std::optional(static_cast<double>(sum)) : std::nullopt;
}

std::optional<PropertyValue> valueOf(const ExifEntry& entry, ExifIfd directory, ExifByteOrder order)
{
    const auto tag = static_cast<unsigned>(entry.tag);
    if (tag == EXIF_TAG_MAKER_NOTE)
        return std::nullopt;
    if (tag == EXIF_TAG_USER_COMMENT && directory == EXIF_IFD_EXIF) {
        constexpr std::size_t codeBytes = 8; // the name of the character set in front
        return textOf(entry, codeBytes);
    }
    if (entry.format == EXIF_FORMAT_ASCII)
        return textOf(entry);
    const auto figures = figuresOf(entry, order);
    if (!figures)
        return std::nullopt;
    const Numbers& values = figures->values;
    if (directory == EXIF_IFD_GPS && (tag == EXIF_TAG_GPS_LATITUDE || tag == EXIF_TAG_GPS_LONGITUDE)) {
        const auto position = degrees(values);
        return position ? std::optional<PropertyValue>(*position) : std::nullopt;
    }
    if (directory == EXIF_IFD_GPS && tag == EXIF_TAG_GPS_TIME_STAMP && values.size() == 3)
        return fmt::format("{:02.0f}:{:02.0f}:{:02.0f}", values[0], values[1], std::floor(values[2]));
    if ((tag == EXIF_TAG_EXIF_VERSION || tag == EXIF_TAG_FLASH_PIX_VERSION) && directory == EXIF_IFD_EXIF)
        return textOf(entry);
    if (values.size() > 1)
        return values;
    return figures->isFraction ? PropertyValue(values[0]) : PropertyValue(static_cast<std::int64_t>(values[0]));
}

} // namespace

PropertyDictionary readExifGroups(std::span<const std::uint8_t> block)
{
    PropertyDictionary groups;
    if (block.size() < 8)
        return groups;
    std::vector<unsigned char> bytes = {'E', 'x', 'i', 'f', 0, 0};
    bytes.insert(bytes.end(), block.begin(),
                 block.begin() + static_cast<std::ptrdiff_t>(std::min(block.size(), mostBytes)));
    const std::unique_ptr<ExifData, decltype(&exif_data_unref)> data(exif_data_new(), exif_data_unref);
    if (!data)
        return groups;
    // As it stands: nothing added, nothing corrected.
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_load_data(data.get(), bytes.data(), static_cast<unsigned>(bytes.size()));
    const ExifByteOrder order = exif_data_get_byte_order(data.get());

    struct Group {
        ExifIfd directory;
        std::string_view name, prefix;
    };
    constexpr std::array<Group, 3> known = {{{EXIF_IFD_0, "{TIFF}", ""},
                                             {EXIF_IFD_EXIF, kCGImagePropertyExifDictionary, ""},
                                             {EXIF_IFD_GPS, kCGImagePropertyGPSDictionary, "GPS"}}};
    for (const Group& group : known) {
        const ExifContent* const content = data->ifd[group.directory];
        PropertyDictionary fields;
        for (unsigned i = 0; content != nullptr && i < content->count; ++i) {
            const ExifEntry& entry = *content->entries[i];
            const char* const name = exif_tag_get_name_in_ifd(entry.tag, group.directory);
            if (name == nullptr)
                continue;
            std::string_view key = name;
            if (key.starts_with(group.prefix))
                key.remove_prefix(group.prefix.size());
            if (auto value = valueOf(entry, group.directory, order))
                fields.emplace(key, std::move(*value));
        }
        if (!fields.empty())
            groups.emplace(group.name, std::move(fields));
    }
    return groups;
}

} // namespace zel
