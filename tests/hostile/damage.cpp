#include "damage.h"

#include <algorithm>
#include <array>
#include <random>
#include <string_view>

namespace zel::damage {
namespace {

using seeds::Bytes;
using seeds::Seed;

struct Field {
    std::string name;
    std::size_t at = 0;
    int size = 0; // bytes
    bool littleEndian = false;
};

std::uint32_t numberAt(const Bytes& bytes, std::size_t at, int size, bool littleEndian)
{
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i)
        value = value << 8 | bytes.at(at + static_cast<std::size_t>(littleEndian ? size - 1 - i : i));
    return value;
}

void setNumber(Bytes& bytes, const Field& field, std::uint32_t value)
{
    for (int i = 0; i < field.size; ++i) {
        const int place = field.littleEndian ? i : field.size - 1 - i;
        bytes.at(field.at + static_cast<std::size_t>(place)) = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

bool isPng(const Bytes& bytes)
{
    return bytes.size() > 33 && bytes[0] == 0x89 && bytes[1] == 'P';
}

std::vector<Field> pngFields(const Bytes& bytes)
{
    std::vector<Field> fields = {
        {"width", 16, 4}, {"height", 20, 4}, {"depth", 24, 1}, {"colour type", 25, 1}, {"interlacing", 28, 1}};
    for (std::size_t at = 8; at + 12 <= bytes.size(); at += 12 + numberAt(bytes, at, 4, false))
        fields.push_back({"length of a chunk", at, 4});
    return fields;
}

/// Sizes, sampling and components of the frame; lengths of all segments up to the scan.
std::vector<Field> jpegFields(const Bytes& bytes)
{
    std::vector<Field> fields;
    for (std::size_t at = 2; at + 4 <= bytes.size() && bytes[at] == 0xFF && bytes[at + 1] != 0xDA;) {
        const std::uint8_t marker = bytes[at + 1];
        fields.push_back({"length of a segment", at + 2, 2});
        if (marker == 0xC0 || marker == 0xC1 || marker == 0xC2) {
            fields.insert(fields.begin(), {{"precision", at + 4, 1},
                                           {"height", at + 5, 2},
                                           {"width", at + 7, 2},
                                           {"components", at + 9, 1},
                                           {"sampling", at + 11, 1},
                                           {"quantisation table", at + 12, 1}});
        }
        at += 2 + numberAt(bytes, at + 2, 2, false);
    }
    return fields;
}

/// Type, count and value of every entry of the first directory, and where the next one stands.
std::vector<Field> tiffFields(const Bytes& bytes)
{
    const bool little = bytes[0] == 'I';
    const std::size_t directory = numberAt(bytes, 4, 4, little);
    const std::uint32_t count = numberAt(bytes, directory, 2, little);
    std::vector<Field> fields = {{"first directory", 4, 4, little}, {"entries", directory, 2, little}};
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t entry = directory + 2 + std::size_t{12} * i;
        const std::string tag = std::to_string(numberAt(bytes, entry, 2, little));
        const bool isShort = numberAt(bytes, entry + 2, 2, little) == 3 && numberAt(bytes, entry + 4, 4, little) == 1;
        fields.push_back({"value of tag " + tag, entry + 8, isShort ? 2 : 4, little});
        fields.push_back({"count of tag " + tag, entry + 4, 4, little});
        fields.push_back({"type of tag " + tag, entry + 2, 2, little});
    }
    fields.push_back({"next directory", directory + 2 + std::size_t{12} * count, 4, little});
    return fields;
}

/// What stands at fixed places, low byte first.
std::vector<Field> littleFields(std::initializer_list<Field> fields)
{
    std::vector<Field> all(fields);
    for (Field& field : all)
        field.littleEndian = true;
    return all;
}

std::vector<Field> bmpFields(std::size_t at)
{
    return littleFields({{"width", at + 4, 4},
                         {"height", at + 8, 4},
                         {"depth", at + 14, 2},
                         {"compression", at + 16, 4},
                         {"colours", at + 32, 4},
                         {"header", at, 4},
                         {"a mask", at + 40, 4},
                         {"another", at + 52, 4}});
}

std::vector<Field> icoFields()
{
    std::vector<Field> fields = littleFields({{"count", 4, 2}, {"size", 14, 4}, {"place", 18, 4}, {"type", 2, 2}});
    const std::vector<Field> inner = bmpFields(6 + 16);
    fields.insert(fields.end(), inner.begin(), inner.end());
    return fields;
}

std::vector<Field> gifFields()
{
    return littleFields({{"canvas width", 6, 2},
                         {"canvas height", 8, 2},
                         {"flags", 10, 1},
                         {"first block", 61, 1},
                         {"control size", 63, 1},
                         {"clear colour", 67, 1},
                         {"left", 70, 2},
                         {"top", 72, 2},
                         {"width", 74, 2},
                         {"height", 76, 2},
                         {"flags of the frame", 78, 1},
                         {"size of codes", 79, 1}});
}

std::vector<Field> webpFields()
{
    return littleFields({{"first chunk", 16, 4},
                         {"file", 4, 4},
                         {"canvas width", 24, 3},
                         {"canvas height", 27, 3},
                         {"flags or signature", 20, 1},
                         {"sizes", 26, 2},
                         {"and", 28, 2},
                         {"second chunk", 34, 4},
                         {"third chunk", 48, 4},
                         {"frame place", 52, 3},
                         {"frame width", 58, 3},
                         {"its chunk", 72, 4}});
}

/// Numbers of text: the letters at their places.
std::vector<Field> pnmFields(const Bytes& bytes)
{
    std::vector<Field> fields = {{"kind", 1, 1}};
    for (std::size_t at = 2; at < bytes.size() && fields.size() < 12; ++at)
        if (bytes[at] >= '0' && bytes[at] <= '9')
            fields.push_back({"digit", at, 1});
    return fields;
}

/// The marker segments of a codestream (its sizes first, then coding and quantisation), wherever it begins.
std::vector<Field> jpeg2000Fields(const Bytes& bytes)
{
    constexpr std::array<std::uint8_t, 4> start = {0xFF, 0x4F, 0xFF, 0x51};
    const auto found = std::search(bytes.begin(), bytes.end(), start.begin(), start.end());
    const auto at = static_cast<std::size_t>(found - bytes.begin());
    std::vector<Field> fields;
    for (std::size_t i = 0; i < 8; ++i) // of the grid, where it begins, of the tiles, where they begin
        fields.push_back({"a size", at + 8 + 4 * i, 4});
    fields.push_back({"components", at + 40, 2});
    fields.push_back({"depth", at + 42, 1});
    fields.push_back({"step", at + 43, 1});
    fields.push_back({"length of sizes", at + 4, 2});
    return fields;
}

/// Bits rather than bytes: the first ones hold the sizes.
std::vector<Field> jxlFields()
{
    std::vector<Field> fields;
    for (std::size_t at = 2; at < 14; ++at)
        fields.push_back({"a byte of the header", at, 1});
    return fields;
}

/// Sizes, counts and places of HEIF's boxes, wherever their names stand.
std::vector<Field> heifFields(const Bytes& bytes)
{
    struct Place {
        const char* box;
        std::size_t offset; // from the name
        int size;
    };
    constexpr Place places[] = {{"ispe", 8, 4}, {"ispe", 12, 4}, {"iinf", 8, 2},  {"iloc", 10, 2}, {"iloc", 8, 1},
                                {"ipma", 8, 4}, {"dimg", 6, 2},  {"meta", 4, 4},  {"iprp", 4, 4},  {"infe", 12, 4},
                                {"idat", 6, 2}, {"hvcC", 21, 1}, {"hvcC", 26, 1}, {"av1C", 6, 1},  {"pitm", 8, 2},
                                {"auxC", 8, 4}, {"colr", 12, 2}};
    std::vector<Field> fields;
    for (const auto& [box, offset, size] : places) {
        const std::string_view name(box);
        const auto found = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
        const auto at = static_cast<std::size_t>(found - bytes.begin()) + offset;
        if (at + static_cast<std::size_t>(size) <= bytes.size())
            fields.push_back({box + (" + " + std::to_string(offset)), at, size});
    }
    return fields;
}

std::vector<Field> fieldsOf(const Bytes& bytes)
{
    if (bytes[0] == 0xFF && bytes[1] == 0x0A)
        return jxlFields();
    if (bytes[1] == 0x4F || bytes[4] == 'j')
        return jpeg2000Fields(bytes);
    switch (bytes[0]) {
    case 0x89:
        return pngFields(bytes);
    case 0xFF:
        return jpegFields(bytes);
    case 'B':
        return bmpFields(14);
    case 'G':
        return gifFields();
    case 'R':
        return webpFields();
    case 'P':
        return pnmFields(bytes);
    case 0:
        return bytes[4] == 'f' ? heifFields(bytes) : icoFields(); // "ftyp"
    default:
        return tiffFields(bytes);
    }
}

std::uint32_t pngChecksum(const Bytes& bytes, std::size_t first, std::size_t last)
{
    std::uint32_t sum = 0xFFFFFFFF; // CRC-32 as PNG's annex D defines it, bit by bit
    for (std::size_t at = first; at < last; ++at) {
        sum ^= bytes[at];
        for (int bit = 0; bit < 8; ++bit)
            sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320u : 0u);
    }
    return ~sum;
}

} // namespace

void repairPngChecksums(Bytes& bytes)
{
    for (std::size_t at = 8; at + 12 <= bytes.size();) {
        const std::size_t end = at + 8 + numberAt(bytes, at, 4, false);
        if (end + 4 > bytes.size())
            return;
        setNumber(bytes, {"checksum", end, 4}, pngChecksum(bytes, at + 4, end));
        at = end + 4;
    }
}

std::vector<Damaged> cuts(const Seed& seed, int count)
{
    std::vector<Damaged> all;
    for (int i = 0; i < count; ++i) {
        const std::size_t length = seed.bytes.size() * static_cast<std::size_t>(i) / static_cast<std::size_t>(count);
        all.push_back({"cut after " + std::to_string(length) + " bytes",
                       Bytes(seed.bytes.begin(), seed.bytes.begin() + static_cast<std::ptrdiff_t>(length))});
    }
    return all;
}

std::vector<Damaged> changes(const Seed& seed, int count, std::uint32_t round)
{
    constexpr std::uint32_t apart = 77;
    // The same sequence on every run.
    std::mt19937 random(static_cast<std::uint32_t>(seed.bytes.size()) + apart * round);
    std::vector<Damaged> all;
    for (int i = 0; i < count; ++i) {
        Damaged damaged{"bytes changed:", seed.bytes};
        for (auto left = 1 + random() % 3; left > 0; --left) {
            const std::size_t at = random() % seed.bytes.size();
            damaged.bytes[at] ^= static_cast<std::uint8_t>(1 + random() % 255);
            damaged.how += " " + std::to_string(at);
        }
        if (isPng(seed.bytes) && i % 2 == 0)
            repairPngChecksums(damaged.bytes);
        all.push_back(std::move(damaged));
    }
    return all;
}

std::vector<Damaged> patches(const Seed& seed, int count)
{
    constexpr std::array<std::uint32_t, 8> values = {0, 0xFFFFFFFF, 1, 0x7FFFFFFF, 16, 0x10000, 3, 65500};
    std::vector<Field> fields = fieldsOf(seed.bytes);
    std::erase_if(fields, [&](const Field& field) {
        return field.at + static_cast<std::size_t>(field.size) > seed.bytes.size();
    });

    std::vector<Damaged> all;
    for (int i = 0; i < count; ++i) {
        // Every field in turn, and each round with other values than the one before.
        const std::size_t place = static_cast<std::size_t>(i) % fields.size();
        const std::uint32_t value = values[(static_cast<std::size_t>(i) / fields.size() * 3 + place) % values.size()];
        Damaged damaged{fields[place].name + " = " + std::to_string(value), seed.bytes};
        setNumber(damaged.bytes, fields[place], value);
        if (isPng(seed.bytes))
            repairPngChecksums(damaged.bytes);
        all.push_back(std::move(damaged));
    }
    return all;
}

} // namespace zel::damage
