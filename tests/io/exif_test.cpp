#include <zel/io/encode.h>
#include <zel/io/exif.h>
#include <zel/platform/codecs/exif_extract.h>
#include <zel/platform/codecs/properties.h>
#include <zel/platform/foundation/console.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace zel {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// An EXIF block of three directories, put together by hand: IFD 0 points at the other two.
class BlockMaker {
public:
    struct Field {
        unsigned tag, type, count;
        Bytes value;
    };
    explicit BlockMaker(bool bigEndian) : bigEndian_(bigEndian) {}

    Bytes number(unsigned value, int count) const
    {
        Bytes bytes;
        for (int i = 0; i < count; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian_ ? count - 1 - i : i)));
        return bytes;
    }
    static Field text(unsigned tag, const std::string& words)
    {
        Bytes value(words.begin(), words.end());
        value.push_back(0);
        return {tag, 2, static_cast<unsigned>(value.size()), value};
    }
    Field fractions(unsigned tag, const std::vector<unsigned>& figures) const
    {
        Bytes value;
        for (const unsigned figure : figures)
            append(value, number(figure, 4));
        return {tag, 5, static_cast<unsigned>(figures.size() / 2), value};
    }
    Field integer(unsigned tag, unsigned value) const { return {tag, 3, 1, number(value, 2)}; }

    Bytes block(std::vector<Field> main, const std::vector<Field>& exif, const std::vector<Field>& gps) const
    {
        main.push_back({0x8769, 4, 1, number(0, 4)});
        main.push_back({0x8825, 4, 1, number(0, 4)});
        const std::size_t exifPlace = 8 + sizeOf(main), gpsPlace = exifPlace + sizeOf(exif);
        main[main.size() - 2].value = number(static_cast<unsigned>(exifPlace), 4);
        main.back().value = number(static_cast<unsigned>(gpsPlace), 4);
        Bytes bytes(2, bigEndian_ ? 'M' : 'I');
        append(bytes, number(42, 2));
        append(bytes, number(8, 4));
        add(bytes, main);
        add(bytes, exif);
        add(bytes, gps);
        return bytes;
    }

private:
    static void append(Bytes& to, const Bytes& more) { to.insert(to.end(), more.begin(), more.end()); }
    static std::size_t sizeOf(const std::vector<Field>& fields)
    {
        std::size_t size = 6 + fields.size() * 12;
        for (const Field& field : fields)
            size += field.value.size() > 4 ? field.value.size() : 0;
        return size;
    }
    void add(Bytes& bytes, const std::vector<Field>& fields) const
    {
        std::size_t values = bytes.size() + 6 + fields.size() * 12;
        Bytes behind;
        append(bytes, number(static_cast<unsigned>(fields.size()), 2));
        for (const Field& field : fields) {
            append(bytes, number(field.tag, 2));
            append(bytes, number(field.type, 2));
            append(bytes, number(field.count, 4));
            Bytes inside = field.value;
            if (inside.size() > 4) {
                inside = number(static_cast<unsigned>(values + behind.size()), 4);
                append(behind, field.value);
            }
            inside.resize(4);
            append(bytes, inside);
        }
        append(bytes, number(0, 4));
        append(bytes, behind);
    }
    bool bigEndian_;
};

/// A photograph's block: taken in the south-east, 33.86° and 151.21°.
Bytes sydney(bool bigEndian)
{
    const BlockMaker make(bigEndian);
    return make.block({BlockMaker::text(0x010F, "Maker"), make.integer(0x0112, 6)},
                      {make.fractions(0x829A, {1, 125}), BlockMaker::text(0x9003, "2021:07:04 15:30:00")},
                      {BlockMaker::text(1, "S"), make.fractions(2, {33, 1, 516, 10, 0, 1}), BlockMaker::text(3, "E"),
                       make.fractions(4, {151, 1, 12, 1, 36, 1})});
}

/// A picture's file with a block in its place in the container.
Bytes jpegWith(const Bytes& block)
{
    const Data jpeg = *jpegData(makeZelImage(test::flat(8, 4, {40, 50, 60, 255})), {.quality = 0.5});
    Bytes bytes(jpeg.data(), jpeg.data() + jpeg.size());
    const std::size_t length = block.size() + 8;
    Bytes segment = {
        0xFF, 0xE1, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length), 'E', 'x', 'i', 'f',
        0,    0};
    segment.insert(segment.end(), block.begin(), block.end());
    bytes.insert(bytes.begin() + 2, segment.begin(), segment.end());
    return bytes;
}

Bytes pngWith(const Bytes& block) // behind the pixels
{
    const Data png = *pngData(makeZelImage(test::flat(8, 4, {40, 50, 60, 255})));
    Bytes bytes(png.data(), png.data() + png.size());
    const std::size_t length = block.size();
    Bytes chunk = {0,   0,  static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length), 'e', 'X',
                   'I', 'f'};
    chunk.insert(chunk.end(), block.begin(), block.end());
    unsigned checksum = ~0U; // of type and data: CRC-32, bit by bit
    for (std::size_t i = 4; i < chunk.size(); ++i) {
        checksum ^= chunk[i];
        for (int bit = 0; bit < 8; ++bit)
            checksum = checksum >> 1U ^ (checksum % 2 != 0 ? 0xEDB88320U : 0U);
    }
    for (int shift = 24; shift >= 0; shift -= 8)
        chunk.push_back(static_cast<std::uint8_t>(~checksum >> shift));
    bytes.insert(bytes.end() - 12, chunk.begin(), chunk.end());
    return bytes;
}

class ExifTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory(folder_);
        before_ = Console::setSink([this](std::string_view line) { lines_.emplace_back(line); });
    }
    void TearDown() override
    {
        Console::setSink(before_);
        std::filesystem::remove_all(folder_);
    }
    URL write(const Bytes& bytes)
    {
        const auto path = folder_ / ("file" + std::to_string(++count_));
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        return URL::file(path);
    }
    std::vector<std::string> told() { return std::exchange(lines_, {}); }

    std::filesystem::path folder_ = std::filesystem::temp_directory_path() / ("zel-exif-" + std::to_string(::getpid()));
    std::vector<std::string> lines_;
    Console::Sink before_;
    int count_ = 0;
};

Date local(int year, int month, int day, int hour, int minute, int second)
{
    std::tm parts{};
    parts.tm_year = year - 1900, parts.tm_mon = month - 1, parts.tm_mday = day;
    parts.tm_hour = hour, parts.tm_min = minute, parts.tm_sec = second, parts.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&parts));
}

TEST_F(ExifTest, ReadsDateAndPositionFromEveryContainer)
{
    for (const bool bigEndian : {false, true}) {
        const Bytes block = sydney(bigEndian);
        for (const Bytes& bytes : {jpegWith(block), pngWith(block)}) {
            const URL file = write(bytes);
            const ZelExif::BasicData data = ZelExif::basicData({file});
            EXPECT_EQ(data.shotDate, local(2021, 7, 4, 15, 30, 0));
            EXPECT_EQ(data.coordinates.lat, 33.86);
            EXPECT_EQ(data.coordinates.lon, 151.21);
            EXPECT_EQ(ZelImageHelper::exifShotDate({file}), data.shotDate);

            const PropertyDictionary all = ZelExif::exifDict({file});
            EXPECT_EQ(std::get<std::int64_t>(all.at("PixelWidth")), 8);
            EXPECT_EQ(std::get<std::int64_t>(all.at("PixelHeight")), 4);
            EXPECT_EQ(std::get<std::int64_t>(all.at("Orientation")), 6);
            const auto& tiff = std::get<PropertyDictionary>(all.at("{TIFF}"));
            EXPECT_EQ(std::get<std::string>(tiff.at("Make")), "Maker");
            const auto& exif = std::get<PropertyDictionary>(all.at("{Exif}"));
            EXPECT_DOUBLE_EQ(std::get<double>(exif.at("ExposureTime")), 1.0 / 125);
            EXPECT_EQ(std::get<std::string>(std::get<PropertyDictionary>(all.at("{GPS}")).at("LatitudeRef")), "S");
            EXPECT_EQ(ZelImageHelper::resolution({file}), std::pair(std::int64_t{4}, std::int64_t{8})) << "upright";
        }
        // A TIFF file's own directories, read where they stand.
        const auto gathered = exifBlockOf(*ByteSource::of(Data(block)));
        const PropertyDictionary groups = readExifGroups(gathered);
        ASSERT_EQ(groups.count("{GPS}"), 1U);
        EXPECT_EQ(std::get<std::string>(std::get<PropertyDictionary>(groups.at("{Exif}")).at("DateTimeOriginal")),
                  "2021:07:04 15:30:00");
    }
    EXPECT_TRUE(told().empty());
}

TEST_F(ExifTest, WhatIsNotStatedIsAbsent)
{
    const BlockMaker make(true);
    struct Case {
        const char* name;
        Bytes block;
        bool hasLat, hasLon;
        std::vector<std::string> told;
    };
    const std::string badDate = "Failed to convert EXIF DateTime to Date";
    const Case cases[] = {
        {"nothing", make.block({make.integer(0x0112, 1)}, {}, {}), false, false, {}},
        {"latitude alone", make.block({}, {}, {make.fractions(2, {10, 1, 0, 1, 0, 1})}), true, false, {}},
        {"0/0",
         make.block({}, {}, {make.fractions(2, {0, 0, 0, 0, 0, 0}), make.fractions(4, {7, 1, 0, 1, 1, 0})}),
         false,
         false,
         {}},
        {"degrees as integers", make.block({}, {}, {make.integer(2, 33)}), true, false, {}},
        {"a blank date",
         make.block({}, {BlockMaker::text(0x9003, "    :  :     :  :  ")}, {}),
         false,
         false,
         {badDate}},
        {"a date of zeros",
         make.block({}, {BlockMaker::text(0x9003, "0000:00:00 00:00:00")}, {}),
         false,
         false,
         {badDate}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ZelExif::BasicData data = ZelExif::basicData({write(jpegWith(c.block))});
        EXPECT_FALSE(data.shotDate);
        EXPECT_EQ(data.coordinates.lat.has_value(), c.hasLat);
        EXPECT_EQ(data.coordinates.lon.has_value(), c.hasLon);
        EXPECT_EQ(told(), c.told);
    }
}

/// What stands behind a JPEG's header is not looked at: the facts of a file that holds no more are there.
TEST_F(ExifTest, NeedsNoMoreOfAJpegThanItsHeader)
{
    Bytes bytes = jpegWith(sydney(true));
    const Bytes startOfScan = {0xFF, 0xDA};
    const auto scan = std::search(bytes.begin(), bytes.end(), startOfScan.begin(), startOfScan.end());
    ASSERT_NE(scan, bytes.end());
    constexpr std::ptrdiff_t scanHeader = 2 + 12; // of three components
    bytes.erase(scan + scanHeader, bytes.end());
    const URL file = write(bytes);
    EXPECT_EQ(makeZelImage(file), nullptr);
    EXPECT_EQ(ZelExif::basicData({file}).shotDate, local(2021, 7, 4, 15, 30, 0));
    EXPECT_EQ(std::get<std::int64_t>(ZelExif::exifDict({file}).at("PixelWidth")), 8);
    // Where no scan begins, and in a TIFF file without a picture, the block is all that can be read.
    bytes.erase(bytes.end() - scanHeader, bytes.end());
    for (const Bytes& withoutPicture : {bytes, sydney(true)}) {
        const URL damaged = write(withoutPicture);
        EXPECT_EQ(ZelExif::basicData({damaged}).shotDate, local(2021, 7, 4, 15, 30, 0));
        const auto properties = ZelImageHelper::getExifData({damaged});
        ASSERT_TRUE(properties);
        EXPECT_EQ(properties->count("{GPS}"), 1U);
        EXPECT_EQ(properties->count("PixelWidth"), 0U);
    }
    EXPECT_TRUE(told().empty());
}

TEST_F(ExifTest, ParsesOneFormOfDate)
{
    EXPECT_EQ(ZelExif::convertEXIFDateTimeToDate({.dateTimeOriginal = "2024:02:29 23:59:59"}),
              local(2024, 2, 29, 23, 59, 59));
    EXPECT_TRUE(told().empty());
    for (const char* text : {"2021-07-04 15:30:00", "", "2021:07:04", "2023:02:29 00:00:00", "2021:13:01 00:00:00",
                             "2021:07:04 24:00:00", "2021:07:04 15:30:00 ", "2021:07:04T15:30:00"}) {
        EXPECT_FALSE(ZelExif::convertEXIFDateTimeToDate({.dateTimeOriginal = text})) << text;
        EXPECT_EQ(told(), std::vector<std::string>{"Failed to convert EXIF DateTime to Date"}) << text;
        const PropertyDictionary properties = {{"{Exif}", PropertyDictionary{{"DateTimeOriginal", std::string(text)}}}};
        EXPECT_FALSE(ZelImageHelper::getShotDateFromExif({.exifData = properties})) << text;
        EXPECT_TRUE(told().empty()) << text;
    }
    const PropertyDictionary mistyped = {{"{Exif}", std::int64_t{3}}};
    EXPECT_FALSE(ZelImageHelper::getShotDateFromExif({.exifData = mistyped}));
}

TEST_F(ExifTest, TellsWhatCannotBeRead)
{
    const URL missing = URL::file(folder_ / "missing.jpg"), garbage = write(Bytes(200, 'x'));
    EXPECT_TRUE(ZelExif::exifDict({missing}).empty());
    EXPECT_EQ(told(), std::vector<std::string>{"Failed to create image source"});
    EXPECT_FALSE(ZelImageHelper::getExifData({missing}));
    EXPECT_EQ(told(), std::vector<std::string>{"Error creating image source"});
    EXPECT_TRUE(ZelExif::exifDict({garbage}).empty());
    EXPECT_TRUE(told().empty());
    EXPECT_FALSE(ZelImageHelper::getExifData({garbage}));
    EXPECT_EQ(told(), std::vector<std::string>{"Error retrieving properties"});
    EXPECT_FALSE(ZelImageHelper::resolution({garbage}));
}

TEST_F(ExifTest, JsonLeavesOutWhatIsAbsent)
{
    using ZelExif::BasicData;
    EXPECT_EQ(encode(BasicData()), R"({"coordinates":{}})");
    EXPECT_EQ(decode<BasicData>("{}"), BasicData());
    const BasicData data{.shotDate = Date(std::chrono::seconds(978'307'200 + 90)),
                         .coordinates = {.lat = 1.5, .lon = {}}};
    EXPECT_EQ(encode(data), R"({"shotDate":90.0,"coordinates":{"lat":1.5}})");
    EXPECT_EQ(decode<BasicData>(encode(data)), data);
    EXPECT_EQ(std::hash<BasicData>()(decode<BasicData>(encode(data))), std::hash<BasicData>()(data));
    EXPECT_NE(std::hash<BasicData>()(data), std::hash<BasicData>()(BasicData()));
    // The oldest and the youngest that photographs may have; texts that stay the same.
    for (const Date date :
         {local(1678, 1, 1, 0, 0, 0), local(1999, 12, 31, 23, 59, 59), local(2261, 12, 31, 23, 59, 59)})
        EXPECT_EQ(decode<BasicData>(encode(BasicData{.shotDate = date, .coordinates = {}})).shotDate, date);
    for (const char* const text : {"0.1", "3e-09", "-0.75", "-10000000000.5", "648000000.123"}) {
        const std::string once =
            encode(decode<BasicData>(R"({"shotDate":)" + std::string(text) + R"(,"coordinates":{}})"));
        EXPECT_EQ(encode(decode<BasicData>(once)), once) << text;
        EXPECT_NE(once.find(text), std::string::npos) << once;
    }
    EXPECT_THROW(decode<BasicData>(R"({"shotDate":1e300})"), ZelDecodingError);
    EXPECT_THROW(decode<BasicData>(R"({"coordinates":{"lat":"1"}})"), ZelDecodingError);
}

/// Every byte of a block changed once, and every length of it: the readers stay inside.
TEST_F(ExifTest, DamageStaysInside)
{
    const Bytes whole = sydney(true);
    for (std::size_t place = 0; place < whole.size(); ++place)
        for (const std::uint8_t value : {std::uint8_t{0}, std::uint8_t{0xFF}, std::uint8_t{0x7F}}) {
            Bytes damaged = whole;
            damaged[place] = value;
            readExifGroups(damaged);
            readExifGroups(exifBlockOf(*ByteSource::of(Data(damaged))));
            damaged.resize(place);
            EXPECT_LE(exifBlockOf(*ByteSource::of(Data(damaged))).size(), 65'000U);
            readExifGroups(damaged);
        }
}

} // namespace
} // namespace zel
