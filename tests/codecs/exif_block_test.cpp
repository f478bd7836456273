#include <zel/platform/codecs/exif_block.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

struct EntryOfTest {
    unsigned tag, type, count, value;
};

/// An EXIF block: byte-order mark, IFD 0 at 8, and behind the IFD whatever `tail` holds (32-bit figures).
std::vector<std::uint8_t> makeBlock(bool bigEndian, const std::vector<EntryOfTest>& entries,
                                    const std::vector<unsigned>& tail = {})
{
    std::vector<std::uint8_t> bytes;
    const auto put = [&](unsigned value, int count) {
        for (int i = 0; i < count; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? count - 1 - i : i)));
    };
    bytes.assign(2, bigEndian ? 'M' : 'I');
    put(42, 2);
    put(8, 4);
    put(static_cast<unsigned>(entries.size()), 2);
    for (const EntryOfTest& entry : entries) {
        put(entry.tag, 2);
        put(entry.type, 2);
        put(entry.count, 4);
        if (entry.type == 3) { // a 16-bit value stands at the beginning of its four bytes
            put(entry.value, 2);
            put(0, 2);
        } else {
            put(entry.value, 4);
        }
    }
    put(0, 4);
    for (const unsigned figure : tail)
        put(figure, 4);
    return bytes;
}

/// Where the tail of a block with that many entries begins.
constexpr unsigned tailOf(unsigned entries)
{
    return 8 + 2 + entries * 12 + 4;
}

TEST(ExifBlock, ReadsWhatIsStatedInBothByteOrders)
{
    struct Case {
        const char* name;
        std::vector<EntryOfTest> entries;
        std::vector<unsigned> tail;
        int orientation;
        double dpiX, dpiY;
    };
    const Case cases[] = {
        {"nothing stated", {}, {}, 1, 0, 0},
        {"orientation", {{0x112, 3, 1, 6}}, {}, 6, 0, 0},
        {"orientation as a 32-bit number", {{0x112, 4, 1, 8}}, {}, 8, 0, 0},
        {"orientation 0", {{0x112, 3, 1, 0}}, {}, 1, 0, 0},
        {"orientation 9", {{0x112, 3, 1, 9}}, {}, 1, 0, 0},
        {"orientation without a value", {{0x112, 3, 0, 6}}, {}, 1, 0, 0},
        {"orientation of a wrong type", {{0x112, 2, 1, 6}}, {}, 1, 0, 0},
        {"the first of two orientations", {{0x112, 3, 1, 3}, {0x112, 3, 1, 6}}, {}, 3, 0, 0},
        {"inches are the default unit",
         {{0x11A, 5, 1, tailOf(2)}, {0x11B, 5, 1, tailOf(2) + 8}},
         {300, 1, 301, 2},
         1,
         300,
         150.5},
        {"inches", {{0x11A, 5, 1, tailOf(3)}, {0x11B, 5, 1, tailOf(3)}, {0x128, 3, 1, 2}}, {72, 1}, 1, 72, 72},
        {"centimetres", {{0x11A, 5, 1, tailOf(3)}, {0x11B, 5, 1, tailOf(3)}, {0x128, 3, 1, 3}}, {100, 1}, 1, 254, 254},
        {"the unit before the figures", {{0x128, 3, 1, 3}, {0x11A, 5, 1, tailOf(2)}}, {50, 1}, 1, 127, 127},
        {"a ratio, no unit", {{0x11A, 5, 1, tailOf(2)}, {0x128, 3, 1, 1}}, {300, 1}, 1, 0, 0},
        {"one axis stands for both", {{0x11B, 5, 1, tailOf(1)}}, {600, 2}, 1, 300, 300},
        {"denominator 0", {{0x11A, 5, 1, tailOf(1)}}, {300, 0}, 1, 0, 0},
        {"0/0", {{0x11A, 5, 1, tailOf(1)}}, {0, 0}, 1, 0, 0},
        {"1 dot an inch", {{0x11A, 5, 1, tailOf(1)}}, {1, 1}, 1, 0, 0},
        {"4 thousand million dots an inch", {{0x11A, 5, 1, tailOf(1)}}, {0xFFFFFFFF, 1}, 1, 0, 0},
        {"resolution beyond the block", {{0x11A, 5, 1, 0xFFFFFFFC}, {0x112, 3, 1, 2}}, {}, 2, 0, 0},
        {"resolution half beyond the block", {{0x11A, 5, 1, tailOf(1)}}, {300}, 1, 0, 0},
        {"resolution of a wrong type", {{0x11A, 4, 1, 300}}, {}, 1, 0, 0},
    };
    for (const Case& c : cases)
        for (const bool bigEndian : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.name << (bigEndian ? ", big endian" : ", little endian"));
            std::vector<std::uint8_t> block = makeBlock(bigEndian, c.entries, c.tail);
            for (const bool named : {false, true}) {
                if (named)
                    block.insert(block.begin(), {'E', 'x', 'i', 'f', 0, 0});
                const ExifFacts facts = readExifFacts(block);
                EXPECT_EQ(static_cast<int>(facts.orientation), c.orientation);
                EXPECT_DOUBLE_EQ(facts.dpiX, c.dpiX);
                EXPECT_DOUBLE_EQ(facts.dpiY, c.dpiY);
            }
        }
}

TEST(ExifBlock, DamageGivesWhatCouldBeRead)
{
    const std::vector<std::uint8_t> whole = makeBlock(true, {{0x112, 3, 1, 6}, {0x11A, 5, 1, tailOf(2)}}, {300, 1});
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(testing::Message() << "cut to " << length << " bytes");
        const std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const ExifFacts facts = readExifFacts(cut);
        // The orientation's value ends at byte 20, the fraction with the block.
        EXPECT_EQ(static_cast<int>(facts.orientation), length >= 20 ? 6 : 1);
        EXPECT_EQ(facts.dpiX, length == whole.size() ? 300 : 0);
    }

    struct Case {
        const char* name;
        std::size_t place;
        std::uint8_t value;
        int orientation;
    };
    const Case cases[] = {
        {"two byte orders", 1, 'I', 1},  {"no byte order", 0, 'X', 1},       {"not 42", 3, 43, 1},
        {"IFD far away", 4, 0xFF, 1},    {"IFD inside the header", 7, 2, 1}, {"65,282 entries claimed", 8, 0xFF, 6},
        {"2^24 orientations", 14, 1, 6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::uint8_t> damaged = whole;
        damaged[c.place] = c.value;
        EXPECT_EQ(static_cast<int>(readExifFacts(damaged).orientation), c.orientation);
    }
}

TEST(ExifBlock, EntriesAreCounted)
{
    std::vector<EntryOfTest> entries(5000, EntryOfTest{0x9999, 3, 1, 0});
    entries[4095] = {0x112, 3, 1, 5};
    EXPECT_EQ(readExifFacts(makeBlock(false, entries)).orientation, Orientation::transposed);
    std::swap(entries[4095], entries[4096]); // past what is looked at
    EXPECT_EQ(readExifFacts(makeBlock(false, entries)).orientation, Orientation::up);
}

TEST(PlausibleDpi, TakesWhatPrintersAndScannersHave)
{
    const struct {
        double stated, expected;
    } cases[] = {
        {72, 72},          {10, 10},           {9.999, 0},     {0, 0},
        {-300, 0},         {100'000, 100'000}, {100'000.5, 0}, {std::numeric_limits<double>::infinity(), 0},
        {std::nan(""), 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(plausibleDpi(c.stated), c.expected) << c.stated;
}

} // namespace
} // namespace zel
