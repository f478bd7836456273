#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zel::test {

/// The EXIF block of a photograph: when, where, with what.
class PhotographFacts {
public:
    /// A JPEG file with the block behind its first marker.
    [[nodiscard]] std::string in(const std::string& jpeg) const
    {
        std::string block = "Exif";
        block += std::string(2, '\0') + directories();
        const std::size_t length = block.size() + 2;
        const std::string marker{'\xFF', '\xE1', static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)};
        return jpeg.substr(0, 2) + marker + block + jpeg.substr(2);
    }

private:
    struct Field {
        unsigned tag, type, count;
        std::string value; // big-endian
    };
    using Fields = std::vector<Field>;

    static std::string number(std::size_t value, int bytes)
    {
        std::string text;
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            text += static_cast<char>((value >> shift) & 0xFF);
        return text;
    }
    static Field text(unsigned tag, const std::string& value)
    {
        return {tag, 2, static_cast<unsigned>(value.size() + 1), value + '\0'};
    }
    static Field ratios(unsigned tag, const std::vector<std::pair<unsigned, unsigned>>& values)
    {
        Field field{tag, 5, static_cast<unsigned>(values.size()), {}};
        for (const auto& [over, under] : values)
            field.value += number(over, 4) + number(under, 4);
        return field;
    }
    static Field pointer(unsigned tag, std::size_t place) { return {tag, 4, 1, number(place, 4)}; }

    static std::size_t sizeOf(const Fields& fields)
    {
        std::size_t size = 2 + 12 * fields.size() + 4;
        for (const Field& field : fields)
            size += field.value.size() > 4 ? field.value.size() + field.value.size() % 2 : 0;
        return size;
    }
    /// A directory that begins at `place` of the block.
    static std::string directory(const Fields& fields, std::size_t place)
    {
        std::string entries = number(fields.size(), 2), values;
        const std::size_t valuesAt = place + 2 + 12 * fields.size() + 4;
        for (const Field& field : fields) {
            entries += number(field.tag, 2) + number(field.type, 2) + number(field.count, 4);
            if (field.value.size() <= 4) {
                entries += field.value + std::string(4 - field.value.size(), '\0');
            } else {
                entries += number(valuesAt + values.size(), 4);
                values += field.value + std::string(field.value.size() % 2, '\0');
            }
        }
        return entries + number(0, 4) + values;
    }
    static std::string directories()
    {
        const Fields exif = {ratios(0x829A, {{1, 250}}), ratios(0x829D, {{56, 10}}),
                             text(0x9003, "2024:05:09 18:42:07"), ratios(0x920A, {{35, 1}})};
        const Fields gps = {text(1, "S"), ratios(2, {{33, 1}, {51, 1}, {30, 1}}), text(3, "E"),
                            ratios(4, {{151, 1}, {12, 1}, {36, 1}})};
        Fields main = {text(0x010F, "Meadow"), text(0x0110, "Meadow One"), pointer(0x8769, 0), pointer(0x8825, 0)};
        const std::size_t exifAt = 8 + sizeOf(main), gpsAt = exifAt + sizeOf(exif);
        main[2] = pointer(0x8769, exifAt);
        main[3] = pointer(0x8825, gpsAt);
        return "MM" + number(42, 2) + number(8, 4) + directory(main, 8) + directory(exif, exifAt) +
               directory(gps, gpsAt);
    }
};

} // namespace zel::test
