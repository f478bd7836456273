#include "apps/sample_files.h"

#include <zel/core/image.h>
#include <zel/io/encode.h>

#include <algorithm>

namespace zel::testing {
namespace {

void addWord(std::string& to, std::uint32_t value)
{
    for (const int shift : {24, 16, 8, 0})
        to += static_cast<char>(value >> shift & 0xFF);
}

std::uint32_t wordAt(const std::string& bytes, std::size_t at, int count, bool bigEndian = true)
{
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        const auto offset = static_cast<std::size_t>(bigEndian ? i : count - 1 - i);
        value = value << 8 | static_cast<std::uint8_t>(bytes[at + offset]);
    }
    return value;
}

/// The check sum of PNG, a bit at a time.
std::uint32_t crcOf(const std::string& bytes)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : bytes) {
        crc ^= static_cast<std::uint8_t>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    }
    return ~crc;
}

void addChunk(std::string& to, const std::string& type, const std::string& content)
{
    addWord(to, static_cast<std::uint32_t>(content.size()));
    to += type + content;
    addWord(to, crcOf(type + content));
}

/// A zlib stream of blocks that are stored as they are.
std::string stored(const std::string& bytes)
{
    constexpr std::size_t most = 65535;
    std::string stream = "\x78\x01";
    for (std::size_t first = 0; first < bytes.size(); first += most) {
        const auto count = std::min(most, bytes.size() - first);
        stream += first + count == bytes.size() ? '\x01' : '\x00';
        for (const auto length : {count, ~count})
            for (const int shift : {0, 8})
                stream += static_cast<char>(length >> shift & 0xFF);
        stream += bytes.substr(first, count);
    }
    std::uint32_t low = 1, high = 0;
    for (const char c : bytes) {
        low = (low + static_cast<std::uint8_t>(c)) % 65521;
        high = (high + low) % 65521;
    }
    addWord(stream, high << 16 | low);
    return stream;
}

/// `rows`: each with its filter byte in front.
std::string pngOf(int width, int height, char bits, const std::string& rows, int dotsPerMetre)
{
    std::string file = "\x89PNG\r\n\x1a\n";
    std::string header;
    addWord(header, static_cast<std::uint32_t>(width));
    addWord(header, static_cast<std::uint32_t>(height));
    header += bits;
    header += std::string("\x06\0\0\0", 4); // colour with alpha; the only compression, filters, no interlacing
    addChunk(file, "IHDR", header);
    if (dotsPerMetre > 0) {
        std::string resolution;
        addWord(resolution, static_cast<std::uint32_t>(dotsPerMetre));
        addWord(resolution, static_cast<std::uint32_t>(dotsPerMetre));
        addChunk(file, "pHYs", resolution + '\x01');
    }
    addChunk(file, "IDAT", stored(rows));
    addChunk(file, "IEND", {});
    return file;
}

/// The sides in the frame header of a JPEG.
Sides sidesOfJpeg(const std::string& file)
{
    for (std::size_t at = 2; at + 9 < file.size();) {
        const auto marker = wordAt(file, at, 2);
        const bool isFrame =
            marker >= 0xFFC0 && marker <= 0xFFCF && marker != 0xFFC4 && marker != 0xFFC8 && marker != 0xFFCC;
        if (isFrame)
            return {static_cast<int>(wordAt(file, at + 7, 2)), static_cast<int>(wordAt(file, at + 5, 2))};
        at += 2 + wordAt(file, at + 2, 2);
    }
    return {};
}

/// The sides among the entries of the first directory of a TIFF.
Sides sidesOfTiff(const std::string& file)
{
    const bool big = file[0] == 'M';
    Sides sides;
    const auto directory = wordAt(file, 4, 4, big);
    for (std::uint32_t i = 0; i < wordAt(file, directory, 2, big); ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        const bool isShort = wordAt(file, entry + 2, 2, big) == 3;
        const auto value = static_cast<int>(wordAt(file, entry + 8, isShort ? 2 : 4, big));
        if (wordAt(file, entry, 2, big) == 256)
            sides.width = value;
        if (wordAt(file, entry, 2, big) == 257)
            sides.height = value;
    }
    return sides;
}

Data dataOf(const std::string& text)
{
    return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
}

} // namespace

Pixel ramp(int x, int y)
{
    return {static_cast<std::uint8_t>(x % 256), static_cast<std::uint8_t>(y % 256), 100, 255};
}

std::string pngFile(int width, int height, const Painter& painter, int dotsPerMetre)
{
    std::string rows;
    for (int y = 0; y < height; ++y) {
        rows += '\0';
        for (int x = 0; x < width; ++x)
            for (const auto component : painter(x, y))
                rows += static_cast<char>(component);
    }
    return pngOf(width, height, 8, rows, dotsPerMetre);
}

std::string png16File(int width, int height, const std::function<std::array<std::uint16_t, 4>(int x, int y)>& painter)
{
    std::string rows;
    for (int y = 0; y < height; ++y) {
        rows += '\0';
        for (int x = 0; x < width; ++x)
            for (const auto component : painter(x, y)) {
                rows += static_cast<char>(component >> 8);
                rows += static_cast<char>(component & 0xFF);
            }
    }
    return pngOf(width, height, 16, rows, 0);
}

std::string jpegFile(int width, int height, const Painter& painter)
{
    const auto bytes = jpegData(makeZelImage(dataOf(pngFile(width, height, painter))), {.quality = 0.9});
    return bytes ? std::string(bytes->span().begin(), bytes->span().end()) : std::string();
}

std::string formatOf(const std::string& file)
{
    if (file.starts_with("\x89PNG\r\n\x1a\n"))
        return "png";
    if (file.starts_with("\xFF\xD8\xFF"))
        return "jpeg";
    return file.starts_with(std::string("II*\0", 4)) || file.starts_with(std::string("MM\0*", 4)) ? "tiff" : "";
}

Sides sidesOf(const std::string& file)
{
    const auto format = formatOf(file);
    if (format == "png")
        return {static_cast<int>(wordAt(file, 16, 4)), static_cast<int>(wordAt(file, 20, 4))};
    if (format == "jpeg")
        return sidesOfJpeg(file);
    return format == "tiff" ? sidesOfTiff(file) : Sides{};
}

std::vector<Pixel> pixelsOfFile(const std::string& file)
{
    const auto image = makeZelImage(dataOf(file));
    if (!image || image->cgImage->layout().bitsPerComponent != 8)
        return {};
    const auto bytes = image->cgImage->bytes();
    const auto alpha = image->cgImage->layout().alphaInfo;
    std::vector<Pixel> pixels;
    for (int y = 0; y < image->cgImage->height(); ++y)
        for (int x = 0; x < image->cgImage->width(); ++x) {
            const auto* const at = bytes.data() + static_cast<std::size_t>(y) * image->cgImage->bytesPerRow() +
                                   static_cast<std::size_t>(x) * 4;
            pixels.push_back({at[0], at[1], at[2], alpha == CGAlphaInfo::noneSkipLast ? std::uint8_t{255} : at[3]});
        }
    return pixels;
}

} // namespace zel::testing
