#pragma once
#include <zel/platform/foundation/byte_source.h>

#include <map>

// The boxes of HEIF (ISO/IEC 14496-12 and 23008-12): what a file says of itself before anything is decoded. All figures
// are checked against the file's size and the limits as they are read.
namespace zel::heif {

/// A name of four letters as a number: fourCharacters("ispe").
constexpr std::uint32_t fourCharacters(const char (&name)[5])
{
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8U | static_cast<std::uint8_t>(name[i]);
    return value;
}

/// Reads big-endian fields one after the other; beyond the end it gives zeros and is no longer `good`.
class Fields {
public:
    explicit Fields(std::span<const std::uint8_t> bytes) : rest_(bytes) {}
    std::uint64_t number(std::size_t bytes); ///< of 0 to 8 bytes
    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::span<const std::uint8_t> take(std::uint64_t count);
    [[nodiscard]] std::span<const std::uint8_t> rest() const { return rest_; }
    [[nodiscard]] bool good() const { return good_; }
    [[nodiscard]] bool atEnd() const { return rest_.empty(); }

private:
    std::span<const std::uint8_t> rest_;
    bool good_ = true;
};

struct Box {
    std::uint32_t type = 0;
    std::span<const std::uint8_t> payload;
};
/// The next box of a payload; absent at its end, and (with `fields` no longer good) where it makes no sense.
std::optional<Box> nextBox(Fields& fields);

struct Extent {
    std::uint64_t offset = 0, length = 0; ///< within the file
};

struct Item {
    std::uint32_t type = 0; ///< "hvc1", "grid"
    bool isHidden = false;
    bool isElsewhere = false; ///< its data are in another file or in another item
    bool isCut = false;       ///< its data reach beyond the file's end
    std::vector<Extent> data;
    std::vector<std::uint16_t> properties; ///< in order; places in Tables::properties
    std::vector<std::uint32_t> sources;    ///< what it is derived from, such as the tiles of a grid
};

/// From one item to others, but "dimg": that is Item::sources.
struct Reference {
    std::uint32_t type = 0, from = 0, to = 0;
};

struct Tables {
    std::uint32_t primary = 0;
    std::map<std::uint32_t, Item> items;
    std::vector<Box> properties; ///< in order; place 0 is empty
    std::vector<Reference> references;
    std::vector<std::uint8_t> propertyBytes; ///< what the properties lie in
    bool isCut = false;                      ///< some item is

    /// An item's first property of that type; null for none.
    [[nodiscard]] const Box* property(const Item& item, std::uint32_t type) const;
};

/// Absent, noted, where there is no "meta" box that makes sense, or its tables are larger or longer than allowed.
std::optional<Tables> readTables(const ByteSource& source);

/// Up to `most` bytes of an item; fewer where it has no more.
std::vector<std::uint8_t> readItem(const ByteSource& source, const Item& item, std::uint64_t most);

} // namespace zel::heif
