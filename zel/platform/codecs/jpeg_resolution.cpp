#include <zel/platform/codecs/jpeg_resolution.h>

#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/exif_edit.h>
#include <zel/platform/codecs/jpeg_decoder.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

// Segments as ITU-T T.81 annex B and T.871 (JFIF) lay them out. libjpeg has read the header before, so that what is
// walked here is known to be a JPEG; every length is compared with what remains all the same.
namespace zel {
namespace {

using Bytes = std::span<std::uint8_t>;

constexpr std::array<std::uint8_t, 5> jfifName{'J', 'F', 'I', 'F', 0};
constexpr std::array<std::uint8_t, 6> exifName{'E', 'x', 'i', 'f', 0, 0};
constexpr std::size_t densityUnit = 7; // in the segment's content: behind the name and the version

bool beginsWith(std::span<const std::uint8_t> content, std::span<const std::uint8_t> name)
{
    return content.size() >= name.size() && std::equal(name.begin(), name.end(), content.begin());
}

struct Found {
    Bytes jfif, exif; // contents of the first of each
};

Found findSegments(Bytes file)
{
    Found found;
    std::size_t at = 2;
    while (file.size() - std::min(at, file.size()) >= 4 && file[at] == 0xFF) {
        const int marker = file[at + 1];
        if (marker == 0xFF) { // fill
            ++at;
            continue;
        }
        const std::size_t length = static_cast<std::size_t>(file[at + 2] << 8 | file[at + 3]);
        if (marker == JPEG_EOI || marker == 0xDA || length < 2 || file.size() - at - 2 < length)
            break;
        const Bytes content = file.subspan(at + 4, length - 2);
        if (marker == JPEG_APP0 && found.jfif.empty() && beginsWith(content, jfifName) && content.size() >= 14)
            found.jfif = content;
        if (marker == JPEG_APP0 + 1 && found.exif.empty() && beginsWith(content, exifName))
            found.exif = content;
        at += 2 + length;
    }
    return found;
}

void setDensity(Bytes jfif, double dpi)
{
    const unsigned dots = jfifDensity(dpi);
    jfif[densityUnit] = 1; // dots an inch
    for (const std::size_t at : {densityUnit + 1, densityUnit + 3}) {
        jfif[at] = static_cast<std::uint8_t>(dots >> 8);
        jfif[at + 1] = static_cast<std::uint8_t>(dots & 0xFF);
    }
}

} // namespace

bool canHoldJfif(const jpeg_decompress_struct& info)
{
    return info.jpeg_color_space == JCS_GRAYSCALE || info.jpeg_color_space == JCS_YCbCr;
}

std::uint16_t jfifDensity(double dpi)
{
    return static_cast<std::uint16_t>(truncated(dpi + 0.5, 1, 65535));
}

bool recordInExif(std::span<std::uint8_t> block, double dpi, bool isInJfif)
{
    if (block.empty())
        return isInJfif;
    // EXIF counts where both state one.
    return editExif(block, {.dpi = dpi}) || (isInJfif && readExifFacts(block).dpiX == 0);
}

std::optional<Data> withResolution(const ByteSource& source, double dpi, bool& recorded)
{
    const Deadline deadline;
    JpegDecoder decoder(source, deadline);
    if (!decoder.readHeader())
        return fail(decoder.errors().code, "lossless", decoder.errors().message);
    std::vector<std::uint8_t> file(source.size());
    if (source.read(0, file) != file.size())
        return fail(ZelFailureCode::truncated, "lossless", "the file was cut while it was read");
    Found found = findSegments(file);
    if (found.jfif.empty() && !decoder.info().saw_JFIF_marker && canHoldJfif(decoder.info())) {
        // Version 1.01, no unit yet, no thumbnail.
        constexpr std::array<std::uint8_t, 18> header{0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0,
                                                      1,    1,    0, 0,  1,   0,   1,   0,   0};
        file.insert(file.begin() + 2, header.begin(), header.end());
        found = findSegments(file);
    }
    if (!found.jfif.empty())
        setDensity(found.jfif, dpi);
    recorded = recordInExif(found.exif, dpi, !found.jfif.empty());
    return Data(std::move(file));
}

} // namespace zel
