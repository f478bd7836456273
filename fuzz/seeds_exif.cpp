#include "seeds.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <libexif/exif-data.h>

// EXIF blocks written by libexif, bare and in the containers that carry them.
namespace zel::seeds {
namespace {

struct Field {
    ExifIfd directory;
    ExifTag tag;
    ExifFormat format;
    std::vector<unsigned> values = {}; ///< two a fraction
    const char* text = nullptr;
};

Bytes bytesOf(const Field& field, ExifByteOrder order)
{
    if (field.text != nullptr)
        return {field.text, field.text + std::strlen(field.text) + (field.format == EXIF_FORMAT_ASCII ? 1 : 0)};
    Bytes bytes;
    for (const unsigned value : field.values) {
        unsigned char place[4] = {};
        const bool isShort = field.format == EXIF_FORMAT_SHORT;
        if (isShort)
            exif_set_short(place, order, static_cast<ExifShort>(value));
        else
            exif_set_long(place, order, value);
        bytes.insert(bytes.end(), place, place + (isShort ? 2 : 4));
    }
    return bytes;
}

/// "Exif\0\0" and what follows it.
Bytes blockOf(ExifByteOrder order, const std::vector<Field>& fields)
{
    ExifData* const data = exif_data_new();
    exif_data_set_byte_order(data, order);
    for (const Field& field : fields) {
        const Bytes bytes = bytesOf(field, order);
        ExifEntry* const entry = exif_entry_new();
        entry->tag = field.tag;
        entry->format = field.format;
        entry->components = bytes.size() / exif_format_get_size(field.format);
        entry->size = static_cast<unsigned>(bytes.size());
        entry->data = static_cast<unsigned char*>(std::malloc(bytes.size() + 1)); // which libexif frees
        std::copy(bytes.begin(), bytes.end(), entry->data);
        exif_content_add_entry(data->ifd[field.directory], entry);
        exif_entry_unref(entry);
    }
    unsigned char* memory = nullptr;
    unsigned size = 0;
    exif_data_save_data(data, &memory, &size);
    exif_data_unref(data);
    Bytes block(memory, memory + size);
    std::free(memory);
    return block;
}

const std::vector<Field>& photographFields()
{
    static const std::vector<Field> fields = {
        {EXIF_IFD_0, EXIF_TAG_MAKE, EXIF_FORMAT_ASCII, {}, "Maker   "},
        {EXIF_IFD_0, EXIF_TAG_ORIENTATION, EXIF_FORMAT_SHORT, {6}},
        {EXIF_IFD_0, EXIF_TAG_X_RESOLUTION, EXIF_FORMAT_RATIONAL, {300, 1}},
        {EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, EXIF_FORMAT_ASCII, {}, "2021:07:04 15:30:00"},
        {EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_TIME, EXIF_FORMAT_RATIONAL, {1, 125}},
        {EXIF_IFD_EXIF, EXIF_TAG_EXIF_VERSION, EXIF_FORMAT_UNDEFINED, {}, "0230"},
        {EXIF_IFD_EXIF, EXIF_TAG_USER_COMMENT, EXIF_FORMAT_UNDEFINED, {}, "ASCII\1\1\1a word"},
        {EXIF_IFD_EXIF, EXIF_TAG_MAKER_NOTE, EXIF_FORMAT_UNDEFINED, {}, "OLYMP\1\1\1\1\1\1\1\1\1\1"},
        {EXIF_IFD_GPS, static_cast<ExifTag>(EXIF_TAG_GPS_LATITUDE_REF), EXIF_FORMAT_ASCII, {}, "S"},
        {EXIF_IFD_GPS, static_cast<ExifTag>(EXIF_TAG_GPS_LATITUDE), EXIF_FORMAT_RATIONAL, {33, 1, 51, 1, 3600, 100}},
        {EXIF_IFD_GPS, static_cast<ExifTag>(EXIF_TAG_GPS_LONGITUDE), EXIF_FORMAT_RATIONAL, {151, 1, 12, 1, 36, 1}},
        {EXIF_IFD_GPS, static_cast<ExifTag>(EXIF_TAG_GPS_TIME_STAMP), EXIF_FORMAT_RATIONAL, {15, 1, 30, 1, 0, 1}},
    };
    return fields;
}

const std::vector<Field>& emptyFields()
{
    static const std::vector<Field> fields = {
        {EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, EXIF_FORMAT_ASCII, {}, "0000:00:00 00:00:00"},
        {EXIF_IFD_GPS, static_cast<ExifTag>(EXIF_TAG_GPS_LATITUDE), EXIF_FORMAT_RATIONAL, {0, 0, 0, 0, 0, 0}},
        {EXIF_IFD_GPS, static_cast<ExifTag>(EXIF_TAG_GPS_LONGITUDE), EXIF_FORMAT_RATIONAL, {0, 0}},
    };
    return fields;
}

void put(Bytes& bytes, std::size_t place, const Bytes& more)
{
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(place), more.begin(), more.end());
}

void addNumber(Bytes& bytes, std::uint32_t value, bool bigEndian)
{
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? 3 - i : i)));
}

Bytes inJpeg(const Bytes& block)
{
    Bytes file = jpegSeeds().front().bytes;
    const std::size_t length = block.size() + 2;
    Bytes segment = {0xFF, 0xE1, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length)};
    put(segment, segment.size(), block);
    put(file, 2, segment);
    return file;
}

/// The checksum of PNG, bit by bit (ISO/IEC 15948, annex D).
std::uint32_t checksum(const Bytes& bytes)
{
    std::uint32_t sum = ~0U;
    for (const std::uint8_t byte : bytes) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            sum = sum >> 1U ^ ((sum & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~sum;
}

/// Behind the pixels, in front of the last chunk.
Bytes inPng(const Bytes& block)
{
    constexpr std::size_t lastChunk = 12;
    Bytes file = pngSeeds().front().bytes;
    Bytes named = {'e', 'X', 'I', 'f'};
    put(named, named.size(), block);
    Bytes chunk;
    addNumber(chunk, static_cast<std::uint32_t>(block.size()), true);
    put(chunk, chunk.size(), named);
    addNumber(chunk, checksum(named), true);
    put(file, file.size() - lastChunk, chunk);
    return file;
}

Bytes inWebp(const Bytes& block)
{
    Bytes file = webpSeeds().front().bytes;
    put(file, file.size(), {'E', 'X', 'I', 'F'});
    addNumber(file, static_cast<std::uint32_t>(block.size()), false);
    put(file, file.size(), block);
    file.resize(file.size() + file.size() % 2);
    Bytes size;
    addNumber(size, static_cast<std::uint32_t>(file.size() - 8), false);
    std::copy(size.begin(), size.end(), file.begin() + 4);
    return file;
}

} // namespace

std::vector<Seed> exifSeeds()
{
    std::vector<Seed> seeds;
    for (const ExifByteOrder order : {EXIF_BYTE_ORDER_INTEL, EXIF_BYTE_ORDER_MOTOROLA})
        for (const bool isEmpty : {false, true}) {
            const Bytes named = blockOf(order, isEmpty ? emptyFields() : photographFields());
            const Bytes bare(named.begin() + 6, named.end());
            const std::string name = std::string(order == EXIF_BYTE_ORDER_INTEL ? "intel" : "motorola") +
                                     (isEmpty ? "-empty" : "-photograph");
            seeds.push_back({"exif-" + name, bare});
            seeds.push_back({"exif-jpeg-" + name, inJpeg(named)});
            seeds.push_back({"exif-png-" + name, inPng(bare)});
            seeds.push_back({"exif-webp-" + name, inWebp(bare)});
        }
    return seeds;
}

} // namespace zel::seeds
